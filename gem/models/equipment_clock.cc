#include "gem/models/equipment_clock.h"

#include "base/text.h"
#include "secs2/item_value.h"

#include <chrono>

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

} // namespace

std::string currentTimeText(const Clock &clock, int format) {
  const LocalTime time = clock.localTime();
  switch (format) {
  case 0:
    return formatText("%02u%02u%02u%02u%02u%02u", time.year % 100U, time.month, time.day, time.hour,
                      time.minute, time.second);
  case 1:
    return formatText("%04u%02u%02u%02u%02u%02u%02u", time.year, time.month, time.day, time.hour,
                      time.minute, time.second, time.milliseconds / 10U);
  case 2:
    return formatText("%04u/%02u/%02u %02u:%02u:%02u.%03u", time.year, time.month, time.day,
                      time.hour, time.minute, time.second, time.milliseconds);
  default:
    return "";
  }
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

uint8_t setClockFromHost(Clock &clock, bool changePCClock, const CHSecsItem &body) {
  if (!changePCClock)
    return kNotDone;
  auto time = parseTime(valueText(body, ValueForm::Decimal));
  return time && completeTime(*time) && clock.setLocalTime(*time) ? kDone : kNotDone;
}

} // namespace velto
