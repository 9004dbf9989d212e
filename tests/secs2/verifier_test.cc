#include "secs2/message_table.h"
#include "secs2/reply_text.h"
#include "secs2/verifier.h"

#include "secs2/structure.h"
#include "secs2/support.h"
#include "support/table.h"

namespace velto {
namespace {

ItemRule earlyRule(std::string_view text) { return ItemRule::parse(text, E5Edition::Early); }

std::optional<Structure> earlyStructure(std::string_view text) {
  return Structure::parse(text, E5Edition::Early);
}

TEST(ItemRule, MatchesWhatItNames) {
  for (const TableRow &row : tableOf("secs2/verifier.txt", "item rules")) {
    const ItemRule spec = earlyRule(row[0]);
    EXPECT_EQ(earlyRule(spec.text()), spec) << row[0];
    for (size_t i = 2; i < row.cells.size(); ++i)
      EXPECT_EQ(spec.matches(fromSml(row[i]).root), row[1] == "yes") << row[0] << " " << row[i];
    EXPECT_FALSE(spec.matches(CHSecsItem())) << row[0];
  }
  EXPECT_TRUE(earlyRule("@PPID").matches(fromSml("<a '" + std::string(80, 'x') + "'>").root));
  EXPECT_FALSE(earlyRule("@PPID").matches(fromSml("<a '" + std::string(81, 'x') + "'>").root));
}

TEST(ItemRule, PrintsWhateverItParsed) {
  for (const char *text : {"@NAK#2", "@TIME#12", "@ITEM#3", "u*#0", "=99999999999", "<0", "#1"}) {
    const ItemRule spec = earlyRule(text);
    EXPECT_EQ(earlyRule(spec.text()), spec) << text;
  }
  EXPECT_EQ(ItemRule().text(), "");
}

TEST(Structure, MatchesBodies) {
  for (const TableRow &row : tableOf("secs2/verifier.txt", "structures")) {
    const auto structure = earlyStructure(row[0]);
    ASSERT_TRUE(structure) << row[0];
    EXPECT_EQ(structure->text(), row[0]);
    const CHSecsMessage message = row[1].empty() ? CHSecsMessage() : fromSml(row[1]);
    std::string path = "old";
    EXPECT_EQ(structure->matches(message.root, path), row[2] == "yes") << row[0] << row[1];
    EXPECT_EQ(path, row[3]) << row[0] << row[1];
  }
  for (const char *text :
       {"{", "<a", "{} {}", "x", "{...}", "{2 <a>...}", "<a> or", "<a> . .", "{<a>..}", "{-1 <a>}",
        "{4294967296 <a>}", "{(<a> or)}", "{(<a>}", "{()}", "(<a> <b>)"})
    EXPECT_FALSE(earlyStructure(text)) << text;
}

void expectWhole(const MessageRow &row, E5Edition edition) {
  const std::string name = "S" + std::to_string(row.stream) + "F" + std::to_string(row.function);
  const MessageRule &rule = row.of(edition);
  for (const char *body : {rule.body, rule.hostBody}) {
    if (body == nullptr)
      continue;
    const auto structure = Structure::parse(body, edition);
    ASSERT_TRUE(structure) << name << " " << body;
    EXPECT_EQ(structure->text(), body) << name;
  }
  if (rule.wbit == WBit::Required) {
    CHSecsMessage reply;
    const auto function = static_cast<uint8_t>(row.function + 1);
    EXPECT_TRUE(MakeReply(reply, row.stream, function, true, rule.proposal, edition)) << name;
    EXPECT_EQ(reply.header.stream(), row.stream) << name;
    EXPECT_EQ(reply.header.function(), function) << name;
    EXPECT_FALSE(reply.header.wbit()) << name;
  } else if (!rule.hasReply()) {
    EXPECT_TRUE(rule.proposal[0].empty() && rule.refusal[0].empty()) << name;
  }
  if (row.function % 2 == 0) {
    EXPECT_EQ(rule.wbit, WBit::Any) << name;
  }
}

TEST(MessageTable, IsOrderedParsesAndBuildsWhatItProposes) {
  const MessageRow *before = nullptr;
  for (const MessageRow &row : messageTable()) {
    if (before != nullptr) {
      EXPECT_LT(before->stream * 256 + before->function, row.stream * 256 + row.function);
    }
    before = &row;
    EXPECT_EQ(findMessage(row.stream, row.function), &row);
    for (const E5Edition edition : {E5Edition::Early, E5Edition::Current})
      expectWhole(row, edition);
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
  for (const TableRow &row : tableOf("secs2/verifier.txt", "templates")) {
    CHSecsVerifier slot;
    slot.message = fromSml(row[0]);
    EXPECT_EQ(slot.MatchTemplate(row[1]), row[2] == "yes") << row[0] << " " << row[1];
  }
}

// An empty item often stands for everything, and so must not be what is left of a longer one.
TEST(Verifier, ItemsThatAreNotWholeAreIllegal) {
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
      // A length that is no multiple of the element size.
      {"85030000000000070102210100b10300000b", 2},               // S5F3W
      {"85030000000000070102210100b1050000000b00", 2},           // S5F3W
      {"8103000000000007b10300000b", 2},                         // S1F3W
      {"81030000000000070102b10300000bb10400000001", 2},         // S1F3W, in a list
      {"82210000000000070102b10300000b0100", 3},                 // S2F33W
      {"82230000000000070102b1040000000101010102a901010100", 3}, // S2F35W, deeper
      {"822b000000000007b10300000b", 2},                         // S2F43W
      {"83230000000000070102a501010101a90101", 2},               // S3F35W, below any list
      {"c101000000000007b10300000b", 1},                         // S65F1W: of no structure
      // Bytes behind the item.
      {"85030000000000070102210100b1040000000b00", 2}, // S5F3W
      {"8103000000000007b1040000000100", 2},           // S1F3W
      {"82210000000000070102b10400000001010000", 3},   // S2F33W
      {"822b000000000007010001", 2},                   // S2F43W
      // A format code that the standard does not know.
      {"81010000000000072d0101", 2},         // S1F1W
      {"822b0000000000070102a50101fd00", 2}, // S2F43W
      // No length byte; an item that states the length 0 is right.
      {"8103000000000007b0", 2},                 // S1F3W
      {"810300000000000700", 2},                 // … a list
      {"81030000000000070102b000b100", 2},       // … in a list
      {"8103000000000007b100", 0},               //
      {"81030000000000070100", 0},               //
      {"85030000000000070102210100b0", 2},       // S5F3W
      {"85030000000000070102210100b100", 0},     //
      {"850500000000000700", 2},                 // S5F5W
      {"82210000000000070102b1040000000100", 3}, // S2F33W
      {"82230000000000070102b1040000000100", 3}, // S2F35W
      {"8225000000000007010225010100", 2},       // S2F37W
      {"822b000000000007b0", 2},                 // S2F43W, of any body
      // CEED without a value.
      {"8225000000000007010225000100", 2}, // S2F37W
      {"822500000000000701022501010100", 0},
  };
  for (const auto &row : rows) {
    CHSecsVerifier slot;
    ASSERT_TRUE(slot.message.Decode(fromHex(std::string("0000") + row.message)));
    EXPECT_EQ(slot.Verify(true), row.result) << row.message;
  }
}

// What was malformed is what arrived, not what is built of it or put in its place.
TEST(Verifier, OnlyWhatArrivedIsMalformed) {
  CHSecsVerifier slot;
  ASSERT_TRUE(slot.message.Decode(fromHex("000085030000000000070102210100b10300000b")));
  EXPECT_EQ(slot.Verify(true), VerificationIncorrect);
  CHSecsVerifier copy;
  copy.message.header = slot.message.header;
  copy.message.root = slot.message.root.clone();
  EXPECT_EQ(copy.Verify(true), VerificationIncorrect);
  EXPECT_FALSE(ReadsBackAsItIs(copy.message.root));
  Bytes bytes;
  ASSERT_TRUE(copy.message.Encode(bytes));
  ASSERT_TRUE(copy.message.Decode(bytes));
  EXPECT_EQ(copy.Verify(true), VerificationCorrect) << "the odd bytes are gone";
  slot.message.node = "2";
  ASSERT_TRUE(slot.message.SetFromSml("<i4 11>"));
  EXPECT_EQ(slot.Verify(true), VerificationCorrect);
}

TEST(Verifier, NamesTheItemAndTheRule) {
  for (const TableRow &row : tableOf("secs2/verifier.txt", "findings")) {
    CHSecsVerifier slot;
    slot.isEquipmentSide = row[0].find('e') != std::string::npos;
    slot.edition = row[0].find('1') != std::string::npos ? E5Edition::Current : E5Edition::Early;
    slot.message = fromSml(row[1]);
    const std::string before = slot.message.GetMsg();
    EXPECT_EQ(slot.FindingText(true), row[2]) << row[1];
    EXPECT_EQ(slot.message.GetMsg(), before);
    EXPECT_EQ(slot.Verify(true) <= VerificationUserDefined, row[2].empty()) << row[1];
  }
  const struct {
    const char *message; ///< without the session ID
    const char *finding;
  } rows[] = {
      {"85030000000000070102210100b10300000b", "S5F3 2: length is no multiple of 4"},
      {"83230000000000070102a501010101a90101", "S3F35 2/1: length is no multiple of 2"},
      {"8103000000000007b1040000000100", "S1F3: bytes behind the item"},
      {"822b0000000000070102a50101fd00", "S2F43 2: unknown format code 63"},
      {"8103000000000007b1040000", "S1F3: ends before its length says"},
      {"8221000000000007010100", "S2F33 1: has no length byte"},
      {"83230000000000070103a50101a50102", "S3F35 3: is announced and missing"},
      {"81030000000000070102b104", "S1F3 1: ends before its length says"},
      {"822b000000000007b1040000", ""},
      {"ffff0000000100000007", ""},
  };
  for (const auto &row : rows) {
    CHSecsVerifier slot;
    ASSERT_TRUE(slot.message.Decode(fromHex(std::string("0000") + row.message)));
    EXPECT_EQ(slot.FindingText(true), row.finding) << row.message;
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
