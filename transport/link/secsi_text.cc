#include "transport/link/secsi_text.h"

#include "base/text.h"
#include "secs2/header.h"

#include <algorithm>
#include <bit>

namespace velto {

namespace {

constexpr size_t kHeaderDigits = 2 * CHSecsHeader::kSize;
constexpr unsigned kCharacter = 0x7F;
constexpr unsigned kParityBit = 0x80;

uint8_t withEvenParity(char character) {
  const unsigned bits = static_cast<uint8_t>(character) & kCharacter;
  return static_cast<uint8_t>(std::popcount(bits) % 2 == 0 ? bits : bits | kParityBit);
}

} // namespace

std::string secsIText(ByteView message, bool msec) {
  if (!msec)
    return toHex(message);
  const size_t header = std::min(message.size(), CHSecsHeader::kSize);
  std::string text = toHex(message.first(header));
  for (const uint8_t byte : message.subspan(header))
    text += static_cast<char>(byte & kCharacter);
  return text;
}

Bytes fromSecsIText(std::string_view text, bool msec) {
  if (!msec)
    return fromHex(text);
  Bytes message = fromHex(text.substr(0, kHeaderDigits));
  for (const char character : text.substr(std::min(text.size(), kHeaderDigits)))
    message.push_back(withEvenParity(character));
  return message;
}

} // namespace velto
