#include "base/setting_list.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

struct Settings {
  int32_t number = -1;
  bool flag = false;
  std::string text;
  SettingList list;

  Settings() {
    list.section("A");
    list.integer("Number", number, 7);
    list.flag("Flag", flag, true);
    list.section("B");
    list.text("Text", text, "none");
  }
};

TEST(SettingListTest, ReadsNumbersFlagsAndTexts) {
  const std::string longText(300, 'x');
  const struct {
    std::string ini;
    int32_t number;
    bool flag;
    std::string text;
  } cases[] = {
      {"", 7, true, "none"},
      {"[A]\nNumber=-2\nFlag=0\n[B]\nText=hello\n", -2, false, "hello"},
      {"[A]\nFlag=1\n[B]\nNumber=3\nFlag=0\n", 7, true, "none"},
      {"[A]\nFlag=-5\n", 7, true, "none"},
      {"[A]\nNumber=x\nFlag=true\n", 0, false, "none"},
      {"[B]\nText=" + longText + "\n", 7, true, longText.substr(0, 255)},
  };
  for (const auto &c : cases) {
    Settings settings;
    settings.list.load(IniText(c.ini));
    EXPECT_EQ(settings.number, c.number) << c.ini;
    EXPECT_EQ(settings.flag, c.flag) << c.ini;
    EXPECT_EQ(settings.text, c.text) << c.ini;
  }
}

TEST(SettingListTest, StoresFlagsAsDigitsAmongForeignLines) {
  Settings settings;
  settings.number = 5;
  settings.text = "hello";
  IniText ini("[A]\nOther=1\nFlag=7\n");
  settings.list.store(ini);
  EXPECT_EQ(ini.text(), "[A]\nOther=1\nFlag=0\nNumber=5\n[B]\nText=hello\n");
  settings.flag = true;
  settings.list.store(ini);
  EXPECT_TRUE(ini.text().starts_with("[A]\nOther=1\nFlag=1\n"));
}

} // namespace
} // namespace velto
