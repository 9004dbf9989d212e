#include "secs2/sml_parser.h"
#include "secs2/sml_tree.h"
#include "secs2/support.h"
#include "support/table.h"

#include <random>

namespace velto {
namespace {

std::string repeated(const std::string &text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i)
    all += text;
  return all;
}

TEST(SmlParser, BuildsWhatTheTextSays) {
  for (const char *table : {"messages", "items"})
    for (const TableRow &row : tableOf("secs2/sml.txt", table)) {
      CHSecsMessage message;
      const bool items = table == std::string_view("items");
      ASSERT_EQ(message.SetFromSml(row[0]), row[1] != "refused") << row[0];
      if (row[1] == "refused") {
        EXPECT_EQ(message.header.idWord, 0) << "a refused text leaves the message reset";
      } else {
        EXPECT_EQ(items ? bodyHex(message) : message.GetMsg(), row[1]) << row[0];
      }
    }
}

TEST(SmlParser, TakesHighBytesInTexts) {
  const std::string sml = "<a 'ABC\x82\xa0 d\x7f'>";
  EXPECT_EQ(fromSml(sml).root.text(), "ABC\x82\xa0 d\x7f");
  EXPECT_EQ(fromSml(std::string("<a 'x\0y'>", 9)).root.text(), "xy");
  // With a two-byte code page the second byte of a character is no closing quote.
  CHSmlParser parser;
  parser.setLeadByteTest([](uint8_t byte) { return byte == 0x82; });
  CHSecsMessage message;
  ASSERT_TRUE(parser.Parse(message, "<a 'A\x82'B'>"));
  EXPECT_EQ(message.root.text(), "A\x82'B");
}

TEST(SmlParser, LimitsDepthAndTextSize) {
  const auto nested = [](size_t lists) {
    return std::string(lists, '{') + "<u1 1>" + std::string(lists, '}');
  };
  CHSecsMessage message;
  EXPECT_TRUE(message.SetFromSml(nested(CHSmlParser::kMaxListDepth + 1)));
  EXPECT_FALSE(message.SetFromSml(nested(CHSmlParser::kMaxListDepth + 2)));
  EXPECT_FALSE(message.SetFromSml(nested(1'000'000)));
  std::string text = "<a '" + std::string(CHSmlParser::kMaxTextSize, 'x') + "'";
  EXPECT_TRUE(message.SetFromSml(text + ">"));
  EXPECT_EQ(message.GetMsg(), "") << "longer than a message may be";
  EXPECT_FALSE(message.SetFromSml(text + " 65>"));
}

TEST(SmlParser, TellsWhereItStopped) {
  for (const TableRow &row : tableOf("secs2/sml.txt", "stops")) {
    CHSecsMessage message;
    SmlError error;
    EXPECT_FALSE(message.SetFromSml(row[0], &error));
    EXPECT_EQ(error.line, row.number(1)) << row[0];
    EXPECT_EQ(error.token, row[2]) << row[0];
    EXPECT_EQ(error.reason, "parse error") << row[0];
  }
}

TEST(SmlParser, AtANodeTheHeaderStays) {
  CHSecsMessage message = fromSml("s1f13w{<a'x'>}");
  message.header.idWord = 5;
  message.node = "2";
  EXPECT_TRUE(message.SetFromSml("s6f11 <u1 7>"));
  EXPECT_EQ(message.GetMsg(), "0005810d000000000000"
                              "0102410178a50107");
  EXPECT_FALSE(message.SetFromSml("<u1"));
  EXPECT_EQ(message.GetMsg(), "0005810d000000000000"
                              "0102410178a50107");
}

TEST(SmlParser, KeepsTheModeOfTheHeader) {
  CHSecsMessage message;
  message.header.hsms = false;
  EXPECT_TRUE(message.SetFromSml("s1f13w"));
  EXPECT_FALSE(message.header.hsms);
  EXPECT_EQ(message.GetMsg(), "ffff810d000000000000");
}

TEST(SmlParser, EmptyTextAtTheRootResetsAndBlankTextIsAMessage) {
  CHSecsMessage message = fromSml("s1f13w{<a'x'>}");
  EXPECT_TRUE(message.SetFromSml(""));
  EXPECT_EQ(message.GetMsg(), "00000000000000000000");
  message = fromSml("{<a'x'>}");
  message.node = "1";
  EXPECT_TRUE(message.SetFromSml(" ")) << "no deletion: the node stays, without data";
  EXPECT_EQ(message.root.count(), 1U);
  EXPECT_EQ(message.GetNodeType(), SecsInvalid);
}

TEST(SmlParser, ShowsParseErrorsWhenAsked) {
  CHSecsMessage message;
  int shown = 0;
  message.messageBox = [&shown](const std::string &text) { shown += text == "Parse error!"; };
  EXPECT_FALSE(message.SetFromSml("?"));
  EXPECT_EQ(shown, 0);
  message.setShowMessageBoxes(true);
  EXPECT_FALSE(message.SetFromSml("?"));
  EXPECT_EQ(shown, 1);
}

TEST(SmlParser, TakesTheTextOfTheMessageItself) {
  CHSecsMessage message;
  message.root.setText("{<a 'carried in a text item'> <u1 1>}", format::kAscii);
  EXPECT_TRUE(message.SetFromSml(message.root.text()));
  EXPECT_EQ(valueAt(message, "1"), "carried in a text item");
}

class Names : public SmlContext {
  std::optional<std::string> variableName(int32_t id) const override {
    return id == 5 || id == 0 ? std::optional<std::string>("Clock\r\nx") : std::nullopt;
  }
  std::optional<std::string> eventName(int32_t id) const override {
    return id == 7 ? std::optional<std::string>("Started") : std::nullopt;
  }
};

TEST(SmlPrinter, WritesOneLinePerItem) {
  const Names names;
  for (const TableRow &row : tableOf("secs2/sml.txt", "printed"))
    EXPECT_EQ(RenderSml(fromSml(row[0]), row[1] == "names" ? &names : nullptr), row[2]) << row[0];
}

TEST(SmlPrinter, NeverReadsBeyondTheBytes) {
  const struct {
    const char *bytes;
    const char *text;
    size_t consumed;
  } rows[] = {
      {"", "", 0},
      {"4301", "", 2},
      {"0103a50101", "{\r\n  <u1 1>\r\n}\r\n", 5},
      {"0103a50101a5", "{\r\n  <u1 1>\r\n}\r\n", 6},
      {"a5050102", "<u1 1 2>\r\n", 4},
      {"fd020102", "<?>\r\n", 4},
  };
  for (const auto &row : rows) {
    std::string out;
    SmlItemPlace place;
    EXPECT_EQ(RenderItems(out, fromHex(row.bytes), place, nullptr, 0), row.consumed) << row.bytes;
    EXPECT_EQ(out, row.text) << row.bytes;
  }
}

// Indentation is twice the depth a line; the text of a body of many small items far down must not
// be hundreds of times its size.
TEST(SmlPrinter, StaysWithinAMultipleOfTheBody) {
  std::string body;
  for (size_t i = 0; i < CHSmlParser::kMaxListDepth - 1; ++i)
    body += "0101";
  body += "02c350"; // 50,000 empty lists
  for (int i = 0; i < 50'000; ++i)
    body += "0100";
  const CHSecsMessage message = fromBody(body);
  const std::string sml = RenderSml(message);
  EXPECT_LT(sml.size(), 50 * body.size() / 2);
  EXPECT_NE(sml.find("\r\n" + std::string(100, ' ') + "{\r\n"), std::string::npos);
  EXPECT_TRUE(bodyHex(sml) == body) << "nothing but blanks is left out";
}

// A random item whose SML reads back as the same item.
void fill(CHSecsItem &item, std::mt19937 &random, int depth) {
  static constexpr uint8_t kCodes[] = {0, 8, 9, 16, 17, 18, 24, 25, 26, 28, 32, 36, 40, 41, 42, 44};
  const uint8_t code = kCodes[random() % (depth > 4 ? 15 : 16) + (depth > 4 ? 1 : 0)];
  const uint32_t count = random() % 8;
  if (code == format::kList) {
    item.setList();
    for (uint32_t i = 0; i < count; ++i)
      fill(item.appendChild(), random, depth + 1);
    return;
  }
  uint8_t *bytes = item.makeArray(code, count);
  for (size_t i = 0; i < count * elementSize(code); ++i)
    bytes[i] = static_cast<uint8_t>(1 + random() % 255);
  for (uint32_t i = 0; i < count; ++i) {
    if (code == format::kBoolean)
      bytes[i] &= 1;
    const double real = static_cast<double>(static_cast<int32_t>(random())) / 64;
    const auto single = static_cast<float>(static_cast<int16_t>(random())) / 64;
    if (code == format::kF8)
      std::memcpy(bytes + i * 8, &real, 8);
    if (code == format::kF4)
      std::memcpy(bytes + i * 4, &single, 4);
  }
}

TEST(Sml, WhatIsPrintedReadsBackAsTheSameMessage) {
  std::mt19937 random(20261124);
  for (int round = 0; round < 500; ++round) {
    CHSecsMessage message;
    message.header.setStream(static_cast<uint8_t>(random()));
    message.header.functionByte = static_cast<uint8_t>(random());
    message.header.setWbit(random() % 2 == 0);
    fill(message.root, random, 0);
    const std::string sml = RenderSml(message);
    CHSecsMessage back;
    ASSERT_TRUE(back.SetFromSml(sml)) << sml;
    ASSERT_EQ(back.GetMsg(), message.GetMsg()) << sml;
  }
}

// Whatever the items are, the text is no longer than allowed, begins as the whole one, and says
// that it is cut.
TEST(RenderSml, StopsAtALimit) {
  const std::string list = "03";
  std::string leaves;
  for (int i = 0; i < 0x4000; ++i)
    leaves += i % 2 == 0 ? "a500" : "4100";
  const std::string bodies[] = {
      list + "004000" + leaves,                          // many small items
      "43008000" + std::string(0x10000, '4'),            // one text
      "43008000" + std::string(0x10000, '0'),            // of characters that are no letters
      "23008000" + std::string(0x10000, 'f'),            // binary
      "83008000" + repeated("7fe0000000000000", 0x1000), // numbers of 309 digits
      repeated("0101", 90) + "43008000" + std::string(0x10000, '4'),
  };
  for (const std::string &body : bodies) {
    const CHSecsMessage message = fromBody(body);
    const std::string whole = RenderSml(message);
    EXPECT_EQ(RenderSml(message, nullptr, whole.size()), whole);
    for (const size_t most : {size_t{10}, size_t{1000}, size_t{20000}, whole.size() - 1}) {
      const std::string text = RenderSml(message, nullptr, most);
      ASSERT_LE(text.size(), most);
      const size_t remark = text.find("\r\n* cut short, the message has ");
      EXPECT_EQ(remark != std::string::npos, most > 10);
      EXPECT_GT(text.size() + 100, most);
      const size_t kept = std::min(remark, text.size());
      if (most > 10) {
        EXPECT_EQ(text.substr(0, kept), whole.substr(0, kept));
      }
    }
  }
}

TEST(SmlError, NamesWhatIsNotClosed) {
  const struct {
    const char *sml;
    char missing;
    bool atEnd;
  } rows[] = {{"<u1 1", '>', true},        {"<u1 1 <a>", '>', false}, {"<u1 {}", '>', false},
              {"{<u1 1>", '}', true},      {"{<u1 1> x}", 0, false},  {"<u1 x>", 0, false},
              {"s1f1 <u1> <u1>", 0, false}};
  for (const auto &row : rows) {
    CHSecsMessage message;
    SmlError error;
    EXPECT_FALSE(message.SetFromSml(row.sml, &error));
    EXPECT_EQ(error.missing, row.missing) << row.sml;
    EXPECT_EQ(error.atEnd, row.atEnd) << row.sml;
    EXPECT_EQ(error.reason, "parse error");
  }
}

TEST(MessageTree, LabelsItems) {
  const CHSecsMessage message =
      fromSml("s1f13w{<b 1 255><bool 1 0><a'x'><a2 'yz'><u4 1 2><f4 1.5>{}}");
  const TreeNode tree = MessageTree(message);
  EXPECT_TRUE(tree.expanded);
  EXPECT_EQ(toText(TreeView{{tree}}), "S1F13W\n"
                                      "  ffff810d000000000000\n"
                                      "  List (7 items)\n"
                                      "    01 ff\n"
                                      "    true false\n"
                                      "    'x' (1 bytes)\n"
                                      "    'yz' (2 bytes)\n"
                                      "    1 2\n"
                                      "    1.500000\n"
                                      "    List (0 items)\n");
}

TEST(MessageTree, ShowsTheDeepestItems) {
  std::string body;
  for (size_t i = 0; i < CHSecsItem::kMaxDepth; ++i)
    body += "0101";
  const std::string text = toText(TreeView{{MessageTree(fromBody(body + "a5012a"))}});
  EXPECT_TRUE(text.ends_with("List (1 items)\n" + std::string(258, ' ') + "42\n"));
}

} // namespace
} // namespace velto
