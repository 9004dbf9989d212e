#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace velto {

/// A character as it is drawn. Bytes that form a character in UTF-8 are drawn as that character,
/// any other byte as the character with its number (ISO 8859-1).
struct Glyph {
  char32_t code = U' ';
  int cells = 1; ///< 0 to 2
  size_t bytes = 1;
};

/// The first character of a text, which is not empty. Blanks and line ends are drawn as blanks,
/// other control characters, also those that turn a text's direction or take no place, as a
/// question mark.
Glyph firstGlyph(std::string_view text);
/// Where the last character of a text begins.
size_t lastGlyph(std::string_view text);
/// Whether the text may be the beginning of a character in UTF-8.
bool isCutShort(std::string_view text);
/// How many cells a text takes.
int cellCount(std::string_view text);
/// How many bytes from the beginning of a text fit into so many cells.
size_t bytesWithin(std::string_view text, int cells);
/// The lines of a text: broken at its line ends, and in front of a word that no longer fits.
std::vector<std::string_view> wrapped(std::string_view text, int columns);

} // namespace velto
