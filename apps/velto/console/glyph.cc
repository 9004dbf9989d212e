#include "apps/velto/console/glyph.h"

#include <algorithm>
#include <iterator>

namespace velto {

namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// East Asian characters and pictures take two cells, marks that combine with the character in front
// of them none.
constexpr Range kWide[] = {
    {0x1100, 0x115f}, {0x2e80, 0x303e}, {0x3041, 0xa4cf}, {0xac00, 0xd7a3},   {0xf900, 0xfaff},
    {0xfe30, 0xfe6f}, {0xff00, 0xff60}, {0xffe0, 0xffe6}, {0x1f300, 0x1f64f}, {0x20000, 0x3fffd},
};
constexpr Range kCombining[] = {
    {0x300, 0x36f},   {0x483, 0x489},   {0x591, 0x5bd},   {0x610, 0x61a},   {0x64b, 0x65f},
    {0x6d6, 0x6dc},   {0x93c, 0x93c},   {0x94d, 0x94d},   {0xe31, 0xe31},   {0xe34, 0xe3a},
    {0xe47, 0xe4e},   {0x1ab0, 0x1aff}, {0x1dc0, 0x1dff}, {0x20d0, 0x20ff}, {0x302a, 0x302d},
    {0x3099, 0x309a}, {0xfe00, 0xfe0f}, {0xfe20, 0xfe2f},
};
// What turns the direction of a text, takes no place or ends a line: nothing that shows, and a text
// could pass for another.
constexpr Range kHidden[] = {
    {0x7f, 0x9f},       {0xad, 0xad},       {0x34f, 0x34f},     {0x600, 0x605},
    {0x61c, 0x61c},     {0x6dd, 0x6dd},     {0x70f, 0x70f},     {0x890, 0x891},
    {0x8e2, 0x8e2},     {0x115f, 0x1160},   {0x17b4, 0x17b5},   {0x180b, 0x180f},
    {0x200b, 0x200f},   {0x2028, 0x202e},   {0x2060, 0x206f},   {0x3164, 0x3164},
    {0xfeff, 0xfeff},   {0xffa0, 0xffa0},   {0xfff0, 0xfffb},   {0x110bd, 0x110bd},
    {0x110cd, 0x110cd}, {0x13430, 0x1343f}, {0x1bca0, 0x1bca3}, {0x1d173, 0x1d17a},
    {0xe0000, 0xe0fff},
};

bool isWithin(char32_t code, const auto &ranges) {
  return std::ranges::any_of(
      ranges, [code](const Range &range) { return code >= range.first && code <= range.last; });
}

struct Lead {
  size_t bytes; ///< length of the character in UTF-8; 0 when none begins with this byte
  char32_t bits;
};

Lead lead(unsigned char byte) {
  if (byte < 0x80)
    return {1, byte};
  if (byte >= 0xc2 && byte <= 0xdf)
    return {2, byte & 0x1fU};
  if (byte >= 0xe0 && byte <= 0xef)
    return {3, byte & 0xfU};
  if (byte >= 0xf0 && byte <= 0xf4)
    return {4, byte & 7U};
  return {0, 0};
}

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

bool isCharacter(char32_t code, size_t bytes) {
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return code >= kSmallest[bytes] && code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
}

Glyph drawn(char32_t code, size_t bytes) {
  if (code == U'\t' || code == U'\r' || code == U'\n' || code == 0xa0)
    return {U' ', 1, bytes};
  if (code < 0x20 || isWithin(code, kHidden))
    return {U'?', 1, bytes};
  if (code < 0x300)
    return {code, 1, bytes};
  return {code, isWithin(code, kCombining) ? 0 : isWithin(code, kWide) ? 2 : 1, bytes};
}

} // namespace

Glyph firstGlyph(std::string_view text) {
  const auto byte = static_cast<unsigned char>(text[0]);
  const Lead first = lead(byte);
  char32_t code = first.bits;
  size_t length = 1;
  while (length < first.bytes && length < text.size() && isContinuation(text[length]))
    code = code << 6 | (static_cast<unsigned char>(text[length++]) & 0x3fU);
  if (length != first.bytes || !isCharacter(code, length))
    return drawn(byte, 1);
  return drawn(code, length);
}

size_t lastGlyph(std::string_view text) {
  for (size_t back = 2; back <= 4 && back <= text.size(); ++back)
    if (firstGlyph(text.substr(text.size() - back)).bytes == back)
      return text.size() - back;
  return text.empty() ? 0 : text.size() - 1;
}

bool isCutShort(std::string_view text) {
  if (text.empty() || text.size() >= lead(static_cast<unsigned char>(text[0])).bytes)
    return false;
  return std::ranges::all_of(text.substr(1), isContinuation);
}

int cellCount(std::string_view text) {
  int cells = 0;
  while (!text.empty()) {
    const Glyph glyph = firstGlyph(text);
    cells += glyph.cells;
    text.remove_prefix(glyph.bytes);
  }
  return cells;
}

size_t bytesWithin(std::string_view text, int cells) {
  size_t at = 0;
  while (at < text.size()) {
    const Glyph glyph = firstGlyph(text.substr(at));
    if (glyph.cells > cells)
      break;
    cells -= glyph.cells;
    at += glyph.bytes;
  }
  return at;
}

std::vector<std::string_view> wrapped(std::string_view text, int columns) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const size_t lineEnd = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, lineEnd);
    size_t length = bytesWithin(line, columns);
    size_t next = length;
    if (length == line.size()) {
      next = std::min(length + 1, text.size());
    } else if (const size_t blank = line.rfind(' ', length); blank != std::string_view::npos) {
      length = blank;
      next = blank + 1;
    }
    lines.push_back(text.substr(0, length));
    text.remove_prefix(std::max(next, size_t{1}));
  }
  return lines;
}

} // namespace velto
