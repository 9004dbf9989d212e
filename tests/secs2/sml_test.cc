#include "secs2/sml_parser.h"
#include "secs2/sml_tree.h"
#include "secs2/support.h"

#include <random>

namespace velto {
namespace {

TEST(SmlParser, BuildsWhatTheTextSays) {
  const struct {
    const char *sml;
    const char *hex; ///< null: refused
  } rows[] = {
      {"s1f13w{<a'abc'> <u4 1 2>}", "ffff810d0000000000000102"
                                    "4103616263"
                                    "b1080000000100000002"},
      {"S1F1W", "ffff8101000000000000"},
      {"{}", "ffff00000000000000000100"},
      {" \t\r\n ", "ffff0000000000000000"},
      {"SelectReq", "ffff0000000100000000"},
      {"separatereq", "ffff0000000900000000"},
      {"REJECTREQ", "ffff0000000700000000"},
      {"SelectRsp", "ffff0000000200000000"},
      {"DeselectReq", "ffff0000000300000000"},
      {"DeselectRsp", "ffff0000000400000000"},
      {"LinktestReq", "ffff0000000500000000"},
      {"LinktestRsp", "ffff0000000600000000"},
      {"s129f257w", "ffff8101000000000000"},
      {"s18446744073709551617f1", "ffff0101000000000000"},
      {"s1f1w .", nullptr},
      {"s1f1w <u1 1> <u1 2>", nullptr},
      {"SelectReq <u1 1>", nullptr},
      {"s1f1 s1f1", nullptr},
      {"s1 f1", nullptr},
      {"name: s1f1", nullptr},
      {"{", nullptr},
      {"}", nullptr},
      {"<a 'x", nullptr},
      {"/* open", nullptr},
  };
  for (const auto &row : rows) {
    CHSecsMessage message;
    ASSERT_EQ(message.SetFromSml(row.sml), row.hex != nullptr) << row.sml;
    if (row.hex != nullptr) {
      EXPECT_EQ(message.GetMsg(), row.hex) << row.sml;
    } else {
      EXPECT_EQ(message.header.idWord, 0) << "a refused text leaves the message reset";
    }
  }
}

TEST(SmlParser, BuildsItems) {
  const struct {
    const char *sml;
    const char *body; ///< null: refused
  } rows[] = {
      {"<u1 1.5>", nullptr},
      {"<f8 1 2.5>", "81103ff00000000000004004000000000000"},
      {"<f8 .5 -1.5e3 1.5E+1>", "81183fe0000000000000c097700000000000402e000000000000"},
      {"<f8 1.23456789>", "81083ff3c0ca600b0293"}, // six decimals: 1.234568
      {"<f4 1e5>", nullptr},
      {"<f4 1.>", nullptr},
      {"<b 'x'>", nullptr},
      {"<b 0x1f 2>", "21021f02"},
      {"<a 1 2>", "41020102"},
      {"<a 0x41 'B'>", "41024142"},
      {"<a 'A' -1 0 256 0x4142 0x10041>", "410541ff014142"},
      {"<A\t'x'>", "410178"},
      {"<j 'x'>", "450178"},
      {"<a2 'x'>", "490300"
                   "0878"},
      {"<a -256 0x4100 0x8000000000000041>", "41024141"},
      {"<a'12:30'>", "410531323a3330"},
      {"<i16 5>", "65020605"},
      {"{true}", "0100"},
      {"{2.5}", nullptr},
      {"<f4 -.5>", "9104bf000000"},
      {"<f4 1.5e+>", nullptr},
      {"<u1 0x>", nullptr},
      {"{}/*/", nullptr},
      {"<a21>", "490300"
                "0801"},
      {"<a ''>", "4100"},
      {"<a 'two\nlines'>", "410974776f0a6c696e6573"},
      {"<u1 256>", "a50100"},
      {"<i1 200>", "6501c8"},
      {"<u4 -1>", "b10400000000"},
      {"<u4 0xFFFFFFFF>", "b104ffffffff"},
      {"<u8 -1 18446744073709551617>", "a110ffffffffffffffff0000000000000001"},
      {"<i8 -1>", "6108ffffffffffffffff"},
      {"<i4 9007199254740993>", "710400000000"}, // passes through a double
      {"<BOOLEAN TRUE>", nullptr},
      {"<bool TRUE FALSE 3>", "2503010003"},
      {"<Bool true>", "250101"},
      {"<u3 1>", nullptr},
      {"<u1 +1>", nullptr},
      {"<u1 - 1>", nullptr},
      {"<u1 0X1>", nullptr},
      {"<u1 1}", "a50101"},
      {"<L [2] <u1 1> <u1 2>>", "0102a50101a50102"},
      {"<  l<u1 1>}", "0101a50101"},
      {"{2 <u1 1> <u1 2>}", "0102a50101a50102"},
      {"{2 3 <u1 1>}", nullptr},
      {"{<u1 1> 2}", nullptr},
      {"{ // one\n * two\n /* three\n four */ <u1[1] 1>}", "0101a50101"},
      {"{<u1 1>} * trailing", "0101a50101"},
      {"{<u1 1> [2\n]}", nullptr},
  };
  for (const auto &row : rows) {
    CHSecsMessage message;
    ASSERT_EQ(message.SetFromSml(row.sml), row.body != nullptr) << row.sml;
    if (row.body != nullptr) {
      EXPECT_EQ(bodyHex(message), row.body) << row.sml;
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
  const struct {
    const char *sml;
    int line;
    const char *token;
  } rows[] = {
      {"{\n<u1 1>\n<b 'x'>\n}", 3, "'x'"},
      {"s1f1w <u1 1> <u1", 1, "<u1"},
      {"{\n", 2, "."},
      {"<u1 1.5>", 1, "1.5"},
      {"s1f1 .", 1, "."},
      {"<BOOLEAN 1>", 1, "E"},
      {"label: {}", 1, "label:"},
  };
  for (const auto &row : rows) {
    CHSecsMessage message;
    SmlError error;
    EXPECT_FALSE(message.SetFromSml(row.sml, &error));
    EXPECT_EQ(error.line, row.line) << row.sml;
    EXPECT_EQ(error.token, row.token) << row.sml;
    EXPECT_EQ(error.reason, "parse error") << row.sml;
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
  const struct {
    const char *sml;
    const SmlContext *context;
    const char *text;
  } rows[] = {
      {"s1f1w", nullptr, "S1F1W\r\n"},
      {"SelectReq", nullptr, "SelectReq\r\n"},
      {"s6f12<b 0>", nullptr, "S6F12\r\n<b 0x00>\r\n"},
      {"{{}}", nullptr, "S0F0\r\n{\r\n  {\r\n  }\r\n}\r\n"},
      {"<a 'AB' 10 'C'>", nullptr, "S0F0\r\n<a 'AB' 0x0a 'C'>\r\n"},
      {"<a 39>", nullptr, "S0F0\r\n<a 0x27>\r\n"},
      {"<a>", nullptr, "S0F0\r\n<a>\r\n"},
      {"<j 'x' 1 2>", nullptr, "S0F0\r\n<j 'x' 0x01 0x02>\r\n"},
      {"<a2 'x'>", nullptr, "S0F0\r\n<a2 'x'>\r\n"},
      {"<bool 1 0 7>", nullptr, "S0F0\r\n<bool true false true>\r\n"},
      {"<i1 -1>", nullptr, "S0F0\r\n<i1 -1>\r\n"},
      {"<i2 -2 3>", nullptr, "S0F0\r\n<i2 -2 3>\r\n"},
      {"<i8 -9223372036854775808>", nullptr, "S0F0\r\n<i8 -9223372036854775808>\r\n"},
      {"<u8 18446744073709551615>", nullptr, "S0F0\r\n<u8 18446744073709551615>\r\n"},
      {"<f4 1.5>", nullptr, "S0F0\r\n<f4 1.500000>\r\n"},
      {"<f8 -0.0000004>", nullptr, "S0F0\r\n<f8 -0.000000>\r\n"},
      {"s1f13w{<a'ABC'><a'1.0'>}", nullptr,
       "S1F13W\r\n{\r\n  <a 'ABC'>         * MDLN\r\n  <a '1.0'>         * SOFTREV\r\n}\r\n"},
      {"s1f13w{<a'A name of nineteen and more'>{<u1 1>}}", nullptr,
       "S1F13W\r\n{\r\n  <a 'A name of nineteen and more'> * MDLN\r\n"
       "  {\r\n    <u1 1>\r\n  }                 * SOFTREV\r\n}\r\n"},
      {"s5f1w{<b 1><u4 5><a'x'>}", nullptr,
       "S5F1W\r\n{\r\n  <b 0x01>          * ALCD\r\n  <u4 5>            * ALID\r\n"
       "  <a 'x'>           * ALTX\r\n}\r\n"},
      {"s1f3w{<u4 5><u4 6>}", nullptr,
       "S1F3W\r\n{\r\n  <u4 5>            * SVID\r\n  <u4 6>            * SVID\r\n}\r\n"},
      {"s1f3w{<u4 5><u4 6>}", &names,
       "S1F3W\r\n{\r\n  <u4 5>            * Clock  x\r\n  <u4 6>            * SVID\r\n}\r\n"},
      {"s6f11w{<u4 1><u4 7>{}}", &names,
       "S6F11W\r\n{\r\n  <u4 1>\r\n  <u4 7>            * Started\r\n  {\r\n  }\r\n}\r\n"},
      {"s1f3w{{}<u4>}", &names,
       "S1F3W\r\n{\r\n  {\r\n  }                 * SVID\r\n  <u4>              * SVID\r\n}\r\n"},
      {"s6f11w{<u4 1><u4 8>{}}", &names,
       "S6F11W\r\n{\r\n  <u4 1>\r\n  <u4 8>            * CEID\r\n  {\r\n  }\r\n}\r\n"},
  };
  for (const auto &row : rows)
    EXPECT_EQ(RenderSml(fromSml(row.sml), row.context), row.text) << row.sml;
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
