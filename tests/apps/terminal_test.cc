// velto setup in a real terminal: tmux takes the keys and gives the pictures, which screens.txt
// holds. Where there is no tmux, nothing is tested.
#include "platform/file.h"
#include "support/temporary_directory.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace velto {
namespace {

using testing::HasSubstr;

constexpr std::chrono::seconds kPatience{30};
constexpr std::chrono::milliseconds kPause{20};

std::string output(const std::string &command) {
  std::string text;
  FILE *pipe = popen((command + " 2>&1").c_str(), "r");
  std::array<char, 4096> chunk{};
  for (size_t count = 0; (count = fread(chunk.data(), 1, chunk.size(), pipe)) != 0;)
    text.append(chunk.data(), count);
  pclose(pipe);
  return text;
}

/// A terminal of 80 columns and 24 rows in a folder, with a shell.
class TmuxTerminal {
public:
  explicit TmuxTerminal(const TemporaryDirectory &folder)
      : tmux_("tmux -f /dev/null -S '" + folder / "socket" + "' ") {
    output(tmux_ + "new-session -d -x 80 -y 24 -c '" + folder / "" +
           "' 'PS1=\"ready> \" sh' \\; set status off");
  }
  ~TmuxTerminal() { output(tmux_ + "kill-server"); }

  /// Keys as tmux names them.
  void press(const std::string &keys) { output(tmux_ + "send-keys " + keys); }
  void resize(int width, int height) {
    output(tmux_ + "resize-window -x " + std::to_string(width) + " -y " + std::to_string(height));
  }
  std::string screen() { return output(tmux_ + "capture-pane -p"); }
  /// The screen once it holds a text (behind "!": no longer holds it) and stands still.
  std::string waitFor(const std::string &text) {
    const bool gone = text.starts_with('!');
    const std::string part = text.substr(gone ? 1 : 0);
    const auto end = std::chrono::steady_clock::now() + kPatience;
    std::string before;
    std::string shown = screen();
    while (shown != before || (shown.find(part) == std::string::npos) != gone) {
      if (std::chrono::steady_clock::now() > end) {
        ADD_FAILURE() << "no " << text << " on\n" << shown;
        break;
      }
      std::this_thread::sleep_for(kPause);
      before = std::exchange(shown, screen());
    }
    return shown;
  }

private:
  std::string tmux_;
};

bool hasTmux() { return output("tmux -V").starts_with("tmux "); }

TEST(FullScreenSetup, WorksInATerminal) {
  if (!hasTmux())
    GTEST_SKIP() << "there is no tmux";
  const TemporaryDirectory folder;
  TmuxTerminal terminal(folder);
  const std::string start = "\"'" VELTO_PROGRAM "' setup t.ini --data t.kel\" Enter";
  const struct {
    std::string keys;
    const char *wait; // a text of the screen to come
  } steps[] = {
      {start, "GEM Object Model"},
      {"C-Left", "ALID#"},                                     // the last page
      {"IC", "+- ALID"},                                       // add
      {"BSpace 5 Tab Tab Tab Hot Enter", "> 5"},               // number and text
      {"IC BSpace 5 Enter", "ALID #5 has already been"},       // taken
      {"Enter BSpace 6 Tab Tab 7 Enter", "> 6"},               // another one
      {"Up Enter BSpace 9 Tab Tab Tab ter Enter", "> 9"},      // a new number: a third alarm
      {"Home Enter BSpace 6 Enter", "ALID #6 has already"},    // the number of another one
      {"Enter Escape", "!+- ALID"},                            // leaves the dialog
      {"DC", "Are you sure to delete ALID #5(Hot)?"},          // delete
      {"Enter", "> 6"},                                        // done
      {"C-Right C-Right Tab Tab 99", "500199"},                // the port
      {"Enter", "Port Number takes a number from 0 to 65535"}, // too large
      {"Enter BSpace BSpace Enter", "ready>"},                 // OK
      {"\"clear; grep -c Port t.ini\" Enter", "2"},
      {start, "GEM Object Model"},
      {"C-Left DC", "Are you sure to delete ALID #6?"},
      {"Enter", "> 9"},
      {"Escape", "ready>"}, // Cancel
  };
  std::string screens;
  for (const auto &step : steps) {
    if (step.keys == start)
      terminal.press("clear Enter");
    terminal.press(step.keys);
    const std::string shown = terminal.waitFor(step.wait);
    if (step.keys != start && shown.find("ready>") == std::string::npos)
      screens += "--- " + step.keys + "\n" + shown;
  }
  EXPECT_THAT(output("'" VELTO_PROGRAM "' model export '" + folder / "t.kel" + "'"),
              HasSubstr("alid=6 category=attention set=no enable=yes text=\"\"\n"
                        "alid=9 category=0 set=no enable=yes text=\"Hotter\"\n"));
  const std::string stored =
      systemFiles().read(VELTO_SOURCE_DIR "/tests/apps/screens.txt").value_or("");
  if (screens != stored)
    systemFiles().write(VELTO_BINARY_DIR "/screens.txt", screens);
  EXPECT_EQ(screens, stored) << "what was seen is in " VELTO_BINARY_DIR "/screens.txt";
}

TEST(FullScreenSetup, LeavesTheTerminalAsItWas) {
  if (!hasTmux())
    GTEST_SKIP() << "there is no tmux";
  const TemporaryDirectory folder;
  TmuxTerminal terminal(folder);
  terminal.waitFor("ready>");
  terminal.press("\"stty -g > before; '" VELTO_PROGRAM "' setup; echo status=\\$?\" Enter");
  terminal.waitFor("GEM Object Model");
  terminal.resize(50, 10);
  terminal.waitFor("---+\n");
  terminal.press("C-c");
  terminal.waitFor("status=1");
  terminal.press("\"clear; stty -g > after; cmp before after && echo same\" Enter");
  terminal.waitFor("same\nready>");
  terminal.press("\"sh -c 'echo \\$\\$ > pid; exec \\\"" VELTO_PROGRAM
                 "\\\" setup'; echo ended=\\$?\" Enter");
  terminal.waitFor("GEM Object Model");
  output("kill -TERM \"$(cat '" + folder / "pid" + "')\"");
  terminal.waitFor("ended=1");
  terminal.press("\"clear; stty -g > after; cmp before after && echo same\" Enter");
  terminal.waitFor("same\nready>");
}

} // namespace
} // namespace velto
