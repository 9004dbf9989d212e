#include "secs2/verifier.h"

#include "secs2/structure.h"
#include "secs2/support.h"

namespace velto {
namespace {

TEST(ItemRule, MatchesWhatItNames) {
  const struct {
    const char *spec;
    std::vector<const char *> right;
    std::vector<const char *> wrong;
  } rows[] = {
      {"", {"<a>", "<a 'any'>"}, {"<b 1>", "<j 'x'>", "{}"}},
      {"whatever", {"<a 'x'>"}, {"<u1 1>"}},
      {"=6", {"<a '123456'>"}, {"<a '12345'>", "<a '1234567'>", "<b 1 2 3 4 5 6>"}},
      {"=0", {"<a>"}, {"<a 'x'>"}},
      {"<41",
       {"<a>", "<a '0123456789012345678901234567890123456789'>"},
       {"<a '01234567890123456789012345678901234567890'>"}},
      {"b|a", {"<b 1>", "<a 'x'>"}, {"<u1 1>", "<j 'x'>"}},
      {"u1|b", {"<u1 1>", "<b 1>"}, {"<u2 1>"}},
      {"i1|u1", {"<i1 1>", "<u1 1 2>"}, {"<i2 1>", "<b 1>"}},
      {"i2|u2", {"<i2 1>", "<u2 1>"}, {"<i1 1>"}},
      {"i1|u1|a", {"<i1 1>", "<u1 1>", "<a>"}, {"<b 1>"}},
      {"u*", {"<u1 1>", "<u2 1>", "<u4 1>", "<u8 1>"}, {"<i1 1>", "<b 1>"}},
      {"i*|u*", {"<i8 1>", "<u4>"}, {"<f4 1>", "<a '1'>"}},
      {"u*|a", {"<u8 1>", "<a>"}, {"<i1 1>"}},
      {"i*|u*|a", {"<i2 1>", "<u1 1>", "<a>"}, {"<b 1>", "<bool 1>"}},
      {"i*|u*|a|b", {"<b 1>", "<a>"}, {"<bool 1>"}},
      {"i*|u*|a|b|a2", {"<a2 'x'>", "<b>"}, {"<j 'x'>"}},
      {"i*|u*|a|b|bool|jis", {"<j 'x'>", "<bool 1>"}, {"<f4 1>", "<a2 'x'>"}},
      {"i*|u*|a|bool|f*", {"<f8 1>", "<bool 1>"}, {"<b 1>", "<j 'x'>"}},
      {"i*|u*|a|b|bool|f*|jis", {"<f4 1>", "<b 1>", "<j 'x'>"}, {"<a2 'x'>", "{}"}},
      {"@ABS", {"<b>", "<b 1 2>"}, {"<a>"}},
      {"@MHEAD", {"<b 0 1 2 3 4 5 6 7 8 9>"}, {"<b 1>", "<b 0 1 2 3 4 5 6 7 8 9 10>"}},
      {"@SHEAD", {"<b 0 1 2 3 4 5 6 7 8 9>"}, {"<a '0123456789'>"}},
      {"@CEID", {"<u4 1>", "<a 'x'>", "<i1 1>"}, {"<b 1>"}},
      {"@MDLN", {"<a>", "<a '123456'>"}, {"<a '1234567'>"}},
      {"@PPID", {"<a 'recipe'>", "<b 1>"}, {"<u1 1>"}},
      {"@ACK", {"<b 0>"}, {"<b>", "<b 0 0>", "<u1 0>"}},
      {"@PTN", {"<b 1>", "<u1 1>"}, {"<u1 1 2>", "<u2 1>"}},
      {"@NAK", {"<b 1>"}, {"<b 0>", "<b 1 1>"}},
      {"@ITEM", {"{}", "<a2>", "<f4>"}, {}},
      {"@NONE", {"{}", "<a>"}, {"{<a>}", "<u1 1>"}},
      {"i1|u1#1", {"<u1 1>"}, {"<u1>", "<u1 1 2>", "<u2 1>"}},
      {"@TIME",
       {"<a '240229235959'>", "<a '810101000000'>", "<a '000229000000'>", "<a '2024022923595999'>"},
       {"<a '230229000000'>", "<a '241301000000'>", "<a '240100000000'>", "<a '240431000000'>",
        "<a '240101240000'>", "<a '240101006000'>", "<a '240101000060'>", "<a '2401010000'>",
        "<a '24010100000x'>", "<a '2023022900000000'>", "<a '1900022900000000'>", "<a>"}},
      {"@TIMESTAMP", {"<a '2024022923595900'>"}, {"<a '240229235959'>", "<a '2024022923595'>"}},
  };
  for (const auto &row : rows) {
    const ItemRule spec = ItemRule::parse(row.spec);
    EXPECT_EQ(ItemRule::parse(spec.text()), spec) << row.spec;
    for (const char *sml : row.right)
      EXPECT_TRUE(spec.matches(fromSml(sml).root)) << row.spec << " " << sml;
    for (const char *sml : row.wrong)
      EXPECT_FALSE(spec.matches(fromSml(sml).root)) << row.spec << " " << sml;
    EXPECT_FALSE(spec.matches(CHSecsItem())) << row.spec;
  }
  EXPECT_TRUE(ItemRule::parse("@PPID").matches(fromSml("<a '" + std::string(80, 'x') + "'>").root));
  EXPECT_FALSE(
      ItemRule::parse("@PPID").matches(fromSml("<a '" + std::string(81, 'x') + "'>").root));
}

TEST(ItemRule, PrintsWhateverItParsed) {
  for (const char *text : {"@NAK#2", "@TIME#12", "@ITEM#3", "u*#0", "=99999999999", "<0", "#1"}) {
    const ItemRule spec = ItemRule::parse(text);
    EXPECT_EQ(ItemRule::parse(spec.text()), spec) << text;
  }
  EXPECT_EQ(ItemRule().text(), "");
}

TEST(Structure, MatchesBodies) {
  const struct {
    const char *structure;
    const char *body; ///< empty: no body
    bool matches;
    const char *path; ///< compared last
  } rows[] = {
      {"", "", true, ""},
      {"", "{<u1 1>}", true, ""},
      {"-", "", true, ""},
      {"-", "{}", false, ""},
      {"!", "", false, ""},
      {"{}", "{<u1 1> <a>}", true, ""},
      {"{}", "<a>", false, ""},
      {"{}", "", false, ""},
      {"{0}", "{}", true, ""},
      {"{0}", "{<a>}", false, ""},
      {"{<a> <u1>}", "{<a> <u1 1> <f4 1>}", true, "2"},
      {"{<a> <u1>}", "{<a>}", false, "2"},
      {"{<a> <u1>}", "{<u1 1>}", false, "1"},
      {"{<a> {<a> <b>}}", "{<a> {<a>}}", false, "2/2"},
      {"{<a> <u1>}", "{<a> <u2 1>}", false, "2"},
      {"{2 <a>}", "{<a> <u2 1>}", true, "1"},
      {"{2 <a>}", "{<a>}", false, ""},
      {"{<a'u*'>...}", "{}", true, ""},
      {"{<a'u*'>...}", "{<u1 1> <u4 1>}", true, "2"},
      {"{<a'u*'>...}", "{<u1 1> <i4 1> <u1 1>}", false, "2"},
      {"{<b> {<a> <u1>...}...}", "{<b> {<a> <u1> <u1>} {<a>}}", true, "3/1"},
      {"{<b> {<a> <u1>...}...}", "{<b> {<a> <u1> <u2>}}", false, "2/3"},
      {"<b 0>", "<b 7>", true, ""},
      {"<b 0>", "<b 7 7>", false, ""},
      {"<b>", "<b>", true, ""},
      {"{0} or {2 <b> <b>}", "{<b> <b>}", true, "2"},
      {"{0} or {2 <b> <b>}", "{<b>}", false, ""},
      {"<f4 0 0> or <j>", "<f4 1 2>", true, ""},
      {"{<a> ({0} or {<b> <b>})...}", "{<a> {} {<b> <b>}}", true, "3/2"},
      {"{<a> ({0} or {<b> <b>})...}", "{<a> {<b> <b>} {<b>}}", false, "3/2"},
      {"{({<a> (<b> or <u1>)} or <a>) <j>}", "{{<a> <u1>} <j>}", true, "2"},
  };
  for (const auto &row : rows) {
    const auto structure = Structure::parse(row.structure);
    ASSERT_TRUE(structure) << row.structure;
    EXPECT_EQ(structure->text(), row.structure);
    const CHSecsMessage message = *row.body == '\0' ? CHSecsMessage() : fromSml(row.body);
    std::string path = "old";
    EXPECT_EQ(structure->matches(message.root, path), row.matches) << row.structure << row.body;
    EXPECT_EQ(path, row.path) << row.structure << row.body;
  }
  for (const char *text :
       {"{", "<a", "{} {}", "x", "{...}", "{2 <a>...}", "<a> or", "<a> . .", "{<a>..}", "{-1 <a>}",
        "{4294967296 <a>}", "{(<a> or)}", "{(<a>}", "{()}", "(<a> <b>)"})
    EXPECT_FALSE(Structure::parse(text)) << text;
}

TEST(MessageTable, IsOrderedParsesAndBuildsWhatItProposes) {
  const MessageRow *before = nullptr;
  for (const MessageRow &row : messageTable()) {
    const std::string name = "S" + std::to_string(row.stream) + "F" + std::to_string(row.function);
    if (before != nullptr) {
      EXPECT_LT(before->stream * 256 + before->function, row.stream * 256 + row.function) << name;
    }
    before = &row;
    for (const char *body : {row.body, row.hostBody}) {
      if (body == nullptr)
        continue;
      const auto structure = Structure::parse(body);
      ASSERT_TRUE(structure) << name << " " << body;
      EXPECT_EQ(Structure::parse(structure->text()), structure) << name << " " << body;
    }
    EXPECT_EQ(findMessage(row.stream, row.function), &row) << name;
    if (row.wbit == WBit::Required) {
      CHSecsMessage reply;
      const auto function = static_cast<uint8_t>(row.function + 1);
      EXPECT_TRUE(MakeReply(reply, row.stream, function, true, row.proposal)) << name;
      EXPECT_EQ(reply.header.stream(), row.stream) << name;
      EXPECT_EQ(reply.header.function(), function) << name;
      EXPECT_FALSE(reply.header.wbit()) << name;
    } else {
      EXPECT_TRUE(row.proposal[0].empty() && row.refusal[0].empty()) << name;
    }
    if (row.function % 2 == 0) {
      EXPECT_EQ(row.wbit, WBit::Any) << name;
    }
  }
}

TEST(ReplyText, TextsArriveByteForByte) {
  const std::string name = std::string("it's\r\n\x80\xff*//") + '\0' + "x";
  CHSecsMessage message;
  ASSERT_TRUE(MakeReply(message, 1, 2, true, {name, "1.00"}));
  EXPECT_EQ(valueAt(message, "1"), "it's\r\n\x80\xff*//x");
  ASSERT_TRUE(MakeReply(message, 1, 14, true, {"300", "A", "B"}));
  EXPECT_EQ(RenderSml(message),
            "S1F14\r\n{\r\n  <b 0x2c>\r\n  {\r\n    <a 'A'>\r\n    <a 'B'>\r\n  }\r\n}\r\n");
  ASSERT_TRUE(MakeReply(message, 1, 14, false, {"0", "A", "B"}));
  EXPECT_EQ(RenderSml(message), "S1F14\r\n{\r\n  <b 0x00>\r\n  {\r\n  }\r\n}\r\n");
  EXPECT_FALSE(MakeReply(message, 1, 4, true, {"<u1 x>"}));
  EXPECT_FALSE(MakeReply(message, 11, 2, true));
}

TEST(Verifier, MatchesTemplates) {
  const struct {
    const char *body;
    const char *text;
    bool matches;
  } rows[] = {
      {"{<a '123456'> <a '1.0'>}", "{\t<a'@MDLN'>\t<a'@SOFTREV'>}", true},
      {"{<a '1234567'> <a '1.0'>}", "{\t<a'@MDLN'>\t<a'@SOFTREV'>}", false},
      {"{<a 'x'>}", "{}", true},
      {"<a 'x'>", "{}", false},
      {"{<u1 1 2> <a> <a>}", "{<u1 7 8> <a>}", true},
      {"{<u1 1 2>}", "{<u1 7>}", false},
      {"{<u1 1>}", "{1 <u1> ", false}, // does not parse
      {"<b 1>", "s1f1", false},
      {"{}", "<a'@ITEM'>", false}, // of the notation of the table alone
      {"<a 'x'>", "<a'@NAK'>", true},
      {"<a 'x'>", "<a'u*#1'>", true},
  };
  for (const auto &row : rows) {
    CHSecsVerifier slot;
    slot.message = fromSml(row.body);
    EXPECT_EQ(slot.MatchTemplate(row.text), row.matches) << row.body << " " << row.text;
  }
}

// An empty item often stands for everything, and so must not be what is left of a longer one.
TEST(Verifier, ItemsThatEndTooEarlyAreIllegal) {
  const struct {
    const char *message; ///< without the session ID
    int result;
  } rows[] = {
      {"8103000000000007b1040000", 2},                                         // S1F3W
      {"85030000000000070102210100b1040000", 2},                               // S5F3W
      {"820f00000000000701010102b10400000003b1040000", 2},                     // S2F15W, the value
      {"82210000000000070102b1040000000101010102b104000000010101b1040000", 3}, // S2F33W
      {"810100000000000701", 2},                                               // S1F1W
      {"010000000000000701", 2},                                               // S1F0
      // S3F35W, whose items the structure leaves open: whole, without its third item, and with a
      // list that holds none of its items.
      {"83230000000000070102a50101b10400000001", 0},
      {"83230000000000070103a50101a50102", 2},
      {"832300000000000701020100010b", 2},
      {"822b000000000007b1040000", 0}, // S2F43W: of any body
  };
  for (const auto &row : rows) {
    CHSecsVerifier slot;
    ASSERT_TRUE(slot.message.Decode(fromHex(std::string("0000") + row.message)));
    EXPECT_EQ(slot.Verify(true), row.result) << row.message;
  }
}

TEST(Verifier, ControlMessagesSuggestTheirResponse) {
  const struct {
    const char *header;
    bool hsmsMode;
    int result;
    const char *reply; ///< empty: none
  } rows[] = {
      {"ffff0000000100000007", true, 0, "ffff0000000200000007"},
      {"ffff0000000300000007", true, 0, "ffff0000000400000007"},
      {"ffff0000000500000007", true, 0, "ffff0000000600000007"},
      {"ffff0000000200000007", true, 0, ""},
      {"ffff0000000900000007", true, 0, ""},
      {"ffff8101000500000007", false, 0,
       "ffff0102000000000007"
       "0102"
       "41034b656c"
       "4104312e3030"},
  };
  CHSecsVerifier slot;
  for (const auto &row : rows) {
    ASSERT_TRUE(slot.message.SetMsg(row.header));
    EXPECT_EQ(slot.Verify(row.hsmsMode), row.result) << row.header;
    EXPECT_EQ(slot.partner()->replyValid, *row.reply != '\0') << row.header;
    if (slot.partner()->replyValid) {
      EXPECT_EQ(slot.partner()->message.GetMsg(), row.reply) << row.header;
    }
  }
}

TEST(Verifier, SecsIMessagesAreAnsweredWithoutTheWBit) {
  CHSecsVerifier slot;
  slot.isEquipmentSide = false;
  slot.message.header.hsms = false;
  CHSecsHeader counter;
  counter.hsms = false;
  counter.Reset(1, 1);
  const uint16_t before = counter.transactionId();
  for (const char *header :
       {"0005c001800100000007", "00058141800100000007", "00058101800500000007"}) {
    ASSERT_TRUE(slot.message.SetMsg(header));
    slot.Verify(false);
    EXPECT_TRUE(slot.partner()->replyValid) << header;
    EXPECT_FALSE(slot.partner()->message.header.wbit()) << header;
  }
  counter.Reset(1, 1);
  EXPECT_EQ(counter.transactionId(), static_cast<uint16_t>(before + 1)) << "no ID is used up";
}

TEST(Verifier, LeavesTheMessageAsItIs) {
  CHSecsVerifier slot;
  slot.isEquipmentSide = false;
  slot.message = fromSml("s6f11w{<u4 1><u4 2>{{<u4 3>{<u4 4> {<a 'list'>} <f4 1>}}}}");
  const std::string before = slot.message.GetMsg();
  EXPECT_EQ(slot.Verify(true), VerificationCorrect);
  EXPECT_EQ(slot.message.GetMsg(), before);
  slot.message = fromSml("s6f11w{<u4 1><u4 2>{{<u4 3>{<u4 4>}} <u1 5>}}");
  EXPECT_EQ(slot.Verify(true), VerificationIncorrect);
  EXPECT_EQ(slot.message.node, "3/2");
}

} // namespace
} // namespace velto
