#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// A word of a command line of the host.
struct Word {
  std::string text;    ///< without quotes, escapes resolved
  bool quoted = false; ///< part of it stood in quotes
};

/// Cuts a line into words, which stand between blanks. A part in double quotes may hold blanks and
/// the escapes \r \n \t \" \\ \xHH; an item in SML, `<u4 5>`, is one word; `#` ends the line.
/// Returns what is wrong with the line, an empty text for nothing.
std::string splitWords(std::string_view text, std::vector<Word> &words);

} // namespace velto
