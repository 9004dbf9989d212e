#pragma once

#include "base/bytes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// The text of a printf format. Not for floating-point conversions, which the process locale
/// would change; those go through appendFixed().
[[gnu::format(printf, 1, 2)]] std::string formatText(const char *format, ...);

/// Appends two lower-case hexadecimal digits per byte.
void appendHex(std::string &out, ByteView bytes);
std::string toHex(ByteView bytes);
/// The byte of each pair of digits; a character that is no digit counts as 0, a trailing odd
/// character is ignored.
Bytes fromHex(std::string_view text);

/// Appends a number in decimal.
void appendDecimal(std::string &out, int64_t value);
void appendDecimal(std::string &out, uint64_t value);
/// Appends a number with six decimals ("%f"), whatever the locale.
void appendFixed(std::string &out, double value);

/// Reads a decimal number from the front of `text`: leading blanks and a sign are accepted, what
/// follows the digits is ignored, values beyond 64 bits saturate. Nothing when there is no digit.
std::optional<int64_t> parseDecimal(std::string_view text);
/// The same for an unsigned number; a minus sign negates modulo 2^64.
std::optional<uint64_t> parseUnsigned(std::string_view text);
/// parseDecimal() cut to its low 32 bits; 0 when there is no number.
int32_t decimal32(std::string_view text);
/// A text that is nothing but a decimal number from `low` to `high`; nothing otherwise.
std::optional<int32_t> wholeNumber(std::string_view text, int32_t low, int32_t high);
/// Reads a floating-point number from the front of `text` (leading blanks and a sign accepted);
/// 0 when there is none, infinite beyond the range of double.
double parseReal(std::string_view text);

/// Compares ASCII text without regard to letter case.
bool equalsIgnoreCase(std::string_view a, std::string_view b);
/// The same for an order.
bool lessIgnoreCase(std::string_view a, std::string_view b);
/// `text` without blanks, tabs and line ends on both sides.
std::string_view trim(std::string_view text);

} // namespace velto
