#include "platform/clock.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

TEST(ManualClock, MovesTicksAndLocalTimeTogether) {
  ManualClock clock(0xffffffff);
  EXPECT_TRUE(clock.setLocalTime({2024, 2, 0, 28, 23, 59, 59, 999}));
  clock.advance(1);
  EXPECT_EQ(clock.ticks(), 0U);
  EXPECT_EQ(clock.localTime(), (LocalTime{2024, 2, 4, 29, 0, 0, 0, 0})); // a Thursday
}

} // namespace
} // namespace velto
