#include "apps/velto/screen/keys.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>

namespace velto {

namespace {

using Code = Key::Code;

constexpr char kEscape = '\x1b';
constexpr size_t kLongestSequence = 32;

// Control sequences (ECMA-48 5.4) by their final byte, and those that end in "~" by their number.
struct FinalByte {
  char byte;
  Code code;
};
constexpr FinalByte kFinalBytes[] = {
    {'A', Code::Up},  {'B', Code::Down}, {'C', Code::Right},   {'D', Code::Left},
    {'F', Code::End}, {'H', Code::Home}, {'Z', Code::BackTab}, {'M', Code::Enter},
};
struct Number {
  std::string_view text;
  Code code;
};
constexpr Number kNumbers[] = {
    {"1", Code::Home},   {"2", Code::Insert},   {"3", Code::Delete}, {"4", Code::End},
    {"5", Code::PageUp}, {"6", Code::PageDown}, {"7", Code::Home},   {"8", Code::End},
};

Code plainCode(std::string_view parameters, char finalByte) {
  if (finalByte == '~') {
    const auto *found =
        std::ranges::find(kNumbers, parameters.substr(0, parameters.find(';')), &Number::text);
    return found == std::end(kNumbers) ? Code::Other : found->code;
  }
  const auto *found = std::ranges::find(kFinalBytes, finalByte, &FinalByte::byte);
  return found == std::end(kFinalBytes) ? Code::Other : found->code;
}

// Keys mean the same with Shift and Alt; some do not with Ctrl.
Code sequenceCode(std::string_view parameters, char finalByte) {
  const Code code = plainCode(parameters, finalByte);
  if (!parameters.ends_with(";5"))
    return code;
  if (code == Code::Left || code == Code::PageUp)
    return Code::PreviousPage;
  return code == Code::Right || code == Code::PageDown ? Code::NextPage : code;
}

Key controlKey(char byte) {
  switch (byte) {
  case '\r':
  case '\n':
    return {Code::Enter};
  case '\t':
    return {Code::Tab};
  case '\b':
  case '\x7f':
    return {Code::Backspace};
  default:
    return {Code::Control, std::string(1, static_cast<char>(byte + '@'))};
  }
}

bool isControlByte(char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == '\x7f'; }

} // namespace

Key KeyDecoder::cut(size_t count, Code code) {
  bytes_.erase(0, count);
  return {code};
}

std::optional<Key> KeyDecoder::take(bool complete) {
  if (bytes_.empty())
    return std::nullopt;
  if (bytes_[0] == kEscape)
    return takeEscape(complete);
  if (isControlByte(bytes_[0])) {
    const char byte = bytes_[0];
    bytes_.erase(0, 1);
    return controlKey(byte);
  }
  if (!complete && isCutShort(bytes_))
    return std::nullopt;
  const size_t length = firstGlyph(bytes_).bytes;
  Key key{Code::Character, bytes_.substr(0, length)};
  bytes_.erase(0, length);
  return key;
}

// Esc itself; Esc [ or Esc O with what follows; or a key pressed together with Alt, which comes as
// Esc and the key.
std::optional<Key> KeyDecoder::takeEscape(bool complete) {
  if (bytes_.size() == 1 || bytes_[1] == kEscape) {
    if (bytes_.size() == 1 && !complete)
      return std::nullopt;
    return cut(1, Code::Escape);
  }
  if (bytes_[1] != '[' && bytes_[1] != 'O')
    return cut(1 + firstGlyph(std::string_view(bytes_).substr(1)).bytes, Code::Other);
  const size_t limit = std::min(bytes_.size(), kLongestSequence);
  size_t end = bytes_.compare(1, 2, "[[") == 0
                   ? 3
                   : 2; // function keys of the Linux console begin with "Esc [["
  while (end < limit && bytes_[end] >= 0x20 && bytes_[end] <= 0x3f)
    ++end;
  if (end == bytes_.size())
    return complete ? std::optional(cut(end, Code::Other)) : std::nullopt;
  const bool ended = bytes_[end] >= 0x40 && bytes_[end] <= 0x7e;
  if (!ended) // the byte at `end` is not part of the sequence
    return cut(end, Code::Other);
  const std::string_view parameters = std::string_view(bytes_).substr(2, end - 2);
  const Code code =
      parameters.starts_with('[') ? Code::Other : sequenceCode(parameters, bytes_[end]);
  return cut(end + 1, code);
}

} // namespace velto
