#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace velto {

/// The types that a property, argument or result is declared with.
enum class ValueType { None, Bool, Int16, Int32, Double, Text };

/// The type's name as `describe` and the reference print it: "bool", "int16", "int32", "double",
/// "text"; "none" for no value.
const char *toText(ValueType type);

/// A value of any type, as late-bound callers pass and receive it.
class Variant {
public:
  Variant() = default;
  Variant(bool value) : value_(value) {}
  Variant(int16_t value) : value_(static_cast<int64_t>(value)) {}
  Variant(int32_t value) : value_(static_cast<int64_t>(value)) {}
  Variant(uint32_t value) : value_(static_cast<int64_t>(value)) {}
  Variant(int64_t value) : value_(value) {}
  Variant(double value) : value_(value) {}
  Variant(std::string value) : value_(std::move(value)) {}
  Variant(const char *value) : value_(std::string(value)) {}

  bool empty() const { return std::holds_alternative<std::monostate>(value_); }
  bool isBool() const { return std::holds_alternative<bool>(value_); }
  bool isText() const { return std::holds_alternative<std::string>(value_); }
  bool isInteger() const { return std::holds_alternative<int64_t>(value_); }
  bool isNumber() const { return isInteger() || std::holds_alternative<double>(value_); }

  /// The value as a declared type: numbers and their texts convert into each other, "true" and
  /// "false" and numbers into bool. Nothing when the value cannot be that type or does not fit.
  std::optional<Variant> as(ValueType type) const;

  /// The held value; the type must be the one that as() gave.
  bool toBool() const { return std::get<bool>(value_); }
  int64_t toInteger() const { return std::get<int64_t>(value_); }
  double toReal() const { return std::get<double>(value_); }
  const std::string &toString() const { return std::get<std::string>(value_); }

  /// The value as plain text: "true", "-5", "1.5" (the shortest decimal form that reads back as
  /// the same number), the text itself, "" when empty.
  std::string text() const;

  bool operator==(const Variant &) const = default;

private:
  std::variant<std::monostate, bool, int64_t, double, std::string> value_;
};

/// How C++ types stand for declared types.
template <typename T> struct ValueTraits;
template <> struct ValueTraits<void> { static constexpr ValueType kType = ValueType::None; };
template <> struct ValueTraits<bool> {
  static constexpr ValueType kType = ValueType::Bool;
  static bool from(const Variant &value) { return value.toBool(); }
};
template <> struct ValueTraits<int16_t> {
  static constexpr ValueType kType = ValueType::Int16;
  static int16_t from(const Variant &value) { return static_cast<int16_t>(value.toInteger()); }
};
template <> struct ValueTraits<int32_t> {
  static constexpr ValueType kType = ValueType::Int32;
  static int32_t from(const Variant &value) { return static_cast<int32_t>(value.toInteger()); }
};
template <> struct ValueTraits<double> {
  static constexpr ValueType kType = ValueType::Double;
  static double from(const Variant &value) { return value.toReal(); }
};
template <> struct ValueTraits<std::string> {
  static constexpr ValueType kType = ValueType::Text;
  static std::string from(const Variant &value) { return value.toString(); }
};

} // namespace velto
