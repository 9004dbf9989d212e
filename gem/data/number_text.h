#pragma once

#include "base/text.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace velto {

// The numbers of a value text: words with blanks between them.

/// Calls `visit(word)` for each word; false at the first for which that is false.
template <typename Visit> bool allNumbers(std::string_view text, Visit visit) {
  for (text = trim(text); !text.empty(); text = trim(text)) {
    const size_t end = std::min(text.find_first_of(" \t\r\n"), text.size());
    if (!visit(text.substr(0, end)))
      return false;
    text.remove_prefix(end);
  }
  return true;
}

/// Whether a word is a decimal number: a sign, digits with a point, an exponent.
bool isDecimalNumber(std::string_view word);
/// Whether an item type of integers, Boolean or Binary has a decimal number as it stands: no
/// fraction but zeros, and within the range of the type. Any byte is a Boolean, with a sign or
/// without.
bool isInIntegerType(uint8_t nodeType, std::string_view decimal);
/// The whole number at the front of a text (0 without one) as something that sorts like it, exact
/// from -2^64 to 2^64 and saturated beyond.
std::pair<bool, uint64_t> orderedWhole(std::string_view text);
/// A value text whose whole numbers of more than 18 digits are written as real ones: SML takes
/// those that are whole modulo 2^64.
std::string wholeNumbersAsReal(std::string_view text);

} // namespace velto
