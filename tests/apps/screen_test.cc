// The full-screen front end without a terminal: keys in, pictures out.
#include "apps/velto/console/glyph.h"
#include "apps/velto/screen/box_window.h"
#include "apps/velto/screen/curses.h"
#include "apps/velto/screen/held_output.h"
#include "apps/velto/screen/recent_lines.h"
#include "apps/velto/screen/scroll_pane.h"
#include "apps/velto/screen/sheet_window.h"
#include "apps/velto/screen/terminal.h"
#include "platform/pseudo_terminal.h"

#include <csignal>
#include <deque>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Code = Key::Code;

/// Windows on a screen of the test. At the end of the keys everything is cancelled.
class Desk final : public FrontEnd {
public:
  void messageBox(const std::string &text) override { showBox({text}); }
  bool showBox(const MessageBox &box) override {
    BoxWindow window(box);
    return run(window);
  }
  bool showSheet(PropertySheet &sheet) override {
    SheetWindow window(sheet, *this);
    return run(window);
  }

  /// Letters are typed; `<name>` is a key.
  void press(std::string_view text) {
    static constexpr std::pair<std::string_view, Code> kNames[] = {
        {"enter", Code::Enter},       {"esc", Code::Escape},    {"tab", Code::Tab},
        {"backtab", Code::BackTab},   {"up", Code::Up},         {"down", Code::Down},
        {"left", Code::Left},         {"right", Code::Right},   {"home", Code::Home},
        {"end", Code::End},           {"pgup", Code::PageUp},   {"pgdn", Code::PageDown},
        {"prev", Code::PreviousPage}, {"next", Code::NextPage}, {"ins", Code::Insert},
        {"del", Code::Delete},        {"back", Code::Backspace}};
    while (!text.empty()) {
      const size_t end = text[0] == '<' ? text.find('>') : std::string_view::npos;
      if (end == std::string_view::npos) {
        const size_t bytes = firstGlyph(text).bytes;
        keys.push_back({Code::Character, std::string(text.substr(0, bytes))});
        text.remove_prefix(bytes);
        continue;
      }
      for (const auto &[name, code] : kNames)
        if (name == text.substr(1, end - 1))
          keys.push_back({code});
      text.remove_prefix(end + 1);
    }
  }
  /// A picture that was shown with this text on it.
  std::string picture(const std::string &text) const {
    for (const std::string &shown : pictures)
      if (shown.find(text) != std::string::npos)
        return shown;
    return "";
  }

  Size size{14, 60};
  std::deque<Key> keys;
  std::vector<std::string> pictures;

private:
  void draw() {
    Screen screen(size);
    drawWindows(screen, windows_);
    pictures.push_back(screen.text());
  }
  bool run(Window &window) {
    windows_.push_back(&window);
    for (draw(); !window.closed() && !keys.empty(); draw()) {
      const Key key = keys.front();
      keys.pop_front();
      window.press(key);
    }
    windows_.pop_back();
    return window.accepted();
  }
  std::vector<Window *> windows_;
};

class FullScreen : public testing::Test {
protected:
  FullScreen() {
    sheet.title = "Setup";
    sheet.pages.resize(2);
    PropertyPage &link = sheet.pages[0];
    link.title = "Link";
    link.text("Name", "Name", "abc");
    link.integer("Port", "Port", 5000, 0, 65535);
    link.check("Server", "Server", false);
    link.choice("Role", "Role", "Host", {"Equipment", "Host", "Other"});
    link.label("Note", "only to read");
    sheet.pages[1].title = "Names";
    PageList &list = sheet.pages[1].list.emplace();
    list.view.columns = {"No", "Name"};
    for (int i = 1; i <= 20; ++i)
      list.view.rows.push_back({std::to_string(i), "n" + std::to_string(i)});
    list.add = [this] {
      PropertySheet dialog;
      dialog.title = "New";
      dialog.pages.emplace_back().text("Name", "Name", "old");
      done = desk.showSheet(dialog) ? dialog.value("Name") : "none";
    };
    list.edit = [this](size_t row) { done = "edit " + std::to_string(row); };
    list.remove = [this](size_t row) {
      if (desk.showBox(
              {"Delete " + std::to_string(row) + "?", "Sure", MessageBox::Icon::Question, true}))
        done = "deleted " + std::to_string(row);
    };
  }
  bool run(const std::string &keys) {
    desk.keys.clear();
    desk.press(keys);
    return desk.showSheet(sheet);
  }

  Desk desk;
  PropertySheet sheet;
  std::string done;
};

TEST_F(FullScreen, ShowsPagesFieldsListsDialogsAndBoxes) {
  EXPECT_FALSE(run("<next><down><ins><esc>d"));
  EXPECT_EQ(desk.pictures[0], "                           Setup\n"
                              "[Link] Names\n"
                              "------------------------------------------------------------\n"
                              "> Name    [abc                                     ]\n"
                              "  Port    [5000          ]\n"
                              "  Server  [ ]\n"
                              "  Role    < Host >\n"
                              "  only to read\n"
                              "\n"
                              "\n"
                              "\n"
                              "------------------------------------------------------------\n"
                              "                    [ OK ]   [ Cancel ]\n"
                              " Enter: OK  Tab: next  Esc: cancel  Ctrl-Right: page\n");
  EXPECT_EQ(desk.picture("- New -"),
            "                           Setup\n"
            " Link [Names]\n"
            "------------------------------------------------------------\n"
            "  No  Name\n"
            "  1+----------------------- New ------------------------+\n"
            "> 2| > Name  [old                                   ]   |\n"
            "  3|                                                    |\n"
            "  4|                [ OK ]   [ Cancel ]                 |\n"
            "  5+----------------------------------------------------+\n"
            "  6   n6\n"
            "  7   n7\n"
            "------------------------------------------------- 2 of 20 --\n"
            "                    [ OK ]   [ Cancel ]\n"
            " Enter: OK  Tab: next  Esc: cancel\n");
  EXPECT_THAT(desk.picture("(?) Sure"), HasSubstr("| Delete 1?"));
}

TEST_F(FullScreen, KeysEditFields) {
  const struct {
    const char *keys;
    const char *field;
    const char *value;
  } rows[] = {
      {"new<enter>", "Name", "new"}, // what is marked is replaced
      {"<end>d<left><left>x<home>y<end><back>z<enter>", "Name", "yabxcz"},
      {"<back>q<enter>", "Name", "q"},
      {"<home><del><del>\xc3\xa9x<left><left><right><back><enter>", "Name", "xc"},
      {"<end>\xe9<left>\xff<enter>", "Name", "abc\xff\xe9"}, // 8-bit text stays as it is
      {"<tab><end><back>7<enter>", "Port", "5007"},
      {"<down><down> <enter>", "Server", "true"},
      {"<down><down>  <enter>", "Server", "false"},
      {"<tab><tab><tab><right><enter>", "Role", "Other"},
      {"<tab><tab><tab><right><right><enter>", "Role", "Equipment"},
      {"<tab><tab><tab>e<enter>", "Role", "Equipment"},
      {"<tab><tab><tab> <down><enter><enter>", "Role", "Other"},
      {"<tab><tab><tab> oT<esc><enter>", "Role", "Host"},
      {"<tab><tab><tab> oT<enter><enter>", "Role", "Other"},
      {"<backtab><right><left><down>w<enter>", "Name", "w"}, // by way of the tabs
      {"<pgdn><next>w<pgup><prev><enter>", "Name", "w"},     // pages go around
      {"<up><up><tab><tab>x<enter>", "Name", "x"},           // the buttons and back
      {"<tab><tab><tab><tab><enter>", "Name", "abc"},        // the button OK
      {"<tab><tab><tab><tab><right><left> ", "Name", "abc"},
  };
  for (const auto &row : rows) {
    for (Field &field : sheet.pages[0].fields)
      field.value = field.shown;
    sheet.active = 0;
    EXPECT_TRUE(run(row.keys)) << row.keys;
    EXPECT_EQ(sheet.value(row.field), row.value) << row.keys;
  }
  for (const char *keys : {"x<esc>", "<backtab><backtab><enter>", "<backtab><backtab> "})
    EXPECT_FALSE(run(keys)) << keys;
}

TEST_F(FullScreen, WhatAFieldCannotHoldKeepsTheSheetOpen) {
  EXPECT_TRUE(run("<tab>99999<next><tab><enter><enter>80<enter>"));
  EXPECT_EQ(sheet.value("Port"), "80") << "the field had the focus";
  EXPECT_EQ(sheet.active, 0U) << "and its page was on top";
  const std::string box = desk.picture("(!) Error");
  EXPECT_THAT(box, HasSubstr("| Port takes a number from 0 to 65535, not \"99999\"."));
}

TEST_F(FullScreen, KeysWorkLists) {
  const struct {
    const char *keys;
    const char *done;
    size_t selected;
  } rows[] = {
      {"<ins>new<enter>", "new", 0},
      {"a<tab><tab><enter>", "none", 0},
      {"<ins>x<esc>", "none", 0},
      {"<down><down><enter>", "edit 2", 2},
      {"<end>e", "edit 19", 19},
      {"<end><pgup><up><del><enter>", "deleted 11", 11},
      {"<home><pgdn>d<tab><enter>", "", 7},
      {"<home>d<esc>", "", 0},
      {"<home>d<right><left> ", "deleted 0", 0},
  };
  for (const auto &row : rows) {
    sheet.active = 1;
    sheet.pages[1].list->selected = 0;
    done.clear();
    EXPECT_TRUE(run(row.keys + std::string("<tab><enter>"))) << row.keys;
    EXPECT_EQ(done, row.done) << row.keys;
    EXPECT_EQ(sheet.pages[1].list->selected, row.selected) << row.keys;
  }
  done.clear();
  sheet.pages[1].list->view.rows.clear();
  sheet.pages[1].list->selected = 7;
  EXPECT_FALSE(run("<enter>ed<del><up>")) << "no row to work with";
  EXPECT_EQ(done, "");
}

TEST_F(FullScreen, WorksOnAnyScreen) {
  sheet.pages[0].fields[0].value = std::string(300, 'x') + "end";
  sheet.pages[1].list->view.rows[0][1] = "a long name that goes beyond the edge of the screen";
  for (const Size size : {Size{0, 0}, {1, 1}, {3, 5}, {12, 40}, {12, 300}, {100, 40}}) {
    desk.size = size;
    run("y<tab>x<enter><enter><back><next><ins><esc><end><del><esc><home><right><right><esc>");
    EXPECT_EQ(std::ranges::count(desk.pictures.back(), '\n'), size.rows);
  }
  desk.size = {12, 40};
  sheet.active = 0;
  for (int i = 0; i < 9; ++i)
    sheet.pages[0].text("", "More " + std::to_string(i), "");
  run("<backtab><backtab><backtab><up>");
  EXPECT_THAT(desk.pictures.back(), HasSubstr("> More 8")) << "fields scroll";
  desk.pictures.clear();
  run("<next><right>");
  EXPECT_THAT(desk.pictures.back(), HasSubstr("> ng name that goes beyond the edge of t"));
  desk.pictures.clear();
  desk.size = {11, 80};
  run("");
  EXPECT_EQ(desk.pictures[0].substr(0, 45), "The window is too small.\n40 x 12 is needed.\nE");
}

TEST_F(FullScreen, BoxesWrapAndScroll) {
  desk.size = {12, 40};
  std::string text = "one two three four five six seven eight nine\n\n";
  for (int i = 0; i < 20; ++i)
    text += "line " + std::to_string(i) + '\n';
  desk.press("<down><down><down><up><enter>");
  EXPECT_TRUE(desk.showBox({text}));
  EXPECT_THAT(desk.pictures[0], HasSubstr("| one two three four five six seven |\n"
                                          " | eight nine                        |\n"
                                          " |                                   |\n"
                                          " | line 0"));
  EXPECT_THAT(desk.picture("line 5"),
              HasSubstr("+\n |                                   |\n | line 0"));
}

TEST(Curses, DecodesWhatTerminalsSend) {
  if (!Curses::isBuiltIn())
    GTEST_SKIP() << "built without ncurses";
  const Key up{Code::Up};
  const Key escape{Code::Escape};
  const Key other{Code::Other};
  const auto typed = [](const char *text) { return Key{Code::Character, text}; };
  const struct {
    std::string bytes;
    std::vector<Key> keys;
    std::vector<Key> late; // when no more bytes come
  } rows[] = {
      {"a\r\t\x7f\b\x03",
       {typed("a"),
        {Code::Enter},
        {Code::Tab},
        {Code::Backspace},
        {Code::Backspace},
        {Code::Control, "C"}},
       {}},
      {"\x1b[A\x1bOA\x1b[1;2A", {up, up, up}, {}},
      {"\x1b[1;5C\x1b[5;5~\x1b[Z\x1b[3~\x1b[1~\x1bOF",
       {{Code::NextPage},
        {Code::PreviousPage},
        {Code::BackTab},
        {Code::Delete},
        {Code::Home},
        {Code::End}},
       {}},
      {"\x1b[99;99x\x1b[[Aq\x1bx", {other, other, typed("q"), other}, {}},
      {"\x1b", {}, {escape}},
      {"\x1b\x1b[A", {escape, up}, {}},
      {"\x1b[1;", {}, {other}},
      {"\x1b[\x01", {other, {Code::Control, "A"}}, {}},
      {"\xc3\xa9\xe4\xba", {typed("\xc3\xa9")}, {typed("\xe4"), typed("\xba")}},
      {"\xe9"
       "a\x80",
       {typed("\xe9"), typed("a"), typed("\x80")},
       {}},
  };
  const char *const kinds[] = {"xterm", "vt100", "dumb", "unknown"};
  for (const char *kind : kinds) {
    setenv("TERM", kind, 1);
    Curses curses({24, 80});
    const auto keysOf = [&curses](std::vector<Key> keys = {}) {
      while (const auto key = curses.nextKey())
        keys.push_back(*key);
      return keys;
    };
    for (const auto &row : rows) {
      for (const bool bytewise : {false, true}) {
        std::vector<Key> keys;
        for (size_t at = 0; at < row.bytes.size(); at += bytewise ? 1 : row.bytes.size()) {
          curses.feed(bytewise ? row.bytes.substr(at, 1) : row.bytes);
          keys = keysOf(std::move(keys));
        }
        EXPECT_EQ(keys, row.keys) << testing::PrintToString(row.bytes);
        EXPECT_EQ(curses.isWaiting(), !row.late.empty());
        curses.flush();
        EXPECT_EQ(keysOf(), row.late) << testing::PrintToString(row.bytes);
        EXPECT_FALSE(curses.isWaiting());
      }
    }
    curses.feed("\x1b[" + std::string(5000, '1'));
    EXPECT_GT(keysOf().size(), 4000U) << "a sequence without an end is none";
  }
}

TEST(Screen, DrawsCharactersIntoCells) {
  Screen screen({3, 8});
  EXPECT_EQ(screen.put(0, 0, "a\tb\x01\x7f", 8), 5);
  EXPECT_EQ(screen.put(0, 6, "cut", 8), 2);
  EXPECT_EQ(screen.put(1, 0, "\xe6\xbc\xa2\xe5\xad\x97", 3), 2) << "two cells each";
  screen.put(1, 3, "e\xcc\x81\xe9", 8); // a mark that combines, a byte of 8-bit text
  screen.put(2, 0, "\xe6\xbc\xa2", 2);
  screen.put(2, 1, "x", 1); // takes half of it
  screen.put(-1, 0, "no", 2);
  screen.put(3, 0, "no", 2);
  EXPECT_EQ(screen.text(), "a b?? cu\n\xe6\xbc\xa2 e\xc3\xa9\n x\n");
}

TEST(Curses, SendsOnlyWhatChanged) {
  if (!Curses::isBuiltIn())
    GTEST_SKIP() << "built without ncurses";
  setenv("TERM", "xterm", 1);
  Curses curses({2, 10});
  Screen screen({2, 10});
  screen.put(0, 0, "abcdef", 10);
  screen.put(1, 0, "\xe6\xbc\xa2z", 10);
  EXPECT_THAT(curses.draw(screen), AllOf(HasSubstr("\x1b[?1049h"), HasSubstr("abcdef")));
  EXPECT_EQ(curses.draw(screen), "");
  screen.put(0, 1, "BC", 10);
  screen.put(0, 4, "E", 1, Look::Reverse);
  EXPECT_THAT(curses.draw(screen), AllOf(HasSubstr("BC"), HasSubstr("7mE"), Not(HasSubstr("f"))));
  EXPECT_THAT(curses.leave(), HasSubstr("\x1b[?1049l"));
  EXPECT_EQ(curses.leave(), "") << "it has left";
  EXPECT_THAT(curses.draw(screen), AllOf(HasSubstr("\x1b[?1049h"), HasSubstr("aBCd")));
  curses.repaint();
  EXPECT_THAT(curses.draw(screen), HasSubstr("aBCd"));
  curses.resize({3, 12});
  Screen larger({3, 12});
  larger.put(2, 0, "the end", 12);
  EXPECT_THAT(curses.draw(larger), HasSubstr("the end"));
}

TEST(Terminal, GoesOnWhenTheLineDoesNot) {
  if (!Curses::isBuiltIn())
    GTEST_SKIP() << "built without ncurses";
  PseudoTerminal line;
  const int device = open(line.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(device, 0);
  EventLoop loop;
  {
    Terminal terminal(loop, nullptr, device, device);
    Screen screen(terminal.size());
    const auto [rows, columns] = terminal.size();
    for (int i = 0; i < 1000; ++i) { // much more than a line takes that nobody reads
      screen.fill({0, 0, rows, columns}, i % 2 == 0 ? Look::Bold : Look::Plain,
                  static_cast<char>('a' + i % 26));
      terminal.draw(screen);
    }
    screen.fill({0, 0, rows, columns});
    screen.put(0, 0, "the last one", columns);
    terminal.draw(screen);
    std::string seen;
    const auto cameToAnEnd = [&] {
      const Bytes bytes = line.read();
      seen.append(bytes.begin(), bytes.end());
      return seen.find("the last one") != std::string::npos;
    };
    EXPECT_TRUE(loop.runUntil(cameToAnEnd, 10'000));
    EXPECT_LT(seen.size(), 100'000U) << "those in between were left out";

    line.send(Bytes{'x', 0x1b, '[', 'B', 0x1b});
    std::vector<Key> keys;
    const auto escaped = [&] {
      while (const auto key = terminal.nextKey())
        keys.push_back(*key);
      return keys.size() == 3;
    };
    EXPECT_TRUE(loop.runUntil(escaped, 10'000));
    EXPECT_EQ(keys, (std::vector<Key>{{Code::Character, "x"}, {Code::Down}, {Code::Escape}}));

    line.hangUp();
    EXPECT_TRUE(loop.runUntil([&] { return terminal.stopSignal() == SIGHUP; }, 10'000));
  }
  close(device);
}

TEST(ScrollPane, FollowsItsLastLineUntilItIsScrolled) {
  RecentLines recent;
  std::ostream out(&recent);
  ScrollPane pane("Log", true);
  const auto shown = [&] {
    Screen screen({3, 27});
    pane.draw(screen, {0, 0, 3, 27},
              {recent.lines().size(), [&](size_t line) { return recent.lines()[line]; }}, true);
    return screen.text();
  };
  EXPECT_EQ(shown(), "-[Log]---------------------\n\n\n");
  for (const char *text : {"1\nbody", "2\n", "3\n"})
    out << text << std::flush;
  EXPECT_EQ(shown(), "-[Log]------- 2 to 3 of 3 -\n 2\n 3\n");
  pane.press({Code::PageUp});
  out << "4\n" << std::flush;
  EXPECT_EQ(shown(), "-[Log]------- 1 to 2 of 4 -\n 1\n 2\n");
  pane.press({Code::Down});
  EXPECT_THAT(shown(), HasSubstr(" 2\n 3\n"));
  pane.press({Code::End});
  for (int i = 0; i < 2000; ++i)
    out << "line " << i << '\n' << std::flush;
  EXPECT_THAT(shown(), HasSubstr(" 999 to 1000 of 1000 ")) << "the last lines alone are kept";
  EXPECT_THAT(shown(), HasSubstr(" line 1998\n line 1999\n"));
}

TEST(HeldOutput, ComesAfterwards) {
  std::stringbuf there;
  std::ostream out(&there);
  {
    const HeldOutput held(out);
    out << "late\n" << std::flush;
    EXPECT_EQ(there.str(), "");
  }
  EXPECT_EQ(there.str(), "late\n");
  {
    const HeldOutput held(out);
    for (int i = 0; i < 100'000; ++i)
      out << "line " << i << '\n' << std::flush;
  }
  EXPECT_LT(there.str().size(), 300'000U) << "the last lines alone";
  EXPECT_THAT(there.str(), testing::EndsWith("line 99999\n"));
}

} // namespace
} // namespace velto
