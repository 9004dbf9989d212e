#include "base/text.h"

#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace velto {
namespace {

constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr uint64_t kUnsignedMax = std::numeric_limits<uint64_t>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Text, FormatsTextOfAnyLength) {
  const std::string longText(5000, 'x');
  EXPECT_EQ(formatText("%03d|%s|", 7, longText.c_str()), "007|" + longText + "|");
  EXPECT_EQ(formatText("%s", ""), "");
}

TEST(Text, ConvertsHexadecimal) {
  EXPECT_EQ(toHex(Bytes{0x00, 0x0a, 0xff}), "000aff");
  const struct {
    std::string_view text;
    Bytes bytes;
  } cases[] = {
      {"000AfF", {0x00, 0x0a, 0xff}}, {"", {}}, {"1", {}}, {"123", {0x12}}, {"g1 2", {0x01, 0x02}},
  };
  for (const auto &c : cases)
    EXPECT_EQ(fromHex(c.text), c.bytes) << c.text;
}

TEST(Text, ReadsDecimalNumbers) {
  const struct {
    std::string_view text;
    std::optional<int64_t> decimal;
    std::optional<uint64_t> natural;
    int32_t low;
  } cases[] = {
      {"42", 42, 42, 42},
      {" \t+7x", 7, 7, 7},
      {"-1", -1, kUnsignedMax, -1},
      {"4294967297", 4294967297, 4294967297, 1},
      {"2147483648", 2147483648, 2147483648, std::numeric_limits<int32_t>::min()},
      {"9223372036854775807", kMax, kMax, -1},
      {"9223372036854775808", kMax, uint64_t{1} << 63, -1},
      {"-9223372036854775808", kMin, uint64_t{1} << 63, 0},
      {"-9223372036854775809", kMin, (uint64_t{1} << 63) - 1, 0},
      {"18446744073709551616", kMax, kUnsignedMax, -1},
      {"-99999999999999999999", kMin, kUnsignedMax, 0},
      {"", {}, {}, 0},
      {"-", {}, {}, 0},
      {"+ 1", {}, {}, 0},
      {"--1", {}, {}, 0},
      {"x1", {}, {}, 0},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(parseDecimal(c.text), c.decimal) << c.text;
    EXPECT_EQ(parseUnsigned(c.text), c.natural) << c.text;
    EXPECT_EQ(decimal32(c.text), c.low) << c.text;
  }
}

TEST(Text, ReadsRealNumbers) {
  const struct {
    std::string text;
    double value;
  } cases[] = {
      {" +1.5e3,", 1500},
      {"-.25", -0.25},
      {"1e", 1},
      {"4.9e-324", std::numeric_limits<double>::denorm_min()},
      {"1e400", kInfinity},
      {"-1e99999999999999999999", -kInfinity},
      {"1e-99999999999999999999", 0},
      {std::string(400, '9'), kInfinity},
      {"0." + std::string(400, '0') + "1", 0},
      {"0." + std::string(400, '0') + "1e900", kInfinity},
      {std::string(400, '9') + "e-900", 0},
      {"", 0},
      {"abc", 0},
      {"+-5", 0},
  };
  for (const auto &c : cases)
    EXPECT_EQ(parseReal(c.text), c.value) << c.text;
  EXPECT_FALSE(std::signbit(parseReal("-"))) << "no number is 0, not -0";
}

void expectLikePrintf(double value) {
  char expected[400];
  std::snprintf(expected, sizeof expected, "%f", value);
  std::string text = "x";
  appendFixed(text, value);
  EXPECT_EQ(text, std::string("x") + expected);
}

TEST(Text, WritesRealNumbersLikePrintf) {
  for (const double value :
       {0.0, -0.0, 0.5e-6, 1.5e-6, 2.5e-6, 0.1, 123456789.123456789, 1e22,
        std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest(),
        std::numeric_limits<double>::denorm_min(), kInfinity, -kInfinity,
        std::numeric_limits<double>::quiet_NaN()})
    expectLikePrintf(value);
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> exponents(-12, 308);
  for (int i = 0; i < 2000; ++i)
    expectLikePrintf(std::pow(10, exponents(random)) * (i % 2 == 0 ? 1 : -1));
}

TEST(Text, WritesTheExtremeIntegers) {
  std::string text;
  appendDecimal(text, kMin);
  appendDecimal(text, kUnsignedMax);
  EXPECT_EQ(text, "-922337203685477580818446744073709551615");
}

TEST(Text, ComparesAndTrims) {
  EXPECT_TRUE(equalsIgnoreCase("PortNumber", "portNUMBER"));
  EXPECT_FALSE(equalsIgnoreCase("abc", "abcd"));
  EXPECT_FALSE(equalsIgnoreCase("@[", "`{")) << "only letters have a case";
  EXPECT_EQ(trim(" \t a b \r\n"), "a b");
  EXPECT_EQ(trim(" \t "), "");
}

} // namespace
} // namespace velto
