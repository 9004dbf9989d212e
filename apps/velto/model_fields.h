#pragma once

#include "gem/data/roles.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace velto {

// Fields of an object as text, "name=value": how each type of member is printed and read. Reading
// returns what is expected where the text is something else, and an empty text when all is well.

/// The names of a byte's values; a value's index is its name's. Values without a name are numbers.
using ValueNames = std::span<const std::string_view> (*)();

void printValue(std::string &out, uint8_t value, ValueNames names);
std::string readValue(std::string_view text, uint8_t &value, ValueNames names);

/// The same for a role; kNoRole is "none".
void printRole(std::string &out, uint8_t value, ValueNames names);
std::string readRole(std::string_view text, uint8_t &value, ValueNames names);

void printValue(std::string &out, uint32_t value);
std::string readValue(std::string_view text, uint32_t &value);

/// yes or no
void printValue(std::string &out, bool value);
std::string readValue(std::string_view text, bool &value);

void printValue(std::string &out, std::string_view value);
std::string readValue(std::string_view text, std::string &value);

/// Numbers with commas between them, or "none".
void printValue(std::string &out, const std::vector<uint32_t> &value);
std::string readValue(std::string_view text, std::vector<uint32_t> &value);

/// One field of objects of type T.
template <typename T> struct Field {
  std::string_view name;
  void (*print)(std::string &out, const T &object);
  std::string (*read)(std::string_view text, T &object);
};

/// The field that a member of the object is; a byte may have names for its values.
template <auto Member, ValueNames... Names> constexpr auto field(std::string_view name) {
  return [name]<typename T, typename V>(V T::*) {
    return Field<T>{
        name, [](std::string &out, const T &object) { printValue(out, object.*Member, Names...); },
        [](std::string_view text, T &object) { return readValue(text, object.*Member, Names...); }};
  }(Member);
}

/// The field that a text of the object is which has a getter and a setter.
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

/// The field that an object's role is.
template <typename T, ValueNames Names> constexpr Field<T> roleField(std::string_view name) {
  return {name, [](std::string &out, const T &object) { printRole(out, object.role, Names); },
          [](std::string_view text, T &object) { return readRole(text, object.role, Names); }};
}

/// The fields that a line gives, one after the other.
class FieldLine {
public:
  explicit FieldLine(std::string_view line) : rest_(line) {}

  /// Takes the next field; false at the end of the line, or when there is no field: problem() then
  /// tells why.
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

/// Sets the fields that a line gives, and their bits in `given` (that of the first is 1). Returns
/// what is wrong with the line, an empty text for nothing.
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
