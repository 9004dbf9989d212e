#pragma once

#include <concepts>
#include <cstdint>
#include <string>

namespace velto {

/// The numbers that a variable is set to: any but truth values and characters.
template <typename T>
concept VariableNumber = std::same_as<T, float> || std::same_as<T, double> ||
    (std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char>);

/// The value text of a number.
std::string variableText(std::signed_integral auto value) { return std::to_string(int64_t{value}); }
std::string variableText(std::unsigned_integral auto value) {
  return std::to_string(uint64_t{value});
}
std::string variableText(double value);

} // namespace velto
