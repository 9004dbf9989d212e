// The full-screen sheet: its keys and pictures on a screen of the test, and in a real terminal.
#include "apps/velto/screen/screen_front_end.h"

#include "support/temporary_directory.h"

#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto::screen {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Code = Key::Code;

/// A screen whose keys are there beforehand; at their end the operator quits.
class TestDisplay final : public Display {
public:
  Area size() override { return {0, 0, width, height}; }
  void show(const Frame &frame) override { pictures.push_back(frame.text()); }
  Key readKey() override {
    if (keys.empty())
      return {Code::Quit};
    const Key key = keys.front();
    keys.pop_front();
    return key;
  }
  /// Letters are typed; `<name>` is a key.
  void press(std::string_view text) {
    static constexpr std::pair<std::string_view, Code> kNames[] = {
        {"enter", Code::Enter},       {"esc", Code::Escape},     {"tab", Code::Tab},
        {"backtab", Code::BackTab},   {"up", Code::Up},          {"down", Code::Down},
        {"left", Code::Left},         {"right", Code::Right},    {"home", Code::Home},
        {"end", Code::End},           {"pgup", Code::PageUp},    {"pgdn", Code::PageDown},
        {"prev", Code::PreviousPage}, {"next", Code::NextPage},  {"ins", Code::Insert},
        {"del", Code::Delete},        {"back", Code::Backspace}, {"resize", Code::Resize},
    };
    while (!text.empty()) {
      const size_t end = text[0] == '<' ? text.find('>') : std::string_view::npos;
      if (end == std::string_view::npos) {
        const size_t size = characterSize(text, 0);
        keys.push_back({Code::Character, std::string(text.substr(0, size))});
        text.remove_prefix(size);
        continue;
      }
      for (const auto &[name, code] : kNames)
        if (name == text.substr(1, end - 1))
          keys.push_back({code});
      text.remove_prefix(end + 1);
    }
  }

  int width = 60;
  int height = 12;
  std::deque<Key> keys;
  std::vector<std::string> pictures;
};

class Screen : public testing::Test {
protected:
  Screen() {
    sheet.title = "Setup";
    sheet.pages.resize(2);
    PropertyPage &link = sheet.pages[0];
    link.title = "Link";
    link.text("Name", "Name", "abc");
    link.integer("Port", "Port", 5000, 0, 65535);
    link.check("Server", "Server", false);
    link.choice("Role", "Role", "Host", {"Equipment", "Host", "Other"});
    link.label("Note", "only to read");
    PropertyPage &names = sheet.pages[1];
    names.title = "Names";
    names.list.emplace().view.columns = {"No", "Name"};
    for (int i = 1; i <= 20; ++i)
      names.list->view.rows.push_back({std::to_string(i), "n" + std::to_string(i)});
    names.list->add = [this] {
      PropertySheet dialog;
      dialog.title = "New";
      dialog.pages.emplace_back().text("Name", "Name", "");
      added = front.showSheet(dialog) ? dialog.value("Name") : "none";
    };
    names.list->edit = [this](size_t row) { added = "edit " + std::to_string(row); };
    names.list->remove = [this](size_t row) {
      if (front.showBox(
              {"Delete " + std::to_string(row) + "?", "Sure", MessageBox::Icon::Question, true}))
        added = "deleted";
    };
  }
  bool run(std::string_view keys) {
    display.press(keys);
    return front.showSheet(sheet);
  }

  TestDisplay display;
  ScreenFrontEnd front{display};
  PropertySheet sheet;
  std::string added;
};

TEST_F(Screen, ShowsPagesFieldsAndLists) {
  EXPECT_FALSE(run("<next><down><esc>"));
  EXPECT_EQ(display.pictures[0], "+- Setup --------------------------------------------------+\n"
                                 "|  Link  Names                                             |\n"
                                 "|                                                          |\n"
                                 "| Name          abc                                        |\n"
                                 "| Port          5000                                       |\n"
                                 "| Server        [ ]                                        |\n"
                                 "| Role          < Host >                                   |\n"
                                 "| only to read                                             |\n"
                                 "|                                                          |\n"
                                 "|                                                          |\n"
                                 "| [ OK ]  [ Cancel ]    Ctrl-arrows: pages  Enter  Esc     |\n"
                                 "+----------------------------------------------------------+\n");
  EXPECT_EQ(display.pictures[2], "+- Setup --------------------------------------------------+\n"
                                 "|  Link  Names                                             |\n"
                                 "|                                                          |\n"
                                 "|   No  Name                                               |\n"
                                 "|   1   n1                                                 |\n"
                                 "| > 2   n2                                                 |\n"
                                 "|   3   n3                                                 |\n"
                                 "|   4   n4                                                 |\n"
                                 "|   5   n5                                                 |\n"
                                 "|                                                          |\n"
                                 "| [ OK ]  [ Cancel ]    Ins: add  Enter: edit  Del: delete |\n"
                                 "+----------------------------------------------------------+\n");
}

TEST_F(Screen, KeysEditFields) {
  const struct {
    const char *keys;
    const char *field;
    const char *value;
  } rows[] = {
      {"d<left><left>x<home>y<end><back>z<enter>", "Name", "yabxcz"},
      {"<home><del><del>\xc3\xa9x<left><left><right><back><enter>", "Name", "xc"},
      {"<tab><back>7<enter>", "Port", "5007"},
      {"<down><down> <enter>", "Server", "true"},
      {"<tab><tab><tab><right><enter>", "Role", "Other"},
      {"<tab><tab><tab><right><right><enter>", "Role", "Equipment"},
      {"<tab><tab><tab>E<enter>", "Role", "Equipment"},
      {"<backtab><backtab><backtab><left><enter>", "Role", "Equipment"},
      {"<next><next><resize>w<tab><tab><tab><tab><enter>", "Name", "abcw"},
      {"<up><up>q<enter>", "Name", "abc"},
  };
  for (const auto &row : rows) {
    for (PropertyPage &page : sheet.pages)
      for (Field &field : page.fields)
        field.value = field.shown;
    sheet.active = 0;
    EXPECT_TRUE(run(row.keys)) << row.keys;
    EXPECT_EQ(sheet.value(row.field), row.value) << row.keys;
  }
  EXPECT_FALSE(run("<backtab><enter>")) << "on Cancel";
  EXPECT_FALSE(front.accepted());
}

TEST_F(Screen, WhatAFieldCannotHoldKeepsTheSheetOpen) {
  EXPECT_TRUE(run("<tab>0000<next><enter><tab><enter><enter><back><back><back><back><enter>"));
  EXPECT_EQ(sheet.value("Port"), "5000");
  ASSERT_EQ(sheet.active, 0U) << "the page of the field";
  const auto box = std::ranges::find_if(display.pictures, [](const std::string &picture) {
    return picture.find("(x)") != std::string::npos;
  });
  ASSERT_NE(box, display.pictures.end());
  EXPECT_THAT(*box, HasSubstr("- Error -"));
  EXPECT_THAT(*box, HasSubstr("(x) Port takes a number from 0 to 65535, not"));
}

TEST_F(Screen, ListsAreWorkedByKeys) {
  const struct {
    const char *keys;
    const char *added;
    size_t selected;
  } rows[] = {
      {"<ins>new<enter>", "new", 0},
      {"a<tab><tab><enter>", "none", 0},
      {"<ins>x<esc>", "none", 0},
      {"<down><down><enter>", "edit 2", 2},
      {"<end>e", "edit 19", 19},
      {"<pgup><pgup><up><del><enter>", "deleted", 8},
      {"<home><pgdn>d<tab><enter>", "", 5},
      {"<home>d<esc>", "", 0},
  };
  sheet.active = 1;
  for (const auto &row : rows) {
    added.clear();
    EXPECT_TRUE(run(row.keys + std::string("<tab><enter>")));
    EXPECT_EQ(added, row.added) << row.keys;
    EXPECT_EQ(sheet.pages[1].list->selected, row.selected) << row.keys;
  }
  added.clear();
  EXPECT_FALSE(run("<ins>ab")) << "the operator quits with the dialog open";
  EXPECT_TRUE(front.hasQuit());
  EXPECT_EQ(added, "none");
}

TEST_F(Screen, AnySizeWillDo) {
  sheet.pages[0].fields[0].value = std::string(300, 'x');
  for (const auto &[width, height] : {std::pair(1, 1), {5, 3}, {12, 6}, {300, 100}, {0, 0}}) {
    TestDisplay small;
    small.width = width;
    small.height = height;
    ScreenFrontEnd other(small);
    PropertySheet shown = sheet;
    small.press("y<tab>x<enter><enter><back><next><ins><esc><end><del><esc><esc>");
    other.showSheet(shown);
    EXPECT_EQ(small.pictures.back().size() >= static_cast<size_t>(height), true);
  }
}

TEST(Keys, AreReadFromWhatTerminalsSend) {
  const struct {
    const char *bytes;
    bool complete;
    std::vector<Code> codes;
    const char *rest;
  } rows[] = {
      {"a\r\t\x7f\x08\x03",
       false,
       {Code::Character, Code::Enter, Code::Tab, Code::Backspace, Code::Backspace, Code::Quit},
       ""},
      {"\x1b[A\x1b[1;5C\x1bOD\x1b[Z\x1b[3~",
       false,
       {Code::Up, Code::NextPage, Code::Left, Code::BackTab, Code::Delete},
       ""},
      {"\x1b[99;99x", false, {Code::Unknown}, ""},
      {"\x1b", false, {Code::Unknown}, "\x1b"},
      {"\x1b", true, {Code::Escape}, ""},
      {"\x1b[", false, {Code::Unknown}, "\x1b["},
      {"\x1bx", false, {Code::Escape, Code::Character}, ""},
      {"\x1b[1111111111111111111111111111111111111", false, {Code::Escape}, nullptr},
      {"\xc3\xa9", false, {Code::Character}, ""},
  };
  for (const auto &row : rows) {
    std::string input = row.bytes;
    for (const Code code : row.codes)
      EXPECT_EQ(takeKey(input, row.complete).code, code) << row.bytes;
    if (row.rest != nullptr) {
      EXPECT_EQ(input, row.rest);
    }
  }
}

} // namespace
} // namespace velto::screen
