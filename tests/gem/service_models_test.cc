#include "gem/models/clock_model.h"
#include "gem/models/terminal_model.h"

#include "gem/receive.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

TEST(ClockModel, TellsTheTimeAndLetsTheHostSetItWhereItMay) {
  static const struct {
    const char *sml;
    bool allowed;
    bool asked; ///< S2F18: an S2F17 is open
    uint8_t communication;
    Answer answer;
    uint16_t year; ///< of the clock afterwards
  } kCases[] = {
      {"s2f17w", false, false, 2, taken("s2f18<a'2000010100000000'>"), 2000},
      {"s2f18<a'2014111908050345'>", false, true, 2, taken("s0f0"), 2000},
      {"s2f18<a'2014111908050345'>", true, false, 2, taken("s0f0"), 2000},
      {"s2f18<a'2014111908050345'>", true, true, 2, taken("s0f0"), 2014},
      {"s2f31w<a'2014111908050345'>", false, false, 2, taken("s2f32<b 1>"), 2000},
      {"s2f31w<a'2014111908050345'>", true, false, 1, taken("s2f32<b 1>"), 2000},
      {"s2f31w<a'2014111908050345'>", true, false, 2, taken("s2f32<b 0>"), 2014},
      {"s1f1w", true, true, 2, notTaken("s1f2{<a'Kel'><a'1.00'>}"), 2000},
  };
  for (const auto &row : kCases) {
    FakeOwner owner;
    CHGemClockModel model(owner, owner.data);
    owner.data.changePCClock = row.allowed;
    owner.answered = row.asked;
    owner.communication = row.communication;
    owner.time.setLocalTime({2000, 1, 6, 1, 0, 0, 0, 0});
    EXPECT_EQ(receive(model, row.sml), row.answer) << row.sml;
    EXPECT_EQ(owner.time.localTime().year, row.year) << row.sml;
    EXPECT_FALSE(model.modified()) << "the data file keeps no time";
  }
}

TEST(ClockModel, TellsTheTimeInTheFormatOfItsVariable) {
  FakeOwner owner;
  CHGemClockModel model(owner, owner.data);
  owner.time.setLocalTime({2014, 11, 3, 19, 8, 5, 3, 0});
  owner.addRole(12, RoleTimeFormat, "0");
  EXPECT_EQ(receive(model, "s2f17w"), taken("s2f18<a'141119080503'>"));
}

TEST(TerminalModel, AcknowledgesEveryText) {
  FakeOwner owner;
  CHGemTerminalModel model(owner, owner.data);
  EXPECT_EQ(receive(model, "s10f3w{<b 0><a'wait'>}"), taken("s10f4<b 0>"));
  EXPECT_EQ(receive(model, "s10f5w{<b 0>{<a'line'>}}"), taken("s10f6<b 0>"));
  EXPECT_EQ(receive(model, "s1f1w"), notTaken("s1f2{<a'Kel'><a'1.00'>}"));
}

} // namespace
} // namespace velto
