#include "base/quoted_text.h"

#include <charconv>

namespace velto {

namespace {

struct Escape {
  char letter;
  char byte;
};

constexpr Escape kEscapes[] = {{'r', '\r'}, {'n', '\n'}, {'t', '\t'}, {'"', '"'}, {'\\', '\\'}};

std::optional<char> hexByte(std::string_view digits) {
  unsigned char byte = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
  if (digits.size() != 2 || error != std::errc{} || end != digits.data() + 2)
    return std::nullopt;
  return static_cast<char>(byte);
}

} // namespace

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

std::string quotedText(std::string_view text) {
  std::string out = "\"";
  for (const char c : text)
    appendQuotedByte(out, c);
  out += '"';
  return out;
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

} // namespace velto
