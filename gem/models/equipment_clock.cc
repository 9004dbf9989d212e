#include "gem/models/equipment_clock.h"

#include "base/text.h"
#include "gem/models/model.h"
#include "secs2/item_value.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace velto {

namespace {

constexpr uint8_t kDone = 0;    // TIACK
constexpr uint8_t kNotDone = 1; // TIACK

// Reads the fields of a time one after the other.
class FieldReader {
public:
  explicit FieldReader(std::string_view text) : rest_(text) {}

  uint16_t next(size_t digits) {
    const auto value = static_cast<uint16_t>(decimal32(rest_.substr(0, digits)));
    rest_.remove_prefix(digits);
    return value;
  }
  bool done() const { return rest_.empty(); }

private:
  std::string_view rest_;
};

// The first year that two characters name is 1981. They hold at most 99: what is above is negative.
uint16_t fullYear(uint16_t year) {
  return static_cast<uint16_t>(year + (year < 81 || year > 99 ? 2000 : 1900));
}

// Puts in the day of the week; false when there is no such time. Clocks differ in what they make of
// a 13th month.
bool completeTime(LocalTime &time) {
  if (time.year > 9999 || time.month > 12 || time.day > 31)
    return false; // more than the types below hold
  const std::chrono::year_month_day date{
      std::chrono::year{time.year}, std::chrono::month{time.month}, std::chrono::day{time.day}};
  if (!date.ok() || time.hour > 23 || time.minute > 59 || time.second > 59 ||
      time.milliseconds > 999)
    return false;
  time.dayOfWeek =
      static_cast<uint16_t>(std::chrono::weekday{std::chrono::local_days{date}}.c_encoding());
  return true;
}

std::string extendedText(const LocalTime &time, int32_t utcOffset) {
  const int32_t minutes = std::abs(utcOffset);
  return formatText("%04u-%02u-%02uT%02u:%02u:%02u.%03u%c%02d:%02d", time.year, time.month,
                    time.day, time.hour, time.minute, time.second, time.milliseconds,
                    utcOffset < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

// The time that many minutes later.
LocalTime shifted(const LocalTime &time, int32_t minutes) {
  using namespace std::chrono;
  const local_days day =
      local_days{year_month_day{year{time.year}, month{time.month}, std::chrono::day{time.day}}};
  const auto moment =
      day + hours{time.hour} + std::chrono::minutes{time.minute} + std::chrono::minutes{minutes};
  const auto newDay = floor<days>(moment);
  const year_month_day date{newDay};
  const hh_mm_ss clock{moment - newDay};
  LocalTime result = time;
  result.year = static_cast<uint16_t>(static_cast<int>(date.year()));
  result.month = static_cast<uint16_t>(static_cast<unsigned>(date.month()));
  result.day = static_cast<uint16_t>(static_cast<unsigned>(date.day()));
  result.hour = static_cast<uint16_t>(clock.hours().count());
  result.minute = static_cast<uint16_t>(clock.minutes().count());
  return result;
}

} // namespace

std::string currentTimeText(const Clock &clock, int format, E5Edition edition) {
  const LocalTime time = clock.localTime();
  switch (format) {
  case 0:
    return formatText("%02u%02u%02u%02u%02u%02u", time.year % 100U, time.month, time.day, time.hour,
                      time.minute, time.second);
  case 1:
    return formatText("%04u%02u%02u%02u%02u%02u%02u", time.year, time.month, time.day, time.hour,
                      time.minute, time.second, time.milliseconds / 10U);
  case 2:
    if (edition == E5Edition::Current)
      return extendedText(time, clock.utcOffset());
    return formatText("%04u/%02u/%02u %02u:%02u:%02u.%03u", time.year, time.month, time.day,
                      time.hour, time.minute, time.second, time.milliseconds);
  default:
    return "";
  }
}

std::string currentTimeText(const GemModelOwner &owner, const GemData &data) {
  const CHGemEventVid *format = data.variables.FindByRole(RoleTimeFormat);
  const int32_t style = format == nullptr ? 1 : static_cast<int32_t>(format->GetNumber());
  return currentTimeText(owner.clock(), style, owner.edition());
}

std::optional<LocalTime> parseTime(std::string_view text) {
  if (text.size() != 12 && text.size() != 16)
    return std::nullopt;
  FieldReader fields(text);
  LocalTime time;
  time.year = text.size() == 12 ? fullYear(fields.next(2)) : fields.next(4);
  time.month = fields.next(2);
  time.day = fields.next(2);
  time.hour = fields.next(2);
  time.minute = fields.next(2);
  time.second = fields.next(2);
  if (!fields.done())
    time.milliseconds = static_cast<uint16_t>(fields.next(2) * 10);
  return time;
}

std::optional<LocalTime> parseExtendedTime(std::string_view text, int32_t utcOffset) {
  constexpr size_t kFraction = 20; // its place
  constexpr std::string_view kDigits = "0123456789";
  const size_t zone = text.find_first_not_of(kDigits, std::min(kFraction, text.size()));
  if (zone == std::string_view::npos || zone == kFraction || text[10] != 'T')
    return std::nullopt;
  const auto field = [text](size_t at, size_t digits) {
    return static_cast<uint16_t>(decimal32(text.substr(at, digits)));
  };
  LocalTime time;
  time.year = field(0, 4);
  time.month = field(5, 2);
  time.day = field(8, 2);
  time.hour = field(11, 2);
  time.minute = field(14, 2);
  time.second = field(17, 2);
  const std::string fraction = std::string(text.substr(kFraction, zone - kFraction)) + "00";
  time.milliseconds = static_cast<uint16_t>(decimal32(fraction.substr(0, 3)));
  if (!completeTime(time))
    return std::nullopt;
  int32_t offset = 0;
  if (text[zone] != 'Z') {
    if (text.size() != zone + 6)
      return std::nullopt;
    offset = field(zone + 1, 2) * 60 + field(zone + 4, 2);
    offset = text[zone] == '-' ? -offset : offset;
  }
  time = shifted(time, utcOffset - offset);
  return completeTime(time) ? std::optional(time) : std::nullopt;
}

uint8_t setClockFromHost(Clock &clock, bool changePCClock, const CHSecsItem &body) {
  if (!changePCClock)
    return kNotDone;
  const std::string text = valueText(body, ValueForm::Decimal);
  auto time = parseTime(text);
  if (!time)
    time = parseExtendedTime(text, clock.utcOffset());
  return time && completeTime(*time) && clock.setLocalTime(*time) ? kDone : kNotDone;
}

} // namespace velto
