#pragma once

namespace velto {

/// Tells code that is about to call back into the host whether its object survived the call.
///
/// An object that raises events holds a Lifetime as a member. A function that raises one puts a
/// Watch on the stack first and asks it afterwards; the host may have destroyed the object:
///
///     Lifetime::Watch alive(lifetime_);
///     sink_->OnReceived(…);
///     if (!alive) return;
///
/// Nothing is allocated; any number of watches may nest. Not for use across threads.
class Lifetime {
public:
  class Watch {
  public:
    explicit Watch(Lifetime &owner);
    ~Watch();
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;
    /// True while the watched object exists.
    explicit operator bool() const { return owner_ != nullptr; }

  private:
    friend class Lifetime;
    Lifetime *owner_;
    Watch *next_;
  };

  Lifetime() = default;
  ~Lifetime();
  Lifetime(const Lifetime &) = delete;
  Lifetime &operator=(const Lifetime &) = delete;

private:
  Watch *watches_ = nullptr;
};

} // namespace velto
