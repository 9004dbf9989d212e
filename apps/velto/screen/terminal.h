#pragma once

#include "apps/velto/screen/frame.h"

#include <csignal>
#include <string>
#include <termios.h>

namespace velto::screen {

/// What the operator pressed.
struct Key {
  enum class Code {
    Character, ///< `text`
    Enter,
    Escape,
    Tab,
    BackTab,
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
    Resize, ///< no key: the screen has another size
    Quit,   ///< Ctrl-C, the end of the input, or a signal that ends the program
    Unknown,
  };
  Code code = Code::Unknown;
  std::string text = "";
};

/// Takes the key at the front out of what a terminal sent. Nothing is taken, and the key is
/// Unknown, when more of it may come; `complete` says that nothing will.
Key takeKey(std::string &input, bool complete);

/// A screen with a keyboard.
class Display {
public:
  virtual ~Display() = default;
  virtual Area size() = 0;
  virtual void show(const Frame &frame) = 0;
  virtual Key readKey() = 0;
};

/// The terminal of standard input and output, in the full-screen mode of ECMA-48 terminals from the
/// first show() on while this lives. It is left as it was also when a signal ends the program.
class Terminal final : public Display {
public:
  Terminal() = default;
  ~Terminal() override;
  Terminal(const Terminal &) = delete;
  Terminal &operator=(const Terminal &) = delete;

  Area size() override;
  void show(const Frame &frame) override;
  Key readKey() override;

private:
  void enter();
  bool waitForInput(int milliseconds);
  bool takeSignal(Key &key);

  termios before_{};
  sigset_t signalsBefore_{};
  int signals_ = -1;
  bool ended_ = false;
  std::string input_;
};

} // namespace velto::screen
