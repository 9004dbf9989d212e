#pragma once

#include <cstdint>

namespace velto {

/// Local calendar time, to the millisecond.
struct LocalTime {
  uint16_t year = 1970;
  uint16_t month = 1;     ///< 1 to 12
  uint16_t dayOfWeek = 4; ///< 0 (Sunday) to 6
  uint16_t day = 1;       ///< 1 to 31
  uint16_t hour = 0;
  uint16_t minute = 0;
  uint16_t second = 0;
  uint16_t milliseconds = 0;
  bool operator==(const LocalTime &) const = default;
};

} // namespace velto
