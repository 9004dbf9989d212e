#pragma once

#include "apps/velto/console/loop_signals.h"
#include "apps/velto/screen/curses.h"
#include "apps/velto/screen/keys.h"
#include "apps/velto/screen/screen.h"
#include "platform/event_loop.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <termios.h>
#include <unistd.h>

namespace velto {

/// A terminal that shows a screen and gives the keys that are pressed. It works through the loop
/// and never blocks the program. The former screen and the terminal's modes are restored when this
/// object is destroyed, while the program is suspended, and when the program is terminated.
class Terminal {
public:
  /// Whether both descriptors are terminals whose screen can be drawn on.
  static bool usable(int in = STDIN_FILENO, int out = STDOUT_FILENO);
  /// What a screen needs that is not there: a terminal, or a program that was built for it.
  static const char *needed();

  /// `onEvent` is called from the loop when a key was pressed, the size changed, or the program is
  /// asked to end. There can be only one such object at a time.
  explicit Terminal(EventLoop &loop, std::function<void()> onEvent = nullptr, int in = STDIN_FILENO,
                    int out = STDOUT_FILENO);
  ~Terminal();
  Terminal(const Terminal &) = delete;
  Terminal &operator=(const Terminal &) = delete;

  Size size() const { return size_; }
  /// The next key that was pressed. Ctrl-Z (suspends the program) and Ctrl-L (draws everything
  /// anew) are handled here and not returned.
  std::optional<Key> nextKey();
  /// The signal that asked the program to end: SIGINT, SIGTERM or SIGHUP; SIGHUP also when the
  /// terminal is gone. 0 when there was none.
  int stopSignal() const { return stopSignal_; }
  /// Shows a screen. When the terminal is slow, screens that are already out of date are skipped.
  void draw(Screen screen);

private:
  void enter();
  void leave();
  void suspend();
  void measure();
  void takeSignal(int signal);
  void readKeys();
  void takeKeys();
  void takeKey(Key key);
  void flush();
  void write();
  void changed();
  static void onTerminate();

  std::function<void()> onEvent_;
  EventLoop &loop_;
  int in_;
  int out_;
  termios modes_{}; ///< of the terminal, as they were before
  bool active_ = false;
  Size size_;
  Curses curses_;
  int stopSignal_ = 0;
  std::deque<Key> keys_;
  Screen wanted_;
  std::string output_; ///< bytes that the terminal has not yet accepted
  std::optional<DescriptorWatch> inputWatch_;
  std::optional<DescriptorWatch> outputWatch_;
  Timer keyTimer_; ///< runs while the bytes of a key may be incomplete
  LoopSignals signals_;
};

} // namespace velto
