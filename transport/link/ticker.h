#pragma once

#include "platform/event_loop.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace velto {

/// The timer of an engine that works in ticks: stands for one that fires every millisecond, with
/// the ticks left out on which nothing is due. An engine owns one and calls arm() at the end of
/// each of its entry points, so that nobody else has to know of its deadlines.
class Ticker {
public:
  /// What the ticks mean.
  class Client {
  public:
    virtual ~Client() = default;
    /// What keeps the client there while a tick is at work.
    virtual std::shared_ptr<void> hold() = 0;
    /// One tick.
    virtual void tick() = 0;
    /// Milliseconds until tick() has something to do; 0: on the next one; nothing: never. Leaving
    /// out the ticks before that changes nothing.
    virtual std::optional<uint32_t> nextTick() const = 0;
  };

  /// `pumped`: the period in ms of the ticks that go on while a report of a tick pumps the loop.
  Ticker(EventLoop &loop, Client &client, uint32_t pumped = 1)
      : client_(client), pumped_(pumped), timer_(loop, [this] { tick(); }) {}

  /// The client is part of a larger engine, whose ticks it shares from now on; null: no longer.
  void follow(Ticker *whole) {
    whole_ = whole;
    timer_.stop();
  }

  /// Lets the next tick come when the client has something to do.
  void arm() {
    if (whole_ != nullptr)
      whole_->arm();
    else if (const auto wait = client_.nextTick())
      timer_.startWithin(*wait);
  }
  /// The same, where the next tick is due anyway.
  void wake() {
    if (whole_ != nullptr)
      whole_->wake();
    else
      timer_.startWithin(1);
  }

private:
  void tick() {
    const auto hold = client_.hold();
    timer_.start(pumped_);
    client_.tick();
    timer_.stop();
    arm();
  }

  Client &client_;
  uint32_t pumped_;
  Ticker *whole_ = nullptr;
  Timer timer_;
};

} // namespace velto
