// The program in a terminal: tmux takes the keys and gives the screens, which screens.txt holds.
// Where there is no tmux, nothing is tested.
#include "apps/velto/screen/curses.h"
#include "platform/file.h"
#include "support/tmux.h"

#include <gmock/gmock.h>
#include <optional>
#include <regex>

namespace velto {
namespace {

using testing::HasSubstr;

class InTerminal : public testing::Test {
protected:
  void SetUp() override {
    if (!Tmux::isThere())
      GTEST_SKIP() << "there is no tmux";
    if (!Curses::isBuiltIn())
      GTEST_SKIP() << "built without ncurses";
    terminal.emplace(folder);
    outputOf("printf '[LogicalConnection]\\nHost=0\\n' > '" + folder / "t.ini" + "'");
  }
  /// The modes of the terminal are those of before.
  void expectAsBefore() {
    terminal->run("stty -g > after; cmp before after && echo same");
    terminal->waitFor("same\nready>");
  }

  /// Sends a signal to the process whose number is in the file "pid".
  void kill(const std::string &signal) {
    const int pid = atoi(systemFiles().read(folder / "pid").value_or("").c_str());
    ASSERT_GT(pid, 0);
    outputOf("kill -" + signal + ' ' + std::to_string(pid));
  }
  void expectStored(const std::string &name, const std::string &screens) {
    const std::string file = "/screens_" + name + ".txt";
    const std::string stored =
        systemFiles().read(VELTO_SOURCE_DIR "/tests/apps" + file).value_or("");
    if (screens != stored)
      systemFiles().write(VELTO_BINARY_DIR + file, screens);
    EXPECT_EQ(screens, stored) << "what was seen is in " VELTO_BINARY_DIR << file;
  }

  const TemporaryDirectory folder;
  std::optional<Tmux> terminal;
};

TEST_F(InTerminal, AnOperatorEditsAnEquipment) {
  const struct {
    const char *keys; // begins with "$": a command of the shell
    const char *wait; // a text of the screen to come
  } steps[] = {
      {"$velto setup t.ini --data t.kel", "GEM Object Model"},
      {"C-Left C-Left", "ALID#"},                         // the last page but one
      {"IC", "- ALID -"},                                 // add
      {"5 Tab Tab Tab Hot Enter", "> 5"},                 // number and text
      {"IC 5 Enter", "ALID #5 has already been"},         // taken
      {"Enter BSpace 6 Tab Tab 7 Enter", "> 6"},          // another one
      {"Up e 9 Tab Tab Tab End ter Enter", "> 9"},        // a new number: a third alarm
      {"Home Enter 6 Enter", "ALID #6 has already been"}, // the number of another one
      {"Enter Escape", "!- ALID -"},                      // leaves the dialog
      {"DC", "Are you sure to delete ALID #5(Hot)?"},     //
      {"Enter", "> 6"},                                   // deleted
      {"C-Right C-Right C-Right Tab Tab 99999", "99999"}, // the port
      {"C-Left Enter", "Port Number takes a number from 0 to 65535"},
      {"Enter 4999 Enter", "ready>"}, // OK
      {"$grep -c Port t.ini", "2\nready>"},
      {"$velto setup t.ini --data t.kel --page alid,hsms", "4999"},
      {"C-Right DC", "Are you sure to delete ALID #6?"},
      {"Enter", "> 9"},
      {"Escape", "ready>"}, // Cancel
  };
  terminal->resize(80, 14);
  std::string screens;
  for (const auto &step : steps) {
    const std::string keys = step.keys;
    if (!keys.starts_with('$'))
      terminal->press(keys);
    else if (keys.starts_with("$velto"))
      terminal->run("'" VELTO_PROGRAM "'" + keys.substr(6));
    else
      terminal->run(keys.substr(1));
    const std::string shown = terminal->waitFor(step.wait);
    if (shown.find("ready>") == std::string::npos)
      screens += "--- " + keys + '\n' + shown;
  }
  EXPECT_THAT(outputOf("'" VELTO_PROGRAM "' model export '" + folder / "t.kel" + "'"),
              HasSubstr("alid=6 category=attention set=no enable=yes text=\"\"\n"
                        "alid=9 category=0 set=no enable=yes text=\"Hotter\"\n"));
  expectStored("setup", screens);
}

TEST_F(InTerminal, AnEquipmentIsWatched) {
  systemFiles().write(folder / "script", "eq.VIDValue(101) = 45.5\n"
                                         "eq.ALIDSet(3001) = true\n"
                                         "wait 100\n"
                                         "eq.VIDValue(102) = 600\n");
  const std::string watch =
      "exec '" VELTO_PROGRAM "' equipment --data '" VELTO_SOURCE_DIR
      "/examples/etch_tool.model' --keep t.kel --port 0 --script script --watch";
  terminal->run("stty -g > before; (" + watch + "); echo ended=$?");
  std::string screens = terminal->waitFor("600.0");
  const struct {
    const char *keys;
    const char *wait;
  } steps[] = {{"Down Down", " 3 to "}, {"Tab", "[Messages]"}, {"BTab BTab", "[Alarms set]"}};
  for (const auto &step : steps) {
    terminal->press(step.keys);
    screens += std::string("--- ") + step.keys + '\n' + terminal->waitFor(step.wait);
  }
  terminal->resize(40, 12);
  screens += "--- 40 x 12\n" + terminal->waitFor("3001   Chamber pressure drifting\n\n");
  screens = std::regex_replace(screens, std::regex("[0-9:]{8}\\.[0-9]{3}"), "hh:mm:ss.mmm");
  screens = std::regex_replace(screens, std::regex("port [0-9]+"), "port N");
  expectStored("watch", screens);
  terminal->press("q");
  terminal->waitFor("ended=0");
  expectAsBefore();
  for (const char *name : {"TERM", "HUP"}) {
    terminal->run("sh -c 'echo $$ > pid; " + std::regex_replace(watch, std::regex("'"), "") +
                  "'; echo ended=$?");
    terminal->waitFor("q: end");
    kill(name);
    terminal->waitFor("ended=0");
    expectAsBefore();
  }
}

TEST_F(InTerminal, TheTerminalIsLeftAsItWas) {
  const std::string setup = "sh -c 'echo $$ > pid; exec \"" VELTO_PROGRAM "\" setup'";
  terminal->run("stty -g > before; set -m; " + setup + "; echo ended=$?");
  terminal->waitFor("GEM Object Model");
  terminal->resize(39, 20);
  terminal->waitFor("The window is too small.");
  terminal->resize(50, 12);
  terminal->waitFor("GEM Object Model");
  terminal->press("C-c");
  terminal->waitFor("ended=1\n");
  expectAsBefore();
  for (const auto &[name, status] : {std::pair("TERM", "143"), {"HUP", "129"}}) {
    terminal->run(setup + "; echo ended=$?");
    terminal->waitFor("GEM Object Model");
    kill(name);
    terminal->waitFor(std::string("ended=") + status);
    expectAsBefore();
  }
  terminal->run(setup);
  terminal->waitFor("GEM Object Model");
  for (const bool byKey : {true, false}) {
    byKey ? terminal->press("C-z") : kill("TSTP");
    terminal->waitFor("ready>");
    expectAsBefore();
    terminal->run("fg");
    terminal->waitFor("GEM Object Model");
  }
  terminal->press("Escape");
  terminal->waitFor("ready>");
}

// The loop runs on while the operator edits, and may end it all; what is printed comes afterwards.
TEST_F(InTerminal, TheContainerShowsItsSheetsOnTheScreen) {
  systemFiles().write(folder / "script", "new link VeltoSocket\n"
                                         "every 100 print \"a tick\"\n"
                                         "every 2000 quit\n"
                                         "link.Setup(\"Raw link\")\n");
  terminal->run("stty -g > before; '" VELTO_PROGRAM "' container");
  terminal->press("'include \"script\"' Enter");
  EXPECT_THAT(terminal->waitFor("  Raw link\n"), testing::Not(HasSubstr("a tick")));
  terminal->waitFor("a tick\na tick\n");
  terminal->waitFor("ready>");
  expectAsBefore();
  terminal->run("'" VELTO_PROGRAM "' container");
  terminal->press("'new link VeltoSocket' Enter 'link.Setup(\"Raw link\")' Enter");
  terminal->waitFor("  Raw link\n");
  terminal->press("C-c");
  terminal->waitFor("= false");
  terminal->press("'answer ok' Enter 'link.Setup(\"\")' Enter");
  terminal->waitFor("[ok]\n= true");
}

} // namespace
} // namespace velto
