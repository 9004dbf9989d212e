#pragma once

#include <cstdint>
#include <optional>

namespace velto {

/// A time that was set, which may be negative, as a period.
inline uint32_t milliseconds(int32_t value) { return value < 0 ? 0 : static_cast<uint32_t>(value); }

/// Milliseconds until `period` has passed since the tick `since`; 0 when it has. Right across the
/// wrap of the tick count.
inline uint32_t timeLeft(uint32_t now, uint32_t since, uint32_t period) {
  const uint32_t elapsed = now - since;
  return elapsed >= period ? 0 : period - elapsed;
}

/// The earlier of a deadline (nothing: never) and a delay.
inline std::optional<uint32_t> sooner(std::optional<uint32_t> next, uint32_t delay) {
  return next && *next < delay ? next : delay;
}

} // namespace velto
