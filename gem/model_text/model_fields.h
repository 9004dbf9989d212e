#pragma once

#include "gem/data/roles.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace velto {

// The fields of an object as text, "name=value". A pair of functions prints and reads each type of
// value. When the text is wrong, a function that reads returns what is expected instead, such as
// "yes or no"; otherwise it returns an empty text.

/// The names of the values of a byte: the name of value 0, of value 1 and so on. A value without a
/// name is written as a number.
using ValueNames = std::span<const std::string_view> (*)();

void printValue(std::string &out, uint8_t value, ValueNames names);
std::string readValue(std::string_view text, uint8_t &value, ValueNames names);

/// The same for a role; kNoRole is written as "none".
void printRole(std::string &out, uint8_t value, ValueNames names);
std::string readRole(std::string_view text, uint8_t &value, ValueNames names);

void printValue(std::string &out, uint32_t value);
std::string readValue(std::string_view text, uint32_t &value);

/// Written as yes or no.
void printValue(std::string &out, bool value);
std::string readValue(std::string_view text, bool &value);

void printValue(std::string &out, std::string_view value);
std::string readValue(std::string_view text, std::string &value);

/// Written as numbers with commas between them, or as "none".
void printValue(std::string &out, const std::vector<uint32_t> &value);
std::string readValue(std::string_view text, std::vector<uint32_t> &value);

/// One field of objects of type T.
template <typename T> struct Field {
  std::string_view name;
  void (*print)(std::string &out, const T &object);
  std::string (*read)(std::string_view text, T &object);
};

/// A field that is a data member of the object. A byte may have names for its values.
template <auto Member, ValueNames... Names> constexpr auto field(std::string_view name) {
  return [name]<typename T, typename V>(V T::*) {
    return Field<T>{
        name, [](std::string &out, const T &object) { printValue(out, object.*Member, Names...); },
        [](std::string_view text, T &object) { return readValue(text, object.*Member, Names...); }};
  }(Member);
}

/// A field that is a text with a getter and a setter.
template <auto Get, auto Set> constexpr auto textField(std::string_view name) {
  return [name]<typename T>(std::string_view (T::*)() const) {
    return Field<T>{name,
                    [](std::string &out, const T &object) { printValue(out, (object.*Get)()); },
                    [](std::string_view text, T &object) {
                      (object.*Set)(text);
                      return std::string();
                    }};
  }(Get);
}

/// A field that is the role of the object.
template <typename T, ValueNames Names> constexpr Field<T> roleField(std::string_view name) {
  return {name, [](std::string &out, const T &object) { printRole(out, object.role, Names); },
          [](std::string_view text, T &object) { return readRole(text, object.role, Names); }};
}

/// Reads the fields of a line one after the other.
class FieldLine {
public:
  explicit FieldLine(std::string_view line) : rest_(line) {}

  /// Goes on to the next field. False at the end of the line, and when the text is not a field:
  /// problem() then says why.
  bool next();
  const std::string &name() const { return name_; }
  const std::string &value() const { return value_; }
  const std::string &problem() const { return problem_; }

private:
  bool takeQuoted();
  bool fail(std::string problem);

  std::string_view rest_;
  std::string name_;
  std::string value_;
  std::string problem_;
};

/// Appends all fields of an object and a line end.
template <typename T>
void printFields(std::string &out, std::span<const Field<std::type_identity_t<T>>> fields,
                 const T &object) {
  for (const Field<T> &field : fields) {
    if (&field != &fields.front())
      out += ' ';
    out += field.name;
    out += '=';
    field.print(out, object);
  }
  out += '\n';
}

/// Sets the fields of an object that a line gives, and for each its bit in `given` (bit 0 is the
/// first field). Returns what is wrong with the line, an empty text when nothing is.
template <typename T>
std::string readFields(std::string_view text,
                       std::span<const Field<std::type_identity_t<T>>> fields, T &object,
                       uint32_t &given) {
  FieldLine line(text);
  while (line.next()) {
    size_t index = 0;
    while (index < fields.size() && fields[index].name != line.name())
      ++index;
    if (index == fields.size())
      return "there is no field \"" + line.name() + "\" here";
    const uint32_t bit = uint32_t{1} << index;
    if ((given & bit) != 0)
      return line.name() + " is given twice";
    given |= bit;
    if (const std::string expected = fields[index].read(line.value(), object); !expected.empty())
      return line.name() + " must be " + expected;
  }
  return line.problem();
}

} // namespace velto
