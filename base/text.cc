#include "base/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <system_error>

namespace velto {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

template <typename T> void appendInteger(std::string &out, T value) {
  std::array<char, std::numeric_limits<T>::digits10 + 2> digits; // and a sign
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  out.append(digits.data(), end);
}

uint8_t hexDigit(char c) {
  if (c >= '0' && c <= '9')
    return static_cast<uint8_t>(c - '0');
  if (c >= 'a' && c <= 'f')
    return static_cast<uint8_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F')
    return static_cast<uint8_t>(c - 'A' + 10);
  return 0;
}

std::string_view skipBlanks(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

/// Takes a sign off the front of `text`; true when it is a minus.
bool takeSign(std::string_view &text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+'))
    text.remove_prefix(1);
  return negative;
}

struct Magnitude {
  uint64_t value = 0;
  bool negative = false;
  bool tooLarge = false; ///< beyond 64 bits; `value` is then the largest
};

std::optional<Magnitude> parseMagnitude(std::string_view text) {
  Magnitude number;
  text = skipBlanks(text);
  number.negative = takeSign(text);
  const auto error = std::from_chars(text.data(), text.data() + text.size(), number.value).ec;
  if (error == std::errc::invalid_argument)
    return std::nullopt;
  number.tooLarge = error == std::errc::result_out_of_range;
  if (number.tooLarge)
    number.value = std::numeric_limits<uint64_t>::max();
  return number;
}

/// Which side a number beyond the range of double lies on: true when it is too large, false when
/// it is too close to zero. Decided by the decimal place of its first digit that is not 0.
bool isHuge(std::string_view number) {
  const size_t exponentMark = std::min(number.find_first_of("eE"), number.size());
  const std::string_view mantissa = number.substr(0, exponentMark);
  const size_t point = std::min(mantissa.find('.'), mantissa.size());
  const size_t first = std::min(mantissa.find_first_of("123456789"), mantissa.size());
  const int64_t place = static_cast<int64_t>(point) - static_cast<int64_t>(first);
  const std::string_view exponent = number.substr(std::min(exponentMark + 1, number.size()));
  return parseDecimal(exponent).value_or(0) > -place;
}

char toLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

} // namespace

std::string formatText(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string text(static_cast<size_t>(std::max(length, 0)), '\0');
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  va_end(arguments);
  return text;
}

void appendHex(std::string &out, ByteView bytes) {
  static constexpr std::string_view kDigits = "0123456789abcdef";
  out.reserve(out.size() + 2 * bytes.size());
  for (const uint8_t byte : bytes) {
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
}

std::string toHex(ByteView bytes) {
  std::string text;
  appendHex(text, bytes);
  return text;
}

Bytes fromHex(std::string_view text) {
  Bytes bytes(text.size() / 2);
  for (size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<uint8_t>(hexDigit(text[2 * i]) << 4 | hexDigit(text[2 * i + 1]));
  return bytes;
}

void appendDecimal(std::string &out, int64_t value) { appendInteger(out, value); }

void appendDecimal(std::string &out, uint64_t value) { appendInteger(out, value); }

// Most numbers fit the first try; the largest have 309 digits in front of the point.
void appendFixed(std::string &out, double value) {
  const size_t start = out.size();
  for (size_t room = 32;; room *= 4) {
    out.resize(start + room);
    char *begin = out.data() + start;
    const auto result = std::to_chars(begin, begin + room, value, std::chars_format::fixed, 6);
    if (result.ec == std::errc{}) {
      out.resize(static_cast<size_t>(result.ptr - out.data()));
      return;
    }
  }
}

std::optional<int64_t> parseDecimal(std::string_view text) {
  const auto number = parseMagnitude(text);
  if (!number)
    return std::nullopt;
  constexpr auto kMax = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
  if (number->value > kMax)
    return number->negative ? std::numeric_limits<int64_t>::min()
                            : std::numeric_limits<int64_t>::max();
  const auto value = static_cast<int64_t>(number->value);
  return number->negative ? -value : value;
}

std::optional<uint64_t> parseUnsigned(std::string_view text) {
  const auto number = parseMagnitude(text);
  if (!number)
    return std::nullopt;
  return number->negative && !number->tooLarge ? 0 - number->value : number->value;
}

int32_t decimal32(std::string_view text) {
  return static_cast<int32_t>(static_cast<uint32_t>(parseDecimal(text).value_or(0)));
}

std::optional<int32_t> wholeNumber(std::string_view text, int32_t low, int32_t high) {
  int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size() || number < low || number > high)
    return std::nullopt;
  return number;
}

double parseReal(std::string_view text) {
  text = skipBlanks(text);
  const bool negative = takeSign(text);
  if (text.starts_with('-')) // a second sign, which from_chars would take
    return 0;
  double value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec == std::errc::invalid_argument)
    return 0; // not -0
  if (result.ec == std::errc::result_out_of_range) {
    const auto length = static_cast<size_t>(result.ptr - text.data());
    value = isHuge(text.substr(0, length)) ? std::numeric_limits<double>::infinity() : 0;
  }
  return negative ? -value : value;
}

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return toLower(x) == toLower(y); });
}

bool lessIgnoreCase(std::string_view a, std::string_view b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return static_cast<uint8_t>(toLower(x)) < static_cast<uint8_t>(toLower(y));
  });
}

std::string_view trim(std::string_view text) {
  text = skipBlanks(text);
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

} // namespace velto
