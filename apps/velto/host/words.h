#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// A word of a command line of the host.
struct Word {
  std::string text;    ///< without quotes, escapes resolved
  bool quoted = false; ///< whether a part of it stood in quotes
};

/// The number that a text is as a whole; nothing when it is none.
template <typename Number> std::optional<Number> wholeText(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size() ? std::optional(number)
                                                                  : std::nullopt;
}

/// Cuts a line into words at blanks. A part in double quotes may hold blanks and the escapes
/// \r \n \t \" \\ \xHH; an item in SML, such as `<u4 5>`, is one word; `#` begins a comment.
/// Returns what is wrong with the line, an empty text when nothing is.
std::string splitWords(std::string_view text, std::vector<Word> &words);

} // namespace velto
