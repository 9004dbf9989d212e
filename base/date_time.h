#pragma once

#include "base/local_time.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace velto {

/// A local date and time with fixed text styles; no text depends on the locale.
class CJTime {
public:
  /// The stored form: year u16, month, day, hour, minute and second u8, milliseconds u16, all
  /// little-endian. The day of the week is not stored; load() works it out from the date.
  static constexpr size_t kStoredSize = 9;

  explicit CJTime(const LocalTime &time) : time_(time) {}

  const LocalTime &time() const { return time_; }
  /// 1 "MM-DD-YY", 2 "YYYYMMDD", 3 "Nov, 2nd, 2026", 4 "MM-DD-YYYY", 5 "MM/DD/YYYY",
  /// 6 "DD/MM/YYYY", any other "YYYY/MM/DD".
  std::string DateText(int style) const;
  /// 1 and 4 "HH:MM:SS", 2 "HHMMSS", 3 "am 12:07 09\"", any other "HH:MM:SS.mmm".
  std::string TimeText(int style) const;

  std::array<uint8_t, kStoredSize> store() const;
  static CJTime load(std::span<const uint8_t, kStoredSize> bytes);

private:
  LocalTime time_;
};

/// The day of the month with its ordinal suffix: "1st", "22nd", "13th".
std::string ordinalDay(unsigned day);

} // namespace velto
