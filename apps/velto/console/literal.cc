#include "apps/velto/console/literal.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>

namespace velto {

std::string toLiteral(const Variant &value) {
  return value.isText() ? quotedText(value.toString()) : value.text();
}

// Bytes from 0x80 to 0x9f, alone or as the characters U+0080 to U+009F, control a terminal too.
// They, and characters that show nothing, are those beyond ASCII that are drawn as a question mark.
std::string visibleText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Glyph glyph = firstGlyph(text);
    const std::string_view character = text.substr(0, glyph.bytes);
    const auto byte = static_cast<unsigned char>(character[0]);
    const bool lineEnd = byte == '\n' || byte == '\t' || text.starts_with("\r\n");
    const bool shown =
        glyph.bytes == 1 ? lineEnd || (byte >= 0x20 && byte < 0x7f) : glyph.code != U'?';
    for (const char c : character) {
      if (shown)
        out += c;
      else
        appendQuotedByte(out, c);
    }
    text.remove_prefix(character.size());
  }
  return out;
}

std::string screenText(std::string text) {
  if (text.size() <= kMostOnScreen)
    return text;
  constexpr size_t kRemark = 64; // bytes for it
  const size_t lineEnd = text.rfind('\n', kMostOnScreen - kRemark);
  const size_t kept = lineEnd == std::string::npos ? kMostOnScreen - kRemark : lineEnd;
  const size_t left = text.size() - kept;
  text.resize(kept);
  return text + "\n[" + std::to_string(left) + " bytes are left out]\n";
}

std::string smlProblem(const SmlError &error) {
  constexpr int kMost = 60; // characters
  std::string shown =
      oneLine(visibleText(std::string_view(error.token).substr(0, size_t{4} * kMost)));
  if (cellCount(shown) > kMost || error.token.size() > size_t{4} * kMost)
    shown = shown.substr(0, bytesWithin(shown, kMost - 3)) + "...";
  if (error.missing == '\0')
    return error.reason + " at \"" + shown + '"';
  return std::string("a \"") + error.missing + "\" is missing " +
         (error.atEnd ? "at the end" : "in front of \"" + shown + '"');
}

int firstLine(const SmlError &error) {
  return error.line - static_cast<int>(std::ranges::count(error.token, '\n'));
}

std::string oneLine(std::string_view text) {
  std::string line;
  for (const char c : text) {
    if (c == '\r')
      line += "\\r";
    else if (c == '\n')
      line += "\\n";
    else
      line += c;
  }
  return line;
}

} // namespace velto
