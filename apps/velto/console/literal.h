#pragma once

#include "base/quoted_text.h"
#include "controls/component/variant.h"
#include "secs2/message.h"

#include <charconv>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// A value as the container reads and prints it: 5, 1.5, true, "text".
std::string toLiteral(const Variant &value);

/// Text as a terminal may get it: line ends, tabs and printable characters, UTF-8 among them, stay;
/// any other byte becomes \r or \xHH. (A carriage return in front of a line feed is a line end.)
std::string visibleText(std::string_view text);

/// Bytes that one message may take on a screen.
inline constexpr size_t kMostOnScreen = 65'536;
/// A text that goes to the screen; of one that is longer than that the beginning, and a line that
/// tells how much is left out.
std::string screenText(std::string text);

/// The number that a text is as a whole; nothing when it is none.
template <typename Number> std::optional<Number> wholeText(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size() ? std::optional(number)
                                                                  : std::nullopt;
}

/// What is wrong with a text in SML: in one line, of the text itself at most 60 characters.
std::string smlProblem(const SmlError &error);
/// The line in which the text that could not be taken begins; SmlError::line is its last.
int firstLine(const SmlError &error);

/// Text on one line: carriage returns and line feeds become \r and \n, all else stays as it is.
std::string oneLine(std::string_view text);

} // namespace velto
