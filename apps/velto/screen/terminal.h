#pragma once

#include "apps/velto/loop_signals.h"
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

/// A terminal that shows a screen and gives the keys that are pressed, through the loop; nothing
/// waits for it. The screen that was there before, and the terminal's modes, come back with the
/// destruction of this object, while the program is suspended, and when it is terminated.
class Terminal {
public:
  /// Both descriptors are terminals whose screen can be drawn on.
  static bool usable(int in = STDIN_FILENO, int out = STDOUT_FILENO);

  /// `onEvent` is called from the loop when a key was pressed, the size changed, or the program is
  /// asked to end. One such object at a time.
  explicit Terminal(EventLoop &loop, std::function<void()> onEvent = nullptr, int in = STDIN_FILENO,
                    int out = STDOUT_FILENO);
  ~Terminal();
  Terminal(const Terminal &) = delete;
  Terminal &operator=(const Terminal &) = delete;

  Size size() const { return size_; }
  /// The next key that was pressed. Ctrl-Z (suspends the program) and Ctrl-L (draws everything
  /// anew) are not among them.
  std::optional<Key> nextKey();
  /// What asked the program to end: SIGINT, SIGTERM or SIGHUP, the last also when the terminal is
  /// gone. 0 for nothing.
  int stopSignal() const { return stopSignal_; }
  /// Shows a screen. When the terminal is slow, those in between are left out.
  void draw(Screen screen);

private:
  void enter();
  void leave();
  void suspend();
  void measure();
  void takeSignal(int signal);
  void readKeys();
  void takeKey(Key key);
  void flush();
  void write();
  void changed();
  static void onTerminate();

  std::function<void()> onEvent_;
  EventLoop &loop_;
  int in_;
  int out_;
  bool utf8_;
  termios modes_{}; ///< those of before
  bool active_ = false;
  Size size_;
  int stopSignal_ = 0;
  KeyDecoder decoder_;
  std::deque<Key> keys_;
  Screen wanted_;
  Screen shown_;       ///< what the terminal shows when it has got the output
  std::string output_; ///< what it has not yet taken
  std::optional<DescriptorWatch> inputWatch_;
  std::optional<DescriptorWatch> outputWatch_;
  Timer keyTimer_; ///< ends a key that waits for more bytes
  LoopSignals signals_;
};

} // namespace velto
