#pragma once

#include <cstdint>
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

} // namespace velto
