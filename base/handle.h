#pragma once

#include <cstddef>
#include <memory>
#include <utility>

namespace velto {

/// The one owner of an engine that calls its host back, in whose calls the host may do anything,
/// giving the engine up included.
///
/// The engine is shared between this handle and its own entry points (a descriptor, a timer, a
/// posted task), each of which holds it while it runs; so does every call through the handle.
/// Destroying the handle ends the engine: End() closes it and silences its reports. What is still
/// at work in it then finds an engine that is closed, a state like any other, and nothing else.
template <typename T> class Handle {
public:
  Handle() = default;
  explicit Handle(std::shared_ptr<T> engine) : engine_(std::move(engine)) {}
  ~Handle() { reset(); }
  Handle(Handle &&other) noexcept : engine_(std::move(other.engine_)) {}
  Handle &operator=(Handle &&other) noexcept {
    const auto engine = std::exchange(engine_, std::exchange(other.engine_, nullptr));
    if (engine != nullptr)
      engine->End();
    return *this;
  }

  void reset() {
    if (const auto engine = std::exchange(engine_, nullptr))
      engine->End();
  }

  /// Holds the engine until the call has returned.
  std::shared_ptr<T> operator->() const { return engine_; }
  T &operator*() const { return *engine_; }
  T *get() const { return engine_.get(); }
  explicit operator bool() const { return engine_ != nullptr; }
  bool operator==(std::nullptr_t) const { return engine_ == nullptr; }

private:
  std::shared_ptr<T> engine_;
};

template <typename T, typename... A> Handle<T> makeHandle(A &&...arguments) {
  return Handle<T>(std::make_shared<T>(std::forward<A>(arguments)...));
}

} // namespace velto
