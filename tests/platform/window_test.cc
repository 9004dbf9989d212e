#include "platform/dialog.h"
#include "platform/view.h"

#include <gtest/gtest.h>
#include <limits>
#include <utility>

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

TEST(Dialog, ChecksEachKindOfField) {
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  PropertySheet sheet;
  PropertyPage &page = sheet.pages.emplace_back();
  page.text("Text", "Any text", "");
  page.integer("Port", "Port number", 5000, 1, 65535);
  page.integer("Huge", "Huge number", 0, 0, kMax);
  page.check("Server", "Act as server", true);
  page.choice("Role", "Role of this side", "Host", {"Host", "Equipment"});
  ASSERT_EQ(sheet.firstInvalid(), "");
  const struct {
    const char *key;
    const char *value;
    bool valid;
  } cases[] = {
      {"Text", "\"anything\" at all", true},
      {"Port", " 65535 ", true},
      {"Port", "65536", false},
      {"Port", "0", false},
      {"Port", "", false},
      {"Port", "80x", false},
      {"Port", "8 0", false},
      {"Port", "-", false},
      {"Huge", "9223372036854775807", true},
      {"Huge", "9223372036854775808", false},
      {"Server", "false", true},
      {"Server", "yes", false},
      {"Role", "Equipment", true},
      {"Role", "equipment", false},
  };
  for (const auto &c : cases) {
    Field *field = sheet.find(c.key);
    ASSERT_NE(field, nullptr);
    const std::string before = std::exchange(field->value, c.value);
    EXPECT_EQ(sheet.firstInvalid(), c.valid ? "" : field->label) << c.key << ' ' << c.value;
    field->value = before;
  }
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
