#include "base/date_time.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace velto {
namespace {

LocalTime at(uint16_t year, uint16_t month, uint16_t day, uint16_t hour = 0, uint16_t minute = 0,
             uint16_t second = 0, uint16_t milliseconds = 0) {
  return {year, month, 0, day, hour, minute, second, milliseconds};
}

TEST(DateTime, WritesEachStyle) {
  const CJTime time(at(2026, 11, 2, 0, 7, 9, 45));
  const struct {
    int style;
    const char *date;
    const char *time;
  } cases[] = {
      {0, "2026/11/02", "00:07:09.045"},  {1, "11-02-26", "00:07:09"},
      {2, "20261102", "000709"},          {3, "Nov, 2nd, 2026", "am 12:07 09\""},
      {4, "11-02-2026", "00:07:09"},      {5, "11/02/2026", "00:07:09.045"},
      {6, "02/11/2026", "00:07:09.045"},  {7, "2026/11/02", "00:07:09.045"},
      {-1, "2026/11/02", "00:07:09.045"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(time.DateText(c.style), c.date) << c.style;
    EXPECT_EQ(time.TimeText(c.style), c.time) << c.style;
  }
}

TEST(DateTime, WritesTheSpokenStyle) {
  const char *hours[] = {"am 12", "am  1", "am 11", "pm 12", "pm  1", "pm 11"};
  const uint16_t clock[] = {0, 1, 11, 12, 13, 23};
  for (size_t i = 0; i < 6; ++i)
    EXPECT_EQ(CJTime(at(2026, 1, 1, clock[i], 5, 6)).TimeText(3),
              hours[i] + std::string(":05 06\""));
  EXPECT_EQ(CJTime(at(999, 0, 1)).DateText(3), "???, 1st, 0999");
  EXPECT_EQ(CJTime(at(2026, 13, 31)).DateText(3), "???, 31st, 2026");
  const std::pair<unsigned, const char *> days[] = {{3, "3rd"},   {4, "4th"},   {11, "11th"},
                                                    {12, "12th"}, {13, "13th"}, {21, "21st"},
                                                    {22, "22nd"}, {23, "23rd"}, {30, "30th"}};
  for (const auto &[day, text] : days)
    EXPECT_EQ(ordinalDay(day), text);
}

TEST(DateTime, StoresNineBytes) {
  const CJTime time(at(2026, 11, 2, 23, 59, 58, 999));
  const std::array<uint8_t, 9> bytes{0xea, 0x07, 11, 2, 23, 59, 58, 0xe7, 0x03};
  EXPECT_EQ(time.store(), bytes);
  LocalTime expected = time.time();
  expected.dayOfWeek = 1; // a Monday
  EXPECT_EQ(CJTime::load(bytes).time(), expected);
  const std::array<uint8_t, 9> noDate{0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
  EXPECT_EQ(CJTime::load(noDate).store(), noDate);
}

} // namespace
} // namespace velto
