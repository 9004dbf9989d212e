#include "controls/component/variant.h"

#include "base/text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace velto {

namespace {

std::optional<int64_t> integerOf(const std::string &text) {
  const std::string_view digits = trim(text);
  const size_t start = !digits.empty() && (digits[0] == '-' || digits[0] == '+') ? 1 : 0;
  if (digits.size() == start ||
      digits.find_first_not_of("0123456789", start) != std::string_view::npos)
    return std::nullopt;
  return parseDecimal(digits);
}

std::optional<double> realNumber(const std::string &text) {
  std::string_view digits = trim(text);
  if (digits.starts_with('+'))
    digits.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc{} || end != digits.data() + digits.size() || !std::isfinite(value))
    return std::nullopt;
  return value;
}

std::optional<bool> truth(const std::string &text) {
  if (equalsIgnoreCase(trim(text), "true"))
    return true;
  if (equalsIgnoreCase(trim(text), "false"))
    return false;
  if (const auto number = integerOf(text))
    return *number != 0;
  return std::nullopt;
}

std::optional<Variant> fitted(std::optional<int64_t> value, int64_t low, int64_t high) {
  if (!value || *value < low || *value > high)
    return std::nullopt;
  return Variant(*value);
}

struct ToInteger {
  std::optional<int64_t> operator()(std::monostate) const { return std::nullopt; }
  std::optional<int64_t> operator()(bool value) const { return value ? 1 : 0; }
  std::optional<int64_t> operator()(int64_t value) const { return value; }
  std::optional<int64_t> operator()(double value) const {
    if (std::trunc(value) != value || std::abs(value) >= 0x1p63)
      return std::nullopt;
    return static_cast<int64_t>(value);
  }
  std::optional<int64_t> operator()(const std::string &value) const { return integerOf(value); }
};

struct ToReal {
  std::optional<double> operator()(std::monostate) const { return std::nullopt; }
  std::optional<double> operator()(bool value) const { return value ? 1.0 : 0.0; }
  std::optional<double> operator()(int64_t value) const { return static_cast<double>(value); }
  std::optional<double> operator()(double value) const { return value; }
  std::optional<double> operator()(const std::string &value) const { return realNumber(value); }
};

struct ToBool {
  std::optional<bool> operator()(std::monostate) const { return std::nullopt; }
  std::optional<bool> operator()(bool value) const { return value; }
  std::optional<bool> operator()(int64_t value) const { return value != 0; }
  std::optional<bool> operator()(double value) const { return value != 0; }
  std::optional<bool> operator()(const std::string &value) const { return truth(value); }
};

struct ToText {
  std::string operator()(std::monostate) const { return ""; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const {
    // The longest such text is that of the smallest number: a sign, "0." and 1074 decimals.
    std::array<char, 1100> text{};
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    return error == std::errc{} ? std::string(text.data(), end) : std::string();
  }
  std::string operator()(const std::string &value) const { return value; }
};

} // namespace

const char *toText(ValueType type) {
  switch (type) {
  case ValueType::Bool:
    return "bool";
  case ValueType::Int16:
    return "int16";
  case ValueType::Int32:
    return "int32";
  case ValueType::Double:
    return "double";
  case ValueType::Text:
    return "text";
  case ValueType::None:
    break;
  }
  return "none";
}

std::optional<Variant> Variant::as(ValueType type) const {
  switch (type) {
  case ValueType::Bool:
    if (const auto value = std::visit(ToBool{}, value_))
      return Variant(*value);
    return std::nullopt;
  case ValueType::Int16:
    return fitted(std::visit(ToInteger{}, value_), std::numeric_limits<int16_t>::min(),
                  std::numeric_limits<int16_t>::max());
  case ValueType::Int32:
    return fitted(std::visit(ToInteger{}, value_), std::numeric_limits<int32_t>::min(),
                  std::numeric_limits<int32_t>::max());
  case ValueType::Double:
    if (const auto value = std::visit(ToReal{}, value_))
      return Variant(*value);
    return std::nullopt;
  case ValueType::Text:
    return Variant(text());
  case ValueType::None:
    break;
  }
  return std::nullopt;
}

std::string Variant::text() const { return std::visit(ToText{}, value_); }

} // namespace velto
