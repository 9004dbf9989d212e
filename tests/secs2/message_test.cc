#include "secs2/support.h"
#include "support/table.h"

#include <limits>

namespace velto {
namespace {

TEST(Formats, MapCodesTypesAndNames) {
  const struct {
    int type;
    uint8_t code;
    size_t size;
    const char *lower;
    const char *upper;
    const char *display;
  } rows[] = {
      {SecsList, 0, 1, "{", "<L", "List"},
      {SecsBinary, 8, 1, "<b", "<B", "Binary"},
      {SecsBoolean, 9, 1, "<bool", "<BOOLEAN", "bool"},
      {SecsAscii, 16, 1, "<a", "<A", "Ascii"},
      {SecsJis, 17, 1, "<j", "<J", "JIS 8"},
      {SecsAscii2, 18, 1, "<a2", "<A2", "MBCS"},
      {SecsLong8, 24, 8, "<i8", "<I8", "int64"},
      {SecsChar, 25, 1, "<i1", "<I1", "char"},
      {SecsShort, 26, 2, "<i2", "<I2", "short"},
      {SecsLong, 28, 4, "<i4", "<I4", "long"},
      {SecsDouble, 32, 8, "<f8", "<F8", "double"},
      {SecsFloat, 36, 4, "<f4", "<F4", "float"},
      {SecsDWord8, 40, 8, "<u8", "<U8", "uint64"},
      {SecsByte, 41, 1, "<u1", "<U1", "BYTE"},
      {SecsWord, 42, 2, "<u2", "<U2", "WORD"},
      {SecsDWord, 44, 4, "<u4", "<U4", "DWORD"},
      {SecsInvalid, 63, 1, "<?", "<?", "<?"},
      {SecsInvalid, 200, 1, "<?", "<?", "<?"},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(typeOf(row.code), row.type);
    EXPECT_EQ(formatOf(row.type), row.type == SecsInvalid ? 0 : row.code);
    EXPECT_EQ(elementSize(row.code), row.size);
    EXPECT_STREQ(TypeName(row.code, TypeNameMode::LowerTag), row.lower);
    EXPECT_STREQ(TypeName(row.code, TypeNameMode::UpperTag), row.upper);
    EXPECT_STREQ(TypeName(row.code, TypeNameMode::Display), row.display);
  }
  EXPECT_EQ(formatOf(-1), 0);
  EXPECT_EQ(formatOf(17), 0);
}

TEST(NodeValue, PrintsEveryFormatInBothForms) {
  for (const TableRow &row : tableOf("secs2/node_values.txt", "printed")) {
    CHSecsMessage message = fromSml(row[0]);
    EXPECT_EQ(valueAt(message, row[1], true), row[2]) << row[0] << " " << row[1];
    EXPECT_EQ(valueAt(message, row[1], false), row[3]) << row[0] << " " << row[1];
  }
}

TEST(NodeValue, CountAndTypeComeFromTheNode) {
  CHSecsMessage message = fromSml("{<u1 1 2> {} <a 'abc'>}");
  const struct {
    const char *path;
    int type;
    uint32_t count;
  } rows[] = {{"", SecsList, 3},
              {"1", SecsByte, 2},
              {"2", SecsList, 0},
              {"3", SecsAscii, 3},
              {"4", SecsInvalid, 0}};
  for (const auto &row : rows) {
    message.node = row.path;
    EXPECT_EQ(message.GetNodeType(), row.type) << row.path;
    EXPECT_EQ(message.GetNodeCount(), row.count) << row.path;
  }
}

int typeOfTag(const std::string &tag) {
  int type = SecsAscii2;
  while (type > SecsInvalid && tag != TypeName(formatOf(type), TypeNameMode::LowerTag))
    --type;
  return type;
}

TEST(SetNodeValue, StoresWhatTheTypeHolds) {
  for (const TableRow &row : tableOf("secs2/node_values.txt", "stored")) {
    CHSecsMessage message;
    EXPECT_TRUE(message.SetNodeValue(typeOfTag(row[0]), row[1]));
    EXPECT_EQ(bodyHex(message), row[2]) << row[0] << " " << row[1];
  }
}

TEST(SetNodeValue, AppendsReplacesAndRefuses) {
  CHSecsMessage message;
  EXPECT_TRUE(message.SetNodeValue(SecsByte, "1"));
  EXPECT_TRUE(message.SetNodeValue(SecsByte, "2"));
  EXPECT_EQ(bodyHex(message), "a5020102");
  EXPECT_FALSE(message.SetNodeValue(0, "2"));
  EXPECT_FALSE(message.SetNodeValue(17, "2"));
  EXPECT_EQ(bodyHex(message), "a5020102") << "an unknown type changes nothing";
  EXPECT_TRUE(message.SetNodeValue(SecsList, "")) << "a list at the root starts anew";
  message.node = "1";
  EXPECT_TRUE(message.SetNodeValue(SecsAscii, "x"));
  EXPECT_TRUE(message.SetNodeValue(SecsAscii, "yz"));
  message.node = "1/1";
  EXPECT_FALSE(message.SetNodeValue(SecsAscii, "no list above"));
  EXPECT_EQ(bodyHex(message), "0101410378797a");
}

TEST(Header, ResetFollowsTheMode) {
  CHSecsHeader header;
  header.Reset(0x81, 13);
  EXPECT_EQ(HeaderText(header, HeaderTextMode::Hex), "ffff010d000000000000");
  header.hsms = false;
  header.Reset(1, 13);
  const uint16_t first = header.transactionId();
  EXPECT_EQ(HeaderText(header, HeaderTextMode::Hex).substr(0, 16), "0001810d80010000");
  header.Reset(1, 13);
  EXPECT_EQ(header.transactionId(), first + 1);
  for (int i = 0; i < 65'535; ++i) {
    header.Reset(1, 13);
    ASSERT_NE(header.transactionId(), 0);
  }
  EXPECT_EQ(header.transactionId(), first + 1) << "65,535 IDs later, 0 being skipped";
}

TEST(Header, OfAMessageResetKeepsTheNode) {
  CHSecsMessage message = fromSml("s1f13w{<a 'x'>}");
  message.node = "1";
  message.Reset(7);
  EXPECT_EQ(message.GetMsg(), "00070000000000000000");
  EXPECT_EQ(message.node, "1");
}

TEST(Header, IsNamedByStreamAndFunctionOrSType) {
  const struct {
    const char *hex;
    bool hsms;
    const char *name;
  } rows[] = {
      {"0000810d000000000001", true, "S1F13W"},    {"0000010e000000000001", true, "S1F14"},
      {"ffff0000000100000001", true, "SelectReq"}, {"ffff0000000900000001", true, "SeparateReq"},
      {"ffff0000000700000001", true, "RejectReq"}, {"ffff0102000800000001", true, "S1F2"},
      {"ffff0102000a00000001", true, "S1F2"},      {"00018101800100000001", false, "S1F1W"},
  };
  for (const auto &row : rows) {
    CHSecsMessage message;
    message.header.hsms = row.hsms;
    ASSERT_TRUE(message.SetMsg(row.hex));
    EXPECT_EQ(HeaderText(message.header, HeaderTextMode::Name), row.name);
    EXPECT_EQ(HeaderText(message.header, HeaderTextMode::HexAndName),
              std::string(row.hex) + "\r\n" + row.name);
  }
}

TEST(HexadecimalText, NeedsTenBytes) {
  CHSecsMessage message = fromSml("s1f1w");
  const std::string before = message.GetMsg();
  std::string shown;
  message.messageBox = [&shown](const std::string &text) { shown += text; };
  EXPECT_FALSE(message.SetMsg("ffff810100000000000"));
  EXPECT_EQ(shown, "");
  message.setShowMessageBoxes(true);
  EXPECT_FALSE(message.SetMsg(""));
  EXPECT_EQ(shown, "Invalid string");
  EXPECT_EQ(message.GetMsg(), before);
  EXPECT_TRUE(message.SetMsg("FFFF8102000000000007A5")) << "upper case, odd digit dropped";
  EXPECT_EQ(message.GetMsg().substr(0, 20), "ffff8102000000000007");
  EXPECT_EQ(message.header.length, CHSecsHeader::kUnknownLength);
}

TEST(Item, CopiesAreIndependent) {
  CHSecsMessage message = fromSml("{<u4 1 2 3 4 5 6 7 8> {<a 'x'>} {{<b>} {}}}");
  const std::string before = RenderSml(message);
  message.root.children()[1].setDecodeError(true);
  CHSecsItem copy = message.root.clone();
  message.root.clear();
  EXPECT_EQ(EncodedItemSize(copy), 2 + 34 + 2 + 3 + 2 + 4 + 2U);
  EXPECT_TRUE(copy.children()[1].decodeError());
  EXPECT_FALSE(copy.decodeError());
  message.root = std::move(copy);
  EXPECT_EQ(RenderSml(message), before);
}

TEST(Item, TakesItsOwnChildOrText) {
  CHSecsMessage message = fromSml("{{<a 'a text that is longer than an item'>}}");
  message.root = std::move(message.root.children()[0]);
  message.root.assignFrom(std::move(message.root.children()[0]));
  message.root.setText(message.root.text().substr(2, 4), format::kJis);
  EXPECT_EQ(message.root.text(), "text");
}

TEST(Item, AnyDepthIsDestroyedWithoutRecursion) {
  CHSecsItem root;
  root.setList();
  for (int i = 0; i < 1'000'000; ++i) {
    CHSecsItem outer;
    outer.setList();
    outer.appendChild(std::move(root));
    root = std::move(outer);
  }
  EXPECT_TRUE(root.clone().isList());
}

} // namespace
} // namespace velto
