#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// One key that the operator pressed.
struct Key {
  enum class Code : uint8_t {
    Character, ///< `text` is the character as the terminal sent it, one byte or several of UTF-8
    Control,   ///< `text` is the capital letter that was pressed together with Ctrl
    Up,
    Down,
    Left,
    Right,
    Home,
    End,
    PageUp,
    PageDown,
    PreviousPage, ///< Ctrl-Left, Ctrl-PageUp
    NextPage,     ///< Ctrl-Right, Ctrl-PageDown
    Insert,
    Delete,
    Backspace,
    Tab,
    BackTab,
    Enter,
    Escape,
    Other, ///< any other key, which has no effect
  };
  Code code = Code::Other;
  std::string text = {};

  bool is(char character) const {
    return code == Code::Character && text == std::string_view(&character, 1);
  }
  bool isControl(char letter) const {
    return code == Code::Control && text == std::string_view(&letter, 1);
  }
  bool operator==(const Key &) const = default;
};

/// Makes keys of the bytes that a terminal sends.
///
/// The key Esc sends the byte with which the sequences of other keys begin, and a byte of 8-bit
/// text may look like the first one of a character in UTF-8. So the decoder keeps bytes that may be
/// the beginning of more; when nothing follows for a while, the caller asks for them with flush().
class KeyDecoder {
public:
  void feed(std::string_view bytes) { bytes_ += bytes; }
  /// The next key. Nothing when all bytes are used up, or those left may be the beginning of a key.
  std::optional<Key> next() { return take(false); }
  /// Whether bytes are left that may be the beginning of a key.
  bool waiting() const { return !bytes_.empty(); }
  /// The next key, taking the bytes that are left as complete.
  std::optional<Key> flush() { return take(true); }

private:
  std::optional<Key> take(bool complete);
  std::optional<Key> takeEscape(bool complete);
  Key cut(size_t count, Key::Code code);

  std::string bytes_;
};

} // namespace velto
