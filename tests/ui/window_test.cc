#include "ui/dialog.h"
#include "ui/view.h"
#include "ui/view_changes.h"

#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velto {
namespace {

TEST(View, ShowsATree) {
  TreeView view;
  TreeNode &root = view.add("S1F3 W");
  root.add("<L[2]>").add("<U4 1>");
  root.add("<A \"x\">");
  view.add("two\r\nlines", 3);
  EXPECT_EQ(toText(view), "S1F3 W\n"
                          "  <L[2]>\n"
                          "    <U4 1>\n"
                          "  <A \"x\">\n"
                          "two  lines\n");
  view.clear();
  EXPECT_EQ(toText(view), "");
}

TEST(View, ShowsAList) {
  ListView view;
  view.columns = {"ID", "Name", "Value"};
  view.rows = {{"1", "Clock"}, {"1000", "", "7", "more\nthan asked"}, {}};
  EXPECT_EQ(toText(view), "ID    Name   Value\n"
                          "1     Clock\n"
                          "1000         7      more than asked\n"
                          "\n");
}

// A front end finds its lines again by their keys, whatever they show meanwhile.
TEST(View, KeysNodesAndRowsThatHaveNone) {
  TreeView view;
  for (const char *label : {"State : SELECTED", "Reports (3)", "State : no", "A (b) c", "State.2",
                            "Time : 12 : 30", "", "State"})
    view.add(label, 1);
  view.add("Server").key = "Mode";
  view.add("Mode : x");
  view.roots[0].add("State : inner").add("deep (0)");
  const std::string text = toText(view);
  fillKeys(view);
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"State", "SELECTED"}, {"Reports", "3"},    {"State.2", "no"}, {"A (b) c", ""},
      {"State.2.2", ""},     {"Time", "12 : 30"}, {".1", ""},        {"State.3", ""},
      {"Mode", ""},          {"Mode.2", "x"}};
  ASSERT_EQ(view.roots.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(view.roots[i].key, expected[i].first);
    EXPECT_EQ(view.roots[i].value, expected[i].second) << expected[i].first;
  }
  EXPECT_EQ(view.roots[0].children[0].key, "State") << "siblings alone must differ";
  EXPECT_EQ(view.roots[0].children[0].children[0].key, "deep");
  EXPECT_EQ(toText(view), text);

  view.roots.erase(view.roots.begin());
  view.roots[1].label = "State : changed";
  const TreeView before = view;
  fillKeys(view);
  EXPECT_EQ(view.roots, before.roots) << "keys stay as they are";

  ListView list;
  list.rows = {{"5", "Set", "text"}, {"5", "Clear"}, {}};
  list.rows.emplace_back().key = "own";
  fillKeys(list);
  EXPECT_EQ(list.rows[0].key + list.rows[0].value, "5Set");
  EXPECT_EQ(list.rows[1].key + list.rows[1].value, "5.2Clear");
  EXPECT_EQ(list.rows[2].key + list.rows[2].value, ".1");
  EXPECT_EQ(list.rows[3].key + list.rows[3].value, "own");
}

TEST(View, TellsAnObserverOnceATurnWhoMayEndIt) {
  EventLoop loop;
  auto changes = std::make_unique<ViewChanges>(loop);
  changes->report();
  EXPECT_EQ(changes->count(), 1U);
  EXPECT_FALSE(loop.runOnce(0)) << "without an observer there is nothing to do";
  std::vector<uint64_t> seen;
  changes->observe([&] { seen.push_back(0); });
  changes->report();
  changes->observe([&] {
    seen.push_back(changes->count());
    changes->report(); // comes back
    if (seen.size() == 2)
      changes.reset();
  });
  changes->report();
  changes->report();
  EXPECT_EQ(seen, (std::vector<uint64_t>{}));
  while (loop.runOnce(0)) {
  }
  EXPECT_EQ(seen, (std::vector<uint64_t>{4, 5}));
  EXPECT_EQ(changes, nullptr);
}

TEST(Dialog, ChecksEachKindOfField) {
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  PropertySheet sheet;
  PropertyPage &page = sheet.pages.emplace_back();
  page.text("Text", "Any text", "", 30);
  page.word("Address", "Address", "");
  page.integer("Port", "Port number", 5000, 1, 65535);
  page.integer("Huge", "Huge number", 0, 0, kMax);
  page.check("Server", "Act as server", true);
  page.choice("Role", "Role of this side", "Host", {"Host", "Equipment"});
  page.integer("Odd", "Odd number", 70000, 1, 65535);
  ASSERT_EQ(sheet.problem(), "") << "what was there when the sheet opened may stay";
  const struct {
    const char *key;
    const char *value;
    const char *takes; // empty: the value is right
  } cases[] = {
      {"Text", "\"anything\" at all", ""},
      {"Text", "two\r\nlines", "Any text takes a text on one line"},
      {"Text", "this one is longer than it may be", "Any text takes 30 characters at most"},
      {"Address", "10.0.0.1", ""},
      {"Address", "10.0 .0.1", "Address takes a text without blanks"},
      {"Port", " 65535 ", ""},
      {"Port", "65536", "Port number takes a number from 1 to 65535"},
      {"Port", "0", "Port number takes a number from 1 to 65535"},
      {"Port", "", "Port number takes a number from 1 to 65535"},
      {"Port", "80x", "Port number takes a number from 1 to 65535"},
      {"Port", "8 0", "Port number takes a number from 1 to 65535"},
      {"Port", "-", "Port number takes a number from 1 to 65535"},
      {"Odd", "70001", "Odd number takes a number from 1 to 65535"},
      {"Huge", "9223372036854775807", ""},
      {"Huge", "9223372036854775808", "Huge number takes a number from 0 to 9223372036854775807"},
      {"Server", "false", ""},
      {"Server", "yes", "Act as server takes true or false"},
      {"Role", "Equipment", ""},
      {"Role", "equipment", "Role of this side takes Host or Equipment"},
  };
  for (const auto &c : cases) {
    Field *field = sheet.find(c.key);
    ASSERT_NE(field, nullptr);
    const std::string before = std::exchange(field->value, c.value);
    const std::string takes = c.takes;
    EXPECT_EQ(sheet.problem(), takes.empty() ? "" : takes + ", not \"" + c.value + "\".");
    field->value = before;
  }
}

TEST(Dialog, StaysOpenUntilAllIsRight) {
  struct Boxes final : FrontEnd {
    void messageBox(const std::string &text) override { shown.push_back(text); }
    bool showSheet(PropertySheet &) override { return false; }
    std::vector<std::string> shown;
  } boxes;
  PropertySheet sheet;
  sheet.pages.resize(2);
  sheet.pages[1].integer("Low", "Low", 1, 0, 9);
  sheet.pages[1].integer("High", "High", 2, 0, 9);
  sheet.check = [](const PropertySheet &typed) {
    return typed.pages[1].field("Low").value < typed.pages[1].field("High").value ? "" : "Order!";
  };
  EXPECT_TRUE(sheet.accept(boxes));
  sheet.find("High")->value = "x";
  EXPECT_FALSE(sheet.accept(boxes));
  EXPECT_EQ(sheet.active, 1U) << "the page to mend is on top";
  sheet.find("High")->value = "0";
  EXPECT_FALSE(sheet.accept(boxes));
  EXPECT_EQ(boxes.shown,
            (std::vector<std::string>{"High takes a number from 0 to 9, not \"x\".", "Order!"}));
  EXPECT_FALSE(boxes.showBox({.text = "Sure?", .cancel = true})) << "nobody to agree";
}

TEST(Dialog, FindsFieldsByKeyThenLabel) {
  PropertySheet sheet;
  sheet.pages.resize(2);
  sheet.pages[0].integer("MyPort", "Port", 1, 0, 9);
  sheet.pages[1].integer("Port", "Peer's port", 2, 0, 9);
  sheet.pages[1].check("Server", "Act as server", true);
  EXPECT_EQ(sheet.integer("port"), 2) << "a key outranks a label";
  EXPECT_EQ(sheet.value("PEER'S PORT"), "2");
  EXPECT_TRUE(sheet.checked("Act as server"));
  EXPECT_EQ(sheet.find("other"), nullptr);
  EXPECT_EQ(sheet.integer("other"), 0);
  EXPECT_FALSE(sheet.checked("other"));
}

TEST(Dialog, NobodyAcceptsASheetWithoutAnOperator) {
  PropertySheet sheet;
  EXPECT_FALSE(headlessFrontEnd().showSheet(sheet));
}

} // namespace
} // namespace velto
