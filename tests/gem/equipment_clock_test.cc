#include "gem/models/equipment_clock.h"

#include "secs2/message.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

constexpr LocalTime kMorning{2014, 11, 3, 19, 8, 5, 3, 456};

// A clock that the platform does not let anybody set.
class LockedClock final : public Clock {
public:
  uint32_t ticks() const override { return 0; }
  LocalTime localTime() const override { return kMorning; }
  bool setLocalTime(const LocalTime &) override { return false; }
  int32_t utcOffset() const override { return -90; }
};

CHSecsItem timeItem(const std::string &sml) {
  CHSecsMessage message;
  EXPECT_TRUE(message.SetFromSml("s2f31w" + sml));
  return std::move(message.root);
}

TEST(EquipmentClock, TellsTheTimeInEachFormat) {
  const LockedClock clock;
  EXPECT_EQ(currentTimeText(clock, 0), "141119080503");
  EXPECT_EQ(currentTimeText(clock, 1), "2014111908050345");
  EXPECT_EQ(currentTimeText(clock, 2), "2014/11/19 08:05:03.456");
  EXPECT_EQ(currentTimeText(clock, 3), "");
  EXPECT_EQ(currentTimeText(clock, -1), "");
  EXPECT_EQ(currentTimeText(clock, 1, E5Edition::Current), "2014111908050345");
  EXPECT_EQ(currentTimeText(clock, 2, E5Edition::Current), "2014-11-19T08:05:03.456-01:30");
}

TEST(EquipmentClock, ReadsExtendedTimesAsLocalOnes) {
  const struct {
    const char *text;
    int32_t utcOffset;
    std::optional<LocalTime> time;
  } rows[] = {
      {"2014-11-19T08:05:03.456-01:30", -90, kMorning},
      {"2014-11-19T08:05:03.4Z", 0, LocalTime{2014, 11, 3, 19, 8, 5, 3, 400}},
      {"2014-11-19T08:05:03.45678Z", 60, LocalTime{2014, 11, 3, 19, 9, 5, 3, 456}},
      {"2023-12-31T23:30:00.0-02:00", 0, LocalTime{2024, 1, 1, 1, 1, 30, 0, 0}},
      {"2024-03-01T00:00:00.0+05:45", 0, LocalTime{2024, 2, 4, 29, 18, 15, 0, 0}},
      {"2014-11-31T08:05:03.4Z", 0, std::nullopt},
      {"9999-12-31T23:59:59.0-01:00", 0, std::nullopt},
      {"0000-01-01T00:00:00.0+01:00", 0, std::nullopt},
      {"2014-11-19T08:05:03.4", 0, std::nullopt},
      {"2014-11-19T08:05:03.4+01", 0, std::nullopt},
      {"2014-11-19T08:05:03.Z", 0, std::nullopt},
      {"2014/11/19 08:05:03.456", 0, std::nullopt},
      {"", 0, std::nullopt},
  };
  for (const auto &row : rows)
    EXPECT_EQ(parseExtendedTime(row.text, row.utcOffset), row.time) << row.text;
}

TEST(EquipmentClock, ReadsTimesOfTwelveAndSixteenCharacters) {
  const struct {
    const char *text;
    std::optional<LocalTime> time;
  } rows[] = {
      {"800101000000", LocalTime{2080, 1, 4, 1, 0, 0, 0, 0}},
      {"810101000000", LocalTime{1981, 1, 4, 1, 0, 0, 0, 0}},
      {"-51119080503", LocalTime{1995, 11, 4, 19, 8, 5, 3, 0}}, // 5 years before 2000
      {"991231235958", LocalTime{1999, 12, 4, 31, 23, 59, 58, 0}},
      {"2014111908050345", LocalTime{2014, 11, 4, 19, 8, 5, 3, 450}},
      {" 1 2 3 4 5 6", LocalTime{2001, 2, 4, 3, 4, 5, 6, 0}},
      {"141361996199", LocalTime{2014, 13, 4, 61, 99, 61, 99, 0}}, // nothing is checked here
      {"20141119080503", std::nullopt},
      {"", std::nullopt},
      {"2014/11/19 08:05:03.456", std::nullopt},
  };
  for (const auto &row : rows)
    EXPECT_EQ(parseTime(row.text), row.time) << row.text;
}

TEST(EquipmentClock, IsSetByTheHostWhenItMayAndTheTimeExists) {
  const LocalTime before;
  const struct {
    const char *sml;
    bool allowed;
    uint8_t tiack;
    LocalTime after;
  } rows[] = {
      {"<a '2014111908050345'>", true, 0, {2014, 11, 3, 19, 8, 5, 3, 450}},
      {"<a '160229235959'>", true, 0, {2016, 2, 1, 29, 23, 59, 59, 0}},
      {"<a '2014111908050345'>", false, 1, before},
      {"<a '20141119080503'>", true, 1, before},
      {"{<a '2014111908050345'>}", true, 1, before},
      {"", true, 1, before},
      {"<a '2014-11-19T08:05:03.45Z'>", true, 0, {2014, 11, 3, 19, 8, 5, 3, 450}},
      {"<a '150229000000'>", true, 1, before}, // no leap year
      {"<a '141319080503'>", true, 1, before},
      {"<a '140019080503'>", true, 1, before},
      {"<a '141119240503'>", true, 1, before},
      {"<a '141119086003'>", true, 1, before},
      {"<a '141119080560'>", true, 1, before},
      {"<a '14-119080503'>", true, 1, before},
      {"<a '-123111908050345'>", true, 1, before},
  };
  for (const auto &row : rows) {
    ManualClock clock;
    EXPECT_EQ(setClockFromHost(clock, row.allowed, timeItem(row.sml)), row.tiack) << row.sml;
    EXPECT_EQ(clock.localTime(), row.after) << row.sml;
  }
}

TEST(EquipmentClock, ReportsAPlatformThatRefuses) {
  LockedClock clock;
  EXPECT_EQ(setClockFromHost(clock, true, timeItem("<a '141119080503'>")), 1);
}

} // namespace
} // namespace velto
