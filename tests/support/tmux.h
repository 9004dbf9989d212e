#pragma once

#include "support/temporary_directory.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>

namespace velto {

/// What a shell command prints.
inline std::string outputOf(const std::string &command) {
  std::string text;
  FILE *pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr)
    return text;
  std::array<char, 4096> chunk{};
  for (size_t count = 0; (count = fread(chunk.data(), 1, chunk.size(), pipe)) != 0;)
    text.append(chunk.data(), count);
  pclose(pipe);
  return text;
}

/// A terminal of 80 columns and 24 rows in a folder, with a shell that says "ready>": keys in,
/// screen out.
class Tmux {
public:
  explicit Tmux(const TemporaryDirectory &folder)
      : tmux_("tmux -u -f /dev/null -L velto-test-" + std::to_string(getpid()) + ' ') {
    outputOf(tmux_ + "new-session -d -x 80 -y 24 -c '" + folder / "" +
             "' 'LC_ALL=C.UTF-8 PS1=\"ready> \" sh' \\; set status off");
    waitFor("ready>");
  }
  ~Tmux() { outputOf(tmux_ + "kill-server"); }
  Tmux(const Tmux &) = delete;
  Tmux &operator=(const Tmux &) = delete;

  static bool isThere() { return outputOf("tmux -V").starts_with("tmux "); }

  /// Keys as tmux names them; other words are typed.
  void press(const std::string &keys) { outputOf(tmux_ + "send-keys " + keys); }
  /// Types a command line for the shell, on an empty screen.
  void run(const std::string &command) {
    press("-l " + quoted("clear; " + command));
    press("Enter");
  }
  void resize(int columns, int rows) {
    outputOf(tmux_ + "resize-window -x " + std::to_string(columns) + " -y " + std::to_string(rows));
  }
  std::string screen() { return outputOf(tmux_ + "capture-pane -p"); }
  /// The screen once it holds a text (behind "!": no longer holds it) and stands still.
  std::string waitFor(const std::string &text) {
    const bool gone = text.starts_with('!');
    const std::string part = text.substr(gone ? 1 : 0);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::string before;
    std::string shown = screen();
    while (shown != before || (shown.find(part) == std::string::npos) != gone) {
      if (std::chrono::steady_clock::now() > end) {
        ADD_FAILURE() << "no " << text << " on\n" << shown;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      before = std::exchange(shown, screen());
    }
    return shown;
  }

private:
  static std::string quoted(const std::string &text) {
    std::string out = "'";
    for (const char c : text)
      out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
  }

  std::string tmux_;
};

} // namespace velto
