#include "platform/ini_file.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

class IniFileTest : public testing::Test {
protected:
  void put(std::string_view bytes) { ASSERT_TRUE(systemFiles().write(path_, bytes)); }
  std::string contents() const { return systemFiles().read(path_).value_or("none"); }

  TemporaryDirectory directory_;
  std::string path_ = directory_ / "velto.ini";
};

TEST_F(IniFileTest, ReadsValues) {
  put("Port=1\n"
      "; [Link]\n"
      " [ Link ] ; the tool\r\n"
      "Port = 5000 ; not a comment\r\n"
      "#Name=no\n"
      "  IPAddress\t=\t\" 10.0.0.1 \"  \n"
      "Single='a'\nHalf=\"a\nEquals=a=b\nEmpty=\nnonsense\nport=2\n"
      "[link]\nLate=1\n"
      "[Last]\nBig=4294967298\nEnd=x");
  const IniFile ini(path_);
  const struct {
    const char *section;
    const char *key;
    const char *value; // "-" is the fallback
    int number;
  } cases[] = {
      {"Link", "Port", "5000 ; not a comment", 5000},
      {"LINK", "ipaddress", " 10.0.0.1 ", 10},
      {"Link", "Single", "a", 0},
      {"Link", "Half", "\"a", 0},
      {"Link", "Equals", "a=b", 0},
      {"Link", "Empty", "", 0},
      {"Link", "Name", "-", -1},
      {"Link", "nonsense", "-", -1},
      {"Link", "Late", "-", -1}, // the second section of a name does not count
      {"", "Port", "-", -1},
      {"Last", "Big", "4294967298", 2},
      {"Last", "End", "x", 0},
      {"Other", "End", "-", -1},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(ini.text(c.section, c.key, "-"), c.value) << c.key;
    EXPECT_EQ(ini.integer(c.section, c.key, -1), c.number) << c.key;
    EXPECT_EQ(ini.has(c.section, c.key), c.number != -1) << c.key;
  }
  EXPECT_EQ(ini.text("Link", "Port", "-", 3), "500");
  EXPECT_EQ(ini.text("Link", "Other", "fallback", 4), "fall");
}

TEST_F(IniFileTest, ChangesOnlyWhatIsSet) {
  const struct {
    const char *before;
    const char *section;
    const char *key;
    const char *after;
  } cases[] = {
      {"", "A", "k", "[A]\nk=v\n"},
      {"; x", "A", "k", "; x\n[A]\nk=v\n"},
      {"[A]\r\n k = 1 \r\nrest\r\n", "a", "K", "[A]\r\n k =v\r\nrest\r\n"},
      {"[A]\nk=1", "A", "k", "[A]\nk=v"},
      {"[A]\nj=1", "A", "k", "[A]\nj=1\nk=v\n"},
      {"[A]\nj=1\n\n \n[B]\nk=2\n", "A", "k", "[A]\nj=1\nk=v\n\n \n[B]\nk=2\n"},
      {"[A]\n\n\n", "A", "k", "[A]\nk=v\n\n\n"},
      {"[A]\n;k=1\n", "A", "k", "[A]\n;k=1\nk=v\n"},
      {"", " x]y\n", " k\r", "[x]y]\nk=v\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.before);
    put(c.before);
    IniFile ini(path_);
    ini.setText(c.section, c.key, "v");
    ini.setText(c.section, c.key, "v"); // finds what the first call added
    EXPECT_TRUE(ini.save());
    EXPECT_EQ(contents(), c.after);
  }
}

TEST_F(IniFileTest, ReadsBackWhatWasWritten) {
  for (const char *value : {"plain", "", " blank ", "\ttab", "\"quoted\"", "'quoted'", "\"", "\"\"",
                            "\"\"x\"\"", "a;b", "[A]", "a=b"}) {
    IniFile ini(path_);
    ini.setText("A", "k", value);
    ini.setInteger("A", "n", -7);
    ASSERT_TRUE(ini.save());
    EXPECT_EQ(IniFile(path_).text("A", "k", "?"), value);
    EXPECT_EQ(IniFile(path_).integer("A", "n", 0), -7);
  }
  IniFile ini(path_);
  ini.setText("A", "k", "a\r\n[B]\nx=1");
  ASSERT_TRUE(ini.save());
  EXPECT_EQ(contents(), "[A]\nk=a[B]x=1\nn=-7\n") << "a value stays on its line";
}

TEST_F(IniFileTest, MissingFileReadsAsDefaultsAndIsCreated) {
  IniFile ini(path_);
  EXPECT_EQ(ini.text("A", "k", "default"), "default");
  EXPECT_EQ(ini.integer("A", "k", 5), 5);
  ini.setInteger("A", "k", 6);
  EXPECT_TRUE(ini.save());
  EXPECT_EQ(contents(), "[A]\nk=6\n");
  EXPECT_FALSE(IniFile(directory_ / "missing/velto.ini").save());
}

TEST_F(IniFileTest, DoesNotOverwriteAFileThatCannotBeRead) {
  struct Unreadable : FileSystem {
    std::optional<std::string> read(const std::string &) override { return std::nullopt; }
  } files;
  put("[A]\nk=1\n");
  IniFile ini(path_, files);
  ini.setText("B", "k", "2");
  EXPECT_FALSE(ini.save());
  EXPECT_EQ(contents(), "[A]\nk=1\n");
}

} // namespace
} // namespace velto
