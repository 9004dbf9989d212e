#include "gem/data/number_text.h"

#include "secs2/format.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace velto {

namespace {

constexpr std::string_view kDigits = "0123456789";

std::string_view withoutSign(std::string_view word) {
  return word.substr(word.starts_with('-') || word.starts_with('+') ? 1 : 0);
}

// The largest number of a type without its sign.
uint64_t largestOf(uint8_t nodeType, bool negative) {
  const uint8_t code = formatOf(nodeType);
  const uint64_t all = UINT64_MAX >> (64 - 8 * elementSize(code));
  const ElementKind kind = formatInfo(code).kind;
  const bool isSigned = kind == ElementKind::Signed;
  if (negative)
    return isSigned || kind == ElementKind::Boolean ? all / 2 + 1 : 0;
  return isSigned ? all / 2 : all;
}

} // namespace

bool isDecimalNumber(std::string_view word) {
  word = withoutSign(word);
  if (word.empty() || (kDigits.find(word[0]) == std::string_view::npos && word[0] != '.'))
    return false;
  double value = 0;
  const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
  return result.ec != std::errc::invalid_argument && result.ptr == word.data() + word.size();
}

bool isInIntegerType(uint8_t nodeType, std::string_view decimal) {
  std::string_view whole = withoutSign(decimal);
  const size_t point = std::min(whole.find('.'), whole.size());
  if (whole.find_first_not_of('0', std::min(point + 1, whole.size())) != std::string_view::npos)
    return false;
  whole = whole.substr(0, point);
  whole.remove_prefix(std::min(whole.find_first_not_of('0'), whole.size()));
  if (whole.empty())
    return true;
  const uint64_t value = parseUnsigned(whole).value_or(0);
  return std::to_string(value) == whole && value <= largestOf(nodeType, decimal.starts_with('-'));
}

std::pair<bool, uint64_t> orderedWhole(std::string_view text) {
  text = trim(text);
  const bool negative = text.starts_with('-');
  const std::string_view digits = withoutSign(text);
  const bool isNumber = !digits.empty() && kDigits.find(digits[0]) != std::string_view::npos;
  const uint64_t magnitude = isNumber ? parseUnsigned(digits).value_or(0) : 0;
  return negative && magnitude != 0 ? std::pair(false, UINT64_MAX - magnitude)
                                    : std::pair(true, magnitude);
}

std::string wholeNumbersAsReal(std::string_view text) {
  constexpr size_t kMostDigits = 18; // that fit 64 bits whatever they are
  std::string out;
  size_t taken = 0;
  allNumbers(text, [&](std::string_view word) {
    const std::string_view digits = withoutSign(word);
    if (digits.size() > kMostDigits &&
        digits.find_first_not_of(kDigits) == std::string_view::npos) {
      const auto end = static_cast<size_t>(word.data() + word.size() - text.data());
      out.append(text.substr(taken, end - taken)).append(".0");
      taken = end;
    }
    return true;
  });
  return out.append(text.substr(taken));
}

} // namespace velto
