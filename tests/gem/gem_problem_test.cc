#include "gem/gem_problem.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

TEST(GemErrorTest, TextsCoverEveryCode) {
  EXPECT_STREQ("Length is less than 10 bytes.", gemErrorText(ErrorGemHsmsLengthTooShort));
  EXPECT_STREQ("Unknow S-type.", gemErrorText(ErrorGemHsmsInvalidSType));
  EXPECT_STREQ("T5 time out.", gemErrorText(ErrorGemHsmsT5Timeout));
  for (const int code : {-1, 0, 14})
    EXPECT_STREQ("Unknown Error", gemErrorText(code));
}

} // namespace
} // namespace velto
