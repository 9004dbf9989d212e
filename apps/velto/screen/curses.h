#pragma once

#include "apps/velto/screen/keys.h"
#include "apps/velto/screen/screen.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// What ncurses knows of the terminal that TERM names: which bytes show a screen, and which keys
/// the bytes are that come from it. Both as texts, so that nothing here ever waits for the
/// terminal.
///
/// There can be only one such object at a time.
class Curses {
public:
  /// Whether the program was built with ncurses, and that has a description of the terminal.
  static bool isThere();
  /// Whether the program was built with it.
  static bool isBuiltIn();

  explicit Curses(Size size);
  ~Curses();
  Curses(const Curses &) = delete;
  Curses &operator=(const Curses &) = delete;

  void resize(Size size);
  /// The bytes that make the terminal show a screen of the present size. What it shows already is
  /// left out. At first, and behind leave(), they switch to the alternate screen.
  std::string draw(const Screen &screen);
  /// draw() leaves nothing out the next time.
  void repaint();
  /// The bytes that bring back the former screen.
  std::string leave();

  /// Takes bytes that the terminal has sent.
  void feed(std::string_view bytes);
  /// The next key. Nothing when all bytes are used up, or those left may be the beginning of a key.
  std::optional<Key> nextKey();
  /// Whether bytes are left that may be the beginning of a key.
  bool isWaiting() const;
  /// As no more bytes have come, those that are left are keys.
  void flush();

private:
  class Engine;
  std::unique_ptr<Engine> engine_;
};

} // namespace velto
