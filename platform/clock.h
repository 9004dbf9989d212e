#pragma once

#include "base/local_time.h"

#include <cstdint>

namespace velto {

/// Where the system takes time from. Everything that times out reads it here, so that tests (and
/// simulations) can supply their own.
class Clock {
public:
  virtual ~Clock() = default;
  /// Milliseconds since some start; wraps to 0 after 4,294,967,295. Compare by unsigned
  /// difference: `clock.ticks() - then >= timeout`.
  virtual uint32_t ticks() const = 0;
  virtual LocalTime localTime() const = 0;
  /// Sets the local date and time; false when the platform refuses.
  virtual bool setLocalTime(const LocalTime &time) = 0;
  /// Minutes by which local time is ahead of UTC now; east of Greenwich above 0.
  virtual int32_t utcOffset() const { return 0; }
  /// True when ticks() advances by itself, so that an event loop may sleep on a deadline.
  virtual bool runsByItself() const { return true; }
};

/// The machine's monotonic tick count and wall clock.
class SystemClock final : public Clock {
public:
  uint32_t ticks() const override;
  LocalTime localTime() const override;
  /// Needs the privilege to set the system clock.
  bool setLocalTime(const LocalTime &time) override;
  int32_t utcOffset() const override;
};

/// The SystemClock that is used where none is given.
SystemClock &systemClock();

/// A clock that stands still until it is told to advance.
class ManualClock final : public Clock {
public:
  explicit ManualClock(uint32_t ticks = 0) : ticks_(ticks) {}
  uint32_t ticks() const override { return ticks_; }
  LocalTime localTime() const override { return local_; }
  bool setLocalTime(const LocalTime &time) override;
  bool runsByItself() const override { return false; }
  int32_t utcOffset() const override { return utcOffset_; }
  void setUtcOffset(int32_t minutes) { utcOffset_ = minutes; }
  /// Moves the tick count and the local time forward.
  void advance(uint32_t milliseconds);

private:
  uint32_t ticks_;
  LocalTime local_{};
  int32_t utcOffset_ = 0;
};

} // namespace velto
