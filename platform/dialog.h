#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// One entry of a property page. Its text is what the operator sees and edits.
struct Field {
  enum class Kind { Text, Integer, Check, Choice, Label };

  std::string key;   ///< the property that the field edits
  std::string label; ///< what stands in front of it
  Kind kind = Kind::Text;
  std::string value;   ///< Check: "true" or "false"; Choice: one of `choices`
  int64_t minimum = 0; ///< Integer: smallest and largest accepted value
  int64_t maximum = 0;
  std::vector<std::string> choices;
};

/// One page of a property sheet.
struct PropertyPage {
  std::string title;
  std::vector<Field> fields;

  void text(std::string key, std::string label, std::string value);
  void integer(std::string key, std::string label, int64_t value, int64_t minimum, int64_t maximum);
  void check(std::string key, std::string label, bool value);
  void choice(std::string key, std::string label, std::string value,
              std::vector<std::string> choices);
};

/// A modal property sheet: pages of fields that the operator accepts with OK or cancels.
struct PropertySheet {
  std::string title;
  std::vector<PropertyPage> pages;

  /// The field with this key or label, without regard to letter case; null when there is none.
  Field *find(std::string_view keyOrLabel);
  std::string value(std::string_view key);
  int64_t integer(std::string_view key);
  bool checked(std::string_view key);

  /// The label of the first field whose value its kind cannot hold; empty when all are right.
  std::string firstInvalid() const;
};

/// What shows message boxes and sheets to the operator. Both are modal: the call returns when the
/// operator has answered.
class FrontEnd {
public:
  virtual ~FrontEnd() = default;
  virtual void messageBox(const std::string &text) = 0;
  /// True when the operator accepted the sheet, which then holds the new values.
  virtual bool showSheet(PropertySheet &sheet) = 0;
};

/// The front end of a process without an operator: boxes vanish, sheets are cancelled.
FrontEnd &headlessFrontEnd();

} // namespace velto
