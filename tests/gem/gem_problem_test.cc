#include "gem/gem_problem.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

TEST(GemErrorTest, TextsCoverEveryCode) {
  EXPECT_EQ(gemErrorText(ErrorGemHsmsLengthTooShort), "Length is less than 10 bytes.");
  EXPECT_EQ(gemErrorText(ErrorGemHsmsInvalidSType), "Unknow S-type.");
  EXPECT_EQ(gemErrorText(ErrorGemHsmsT5Timeout), "T5 time out.");
  for (const int code : {-1, 0, 14})
    EXPECT_EQ(gemErrorText(code), "Unknown Error");
  EXPECT_EQ(gemErrorText(10048), "Address already in use");
  EXPECT_EQ(gemErrorText(104), "Connection reset by peer");
}

} // namespace
} // namespace velto
