#pragma once

#include <cstddef>
#include <string_view>

namespace velto {

/// A character as it is drawn. Texts are bytes: those that are UTF-8 are drawn as that, a byte that
/// is not as the character of its number (ISO 8859-1).
struct Glyph {
  char32_t code = U' ';
  int cells = 1; ///< 0 to 2
  size_t bytes = 1;
};

/// The first character of a text, which is not empty. Blanks and line ends are drawn as blanks,
/// other control characters as a question mark.
Glyph firstGlyph(std::string_view text);
/// Where the last character of a text begins.
size_t lastGlyph(std::string_view text);
/// The text may be the beginning of a character in UTF-8.
bool isCutShort(std::string_view text);
/// How many cells a text takes.
int cellCount(std::string_view text);
/// The front of a text that fits into so many cells, in bytes.
size_t bytesWithin(std::string_view text, int cells);

} // namespace velto
