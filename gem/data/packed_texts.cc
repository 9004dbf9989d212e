#include "gem/data/packed_texts.h"

#include <limits>

namespace velto {

namespace {

// Lengths that announce the next longer form.
constexpr uint8_t kLong = 0xFF;
constexpr uint16_t kVeryLong = 0xFFFF;
constexpr uint16_t kOtherCharacters = 0xFFFE;

void appendNumber(std::string &bytes, size_t value, size_t size) {
  for (size_t i = 0; i < size; ++i)
    bytes += static_cast<char>(value >> (8 * i));
}

} // namespace

size_t packedBytes(std::string_view text) {
  const size_t size = std::min<size_t>(text.size(), std::numeric_limits<uint32_t>::max());
  return size + (size < kLong ? 1 : size < kOtherCharacters ? 3 : 7);
}

void appendPacked(std::string &bytes, std::string_view text) {
  text = text.substr(0, std::numeric_limits<uint32_t>::max());
  if (text.size() < kLong) {
    appendNumber(bytes, text.size(), 1);
  } else if (text.size() < kOtherCharacters) {
    appendNumber(bytes, kLong, 1);
    appendNumber(bytes, text.size(), 2);
  } else {
    appendNumber(bytes, kLong, 1);
    appendNumber(bytes, kVeryLong, 2);
    appendNumber(bytes, text.size(), 4);
  }
  bytes += text;
}

PackedSize longPackedSize(std::string_view bytes) {
  PackedSize size;
  const auto read = [&](size_t digits) {
    if (bytes.size() - size.length < digits)
      return false;
    size.text = 0;
    for (size_t i = 0; i < digits; ++i)
      size.text |= size_t{static_cast<uint8_t>(bytes[size.length++])} << (8 * i);
    return true;
  };
  if (!read(1) || (size.text == kLong && !read(2)) || size.text == kOtherCharacters ||
      (size.text == kVeryLong && !read(4)) || size.text > bytes.size() - size.length)
    return {};
  return size;
}

} // namespace velto
