#include "apps/velto/console/literal.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>
#include <charconv>

namespace velto {

namespace {

struct Escape {
  char letter;
  char byte;
};

constexpr Escape kEscapes[] = {{'r', '\r'}, {'n', '\n'}, {'t', '\t'}, {'"', '"'}, {'\\', '\\'}};

void appendQuotedByte(std::string &out, char c) {
  for (const Escape &escape : kEscapes) {
    if (escape.byte == c) {
      out += '\\';
      out += escape.letter;
      return;
    }
  }
  const auto byte = static_cast<unsigned char>(c);
  if (byte >= 0x20 && byte < 0x7f) {
    out += c;
    return;
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  out += "\\x";
  out += kDigits[byte >> 4];
  out += kDigits[byte & 15];
}

std::optional<char> hexByte(std::string_view digits) {
  unsigned char byte = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
  if (digits.size() != 2 || error != std::errc{} || end != digits.data() + 2)
    return std::nullopt;
  return static_cast<char>(byte);
}

} // namespace

std::string quotedText(std::string_view text) {
  std::string out = "\"";
  for (const char c : text)
    appendQuotedByte(out, c);
  out += '"';
  return out;
}

std::string toLiteral(const Variant &value) {
  return value.isText() ? quotedText(value.toString()) : value.text();
}

std::optional<std::string> unquotedText(std::string_view inside, std::string &problem) {
  std::string text;
  for (size_t i = 0; i < inside.size(); ++i) {
    if (inside[i] != '\\') {
      text += inside[i];
      continue;
    }
    const char letter = ++i < inside.size() ? inside[i] : '\0';
    if (letter == 'x') {
      const auto byte = hexByte(inside.substr(i + 1, 2));
      if (!byte) {
        problem = "\\x needs two hexadecimal digits";
        return std::nullopt;
      }
      text += *byte;
      i += 2;
      continue;
    }
    bool known = false;
    for (const Escape &escape : kEscapes) {
      if (escape.letter == letter) {
        text += escape.byte;
        known = true;
      }
    }
    if (!known) {
      problem = "unknown escape " + quotedText(inside.substr(i - 1, 2));
      return std::nullopt;
    }
  }
  return text;
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
