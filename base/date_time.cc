#include "base/date_time.h"

#include "base/text.h"

#include <chrono>

namespace velto {

namespace {

const char *monthName(unsigned month) {
  static constexpr std::array kNames{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  return month >= 1 && month <= kNames.size() ? kNames[month - 1] : "???";
}

/// 0 (Sunday) for a date that is none.
uint16_t dayOfWeek(const LocalTime &time) {
  const std::chrono::year_month_day date{
      std::chrono::year{time.year}, std::chrono::month{time.month}, std::chrono::day{time.day}};
  return date.ok() ? static_cast<uint16_t>(
                         std::chrono::weekday{std::chrono::local_days{date}}.c_encoding())
                   : uint16_t{0};
}

} // namespace

std::string CJTime::DateText(int style) const {
  const unsigned year = time_.year;
  const unsigned month = time_.month;
  const unsigned day = time_.day;
  switch (style) {
  case 1:
    return formatText("%02u-%02u-%02u", month, day, year % 100);
  case 2:
    return formatText("%04u%02u%02u", year, month, day);
  case 3:
    return formatText("%s, %s, %04u", monthName(month), ordinalDay(day).c_str(), year);
  case 4:
    return formatText("%02u-%02u-%04u", month, day, year);
  case 5:
    return formatText("%02u/%02u/%04u", month, day, year);
  case 6:
    return formatText("%02u/%02u/%04u", day, month, year);
  default:
    return formatText("%04u/%02u/%02u", year, month, day);
  }
}

std::string CJTime::TimeText(int style) const {
  const unsigned hour = time_.hour;
  const unsigned minute = time_.minute;
  const unsigned second = time_.second;
  switch (style) {
  case 1:
  case 4:
    return formatText("%02u:%02u:%02u", hour, minute, second);
  case 2:
    return formatText("%02u%02u%02u", hour, minute, second);
  case 3:
    return formatText("%s %2u:%02u %02u\"", hour < 12 ? "am" : "pm",
                      hour % 12 == 0 ? 12 : hour % 12, minute, second);
  default:
    return formatText("%02u:%02u:%02u.%03u", hour, minute, second, unsigned{time_.milliseconds});
  }
}

std::array<uint8_t, CJTime::kStoredSize> CJTime::store() const {
  const auto low = [](uint16_t value) { return static_cast<uint8_t>(value); };
  const auto high = [](uint16_t value) { return static_cast<uint8_t>(value >> 8); };
  return {low(time_.year),   high(time_.year),        low(time_.month),
          low(time_.day),    low(time_.hour),         low(time_.minute),
          low(time_.second), low(time_.milliseconds), high(time_.milliseconds)};
}

CJTime CJTime::load(std::span<const uint8_t, kStoredSize> bytes) {
  const auto u16 = [bytes](size_t at) {
    return static_cast<uint16_t>(bytes[at] | bytes[at + 1] << 8);
  };
  LocalTime time;
  time.year = u16(0);
  time.month = bytes[2];
  time.day = bytes[3];
  time.hour = bytes[4];
  time.minute = bytes[5];
  time.second = bytes[6];
  time.milliseconds = u16(7);
  time.dayOfWeek = dayOfWeek(time);
  return CJTime(time);
}

std::string ordinalDay(unsigned day) {
  switch (day) {
  case 1:
  case 21:
  case 31:
    return formatText("%ust", day);
  case 2:
  case 22:
    return formatText("%und", day);
  case 3:
  case 23:
    return formatText("%urd", day);
  default:
    return formatText("%uth", day);
  }
}

} // namespace velto
