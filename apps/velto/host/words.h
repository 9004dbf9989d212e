#pragma once

#include "apps/velto/console/literal.h"

#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// A word of a command line of the host.
struct Word {
  std::string text;    ///< without quotes, escapes resolved
  bool quoted = false; ///< whether a part of it stood in quotes
};

/// Cuts a line into words at blanks. A part in double quotes may hold blanks and the escapes
/// \r \n \t \" \\ \xHH; an item in SML, such as `<u4 5>`, is one word; `#` begins a comment.
/// Returns what is wrong with the line, an empty text when nothing is.
std::string splitWords(std::string_view text, std::vector<Word> &words);

} // namespace velto
