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
    Other, ///< one that means nothing here
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
/// The key Esc alone begins as other keys do, and a byte of 8-bit text may begin as one of UTF-8
/// does: what stands at the end waits for more, until the bytes that follow do not come.
class KeyDecoder {
public:
  void feed(std::string_view bytes) { bytes_ += bytes; }
  /// The next key; nothing when the bytes are used up, or wait for more.
  std::optional<Key> next() { return take(false); }
  /// Bytes wait for more.
  bool waiting() const { return !bytes_.empty(); }
  /// The next key when no more bytes follow.
  std::optional<Key> flush() { return take(true); }

private:
  std::optional<Key> take(bool complete);
  std::optional<Key> takeEscape(bool complete);
  Key cut(size_t count, Key::Code code);

  std::string bytes_;
};

} // namespace velto
