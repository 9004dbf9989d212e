#include "apps/velto/console/glyph.h"

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <iterator>

namespace velto {

namespace {

struct Range {
  char32_t first;
  char32_t last;
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

// As mbrtowc() says it. It also takes what UTF-8 was before it ended with U+10FFFF.
constexpr auto kNone = static_cast<size_t>(-1);
constexpr auto kCutShort = static_cast<size_t>(-2);
constexpr unsigned char kHighestLead = 0xf4;
constexpr char32_t kHighestCode = 0x10ffff;

/// While it exists, texts are UTF-8 for this thread, whatever the locale of the user is.
class Utf8 {
public:
  Utf8() : before_(uselocale(locale())) {}
  ~Utf8() { uselocale(before_); }
  Utf8(const Utf8 &) = delete;
  Utf8 &operator=(const Utf8 &) = delete;

  /// How many bytes the first character takes; more than there are if it is none, or cut short.
  size_t read(std::string_view text, char32_t &code) const {
    if (static_cast<unsigned char>(text[0]) > kHighestLead)
      return kNone;
    mbstate_t state{};
    wchar_t character = 0;
    const size_t bytes = mbrtowc(&character, text.data(), text.size(), &state);
    code = static_cast<char32_t>(character);
    return code > kHighestCode ? kNone : bytes;
  }
  /// 0 to 2.
  int cells(char32_t code) const {
    const int cells = wcwidth(static_cast<wchar_t>(code));
    return cells < 0 ? 1 : cells;
  }

private:
  static locale_t locale() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
  }

  locale_t before_;
};

bool isHidden(char32_t code) {
  return std::ranges::any_of(
      kHidden, [code](const Range &range) { return code >= range.first && code <= range.last; });
}

} // namespace

Glyph firstGlyph(std::string_view text) {
  const auto byte = static_cast<unsigned char>(text[0]);
  if (byte >= 0x20 && byte < 0x7f)
    return {byte, 1, 1};
  const Utf8 utf8;
  char32_t code = 0;
  size_t bytes = utf8.read(text, code);
  if (bytes == 0 || bytes > text.size()) {
    code = byte;
    bytes = 1;
  }
  if (code == U'\t' || code == U'\r' || code == U'\n' || code == 0xa0)
    return {U' ', 1, bytes};
  if (code < 0x20 || isHidden(code))
    return {U'?', 1, bytes};
  return {code, utf8.cells(code), bytes};
}

size_t lastGlyph(std::string_view text) {
  for (size_t back = 2; back <= 4 && back <= text.size(); ++back)
    if (firstGlyph(text.substr(text.size() - back)).bytes == back)
      return text.size() - back;
  return text.empty() ? 0 : text.size() - 1;
}

bool isCutShort(std::string_view text) {
  const Utf8 utf8;
  char32_t code = 0;
  return !text.empty() && utf8.read(text, code) == kCutShort;
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
