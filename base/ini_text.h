#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// The text of an INI file: `[section]` lines and `key=value` lines.
///
/// Section and key are found without regard to letter case; blanks around keys and values are
/// trimmed and one pair of quotes around a value is dropped. The first entry of a name counts.
/// Lines that start with ';' or '#' are comments. Changing a value keeps every other line
/// (comments, unknown lines, order, line ends) as it was; a new line ends with "\n".
class IniText {
public:
  IniText() = default;
  explicit IniText(std::string_view text);

  bool has(std::string_view section, std::string_view key) const;
  /// The value, or `fallback` when the key is missing; either is cut to `limit` characters.
  std::string text(std::string_view section, std::string_view key, std::string_view fallback,
                   size_t limit = 128) const;
  /// The low 32 bits of the value's leading decimal number (0 when it has none), or `fallback`
  /// when the key is missing.
  int integer(std::string_view section, std::string_view key, int fallback) const;
  /// Whether that number is not 0.
  bool flag(std::string_view section, std::string_view key, bool fallback) const {
    return integer(section, key, fallback ? 1 : 0) != 0;
  }

  /// Sets a value. A new key goes to the end of its section, a new section to the end of the file.
  /// The value reads back as it is, but without line ends.
  void setText(std::string_view section, std::string_view key, std::string_view value);
  void setInteger(std::string_view section, std::string_view key, int value);
  /// The whole text.
  std::string text() const;

private:
  static constexpr size_t kNone = static_cast<size_t>(-1);

  /// The line of a section's heading and the line behind its last one.
  struct Section {
    size_t begin = kNone;
    size_t end = kNone;
  };
  Section findSection(std::string_view section) const;
  size_t findKey(const Section &section, std::string_view key) const;
  void insertLine(size_t index, std::string line);

  std::vector<std::string> lines_; ///< with their line ends
};

} // namespace velto
