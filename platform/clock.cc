#include "platform/clock.h"

#include <chrono>
#include <ctime>

namespace velto {

namespace {

using Milliseconds = std::chrono::milliseconds;

std::chrono::local_time<Milliseconds> toCalendar(const LocalTime &time) {
  const std::chrono::year_month_day date{
      std::chrono::year{time.year}, std::chrono::month{time.month}, std::chrono::day{time.day}};
  return std::chrono::local_days{date} + std::chrono::hours{time.hour} +
         std::chrono::minutes{time.minute} + std::chrono::seconds{time.second} +
         Milliseconds{time.milliseconds};
}

LocalTime fromCalendar(std::chrono::local_time<Milliseconds> when) {
  const auto day = std::chrono::floor<std::chrono::days>(when);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss clock{when - day};
  LocalTime time;
  time.year = static_cast<uint16_t>(static_cast<int>(date.year()));
  time.month = static_cast<uint16_t>(static_cast<unsigned>(date.month()));
  time.day = static_cast<uint16_t>(static_cast<unsigned>(date.day()));
  time.dayOfWeek = static_cast<uint16_t>(std::chrono::weekday{day}.c_encoding());
  time.hour = static_cast<uint16_t>(clock.hours().count());
  time.minute = static_cast<uint16_t>(clock.minutes().count());
  time.second = static_cast<uint16_t>(clock.seconds().count());
  time.milliseconds = static_cast<uint16_t>(clock.subseconds().count());
  return time;
}

} // namespace

uint32_t SystemClock::ticks() const {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 +
                               static_cast<uint64_t>(now.tv_nsec) / 1'000'000);
}

LocalTime SystemClock::localTime() const {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm fields{};
  localtime_r(&now.tv_sec, &fields);
  LocalTime time;
  time.year = static_cast<uint16_t>(fields.tm_year + 1900);
  time.month = static_cast<uint16_t>(fields.tm_mon + 1);
  time.dayOfWeek = static_cast<uint16_t>(fields.tm_wday);
  time.day = static_cast<uint16_t>(fields.tm_mday);
  time.hour = static_cast<uint16_t>(fields.tm_hour);
  time.minute = static_cast<uint16_t>(fields.tm_min);
  time.second = static_cast<uint16_t>(fields.tm_sec);
  time.milliseconds = static_cast<uint16_t>(now.tv_nsec / 1'000'000);
  return time;
}

bool SystemClock::setLocalTime(const LocalTime &time) {
  tm fields{};
  fields.tm_year = time.year - 1900;
  fields.tm_mon = time.month - 1;
  fields.tm_mday = time.day;
  fields.tm_hour = time.hour;
  fields.tm_min = time.minute;
  fields.tm_sec = time.second;
  fields.tm_isdst = -1;
  const time_t seconds = mktime(&fields);
  if (seconds == -1)
    return false;
  const timespec when{seconds, time.milliseconds * 1'000'000L};
  return clock_settime(CLOCK_REALTIME, &when) == 0;
}

int32_t SystemClock::utcOffset() const {
  const time_t now = time(nullptr);
  tm fields{};
  localtime_r(&now, &fields);
  return static_cast<int32_t>(fields.tm_gmtoff / 60);
}

SystemClock &systemClock() {
  static SystemClock clock;
  return clock;
}

bool ManualClock::setLocalTime(const LocalTime &time) {
  local_ = fromCalendar(toCalendar(time));
  return true;
}

void ManualClock::advance(uint32_t milliseconds) {
  ticks_ += milliseconds;
  local_ = fromCalendar(toCalendar(local_) + Milliseconds{milliseconds});
}

} // namespace velto
