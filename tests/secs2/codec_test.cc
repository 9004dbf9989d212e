#include "secs2/support.h"
#include "support/table.h"

#include <malloc.h>

namespace velto {
namespace {

TEST(Codec, WritesTheStandardsBytes) {
  for (const TableRow &row : tableOf("secs2/codec.txt", "written"))
    EXPECT_EQ(bodyHex(row[0]), row[1]) << row[0];
  EXPECT_EQ(fromSml("s1f13w").GetMsg(), "ffff810d000000000000");
}

TEST(Codec, UsesTheFewestLengthBytes) {
  for (const size_t length : {255U, 256U, 300U, 65'535U, 65'536U, 1'000'000U}) {
    CHSecsMessage message;
    message.root.setText(std::string(length, 'x'), format::kAscii);
    Bytes bytes;
    ASSERT_TRUE(message.Encode(bytes));
    const size_t lengthBytes = length < 256 ? 1 : length < 65'536 ? 2 : 3;
    EXPECT_EQ(bytes[10], 0x40 | lengthBytes);
    EXPECT_EQ(bytes.size(), 10 + 1 + lengthBytes + length);
    CHSecsMessage back;
    ASSERT_TRUE(back.Decode(bytes));
    EXPECT_EQ(back.root.text(), message.root.text());
  }
}

TEST(Codec, StatesTheLengthOfListsAndCharacterSets) {
  const struct {
    uint8_t code;
    uint32_t count;
    const char *head;
  } rows[] = {{format::kList, 255, "01ff"},          {format::kList, 256, "020100"},
              {format::kList, 65'535, "02ffff"},     {format::kList, 65'536, "03010000"},
              {format::kMbcs, 253, "49ff0008"},      {format::kMbcs, 254, "4a01000008"},
              {format::kMbcs, 65'533, "4affff0008"}, {format::kMbcs, 65'534, "4b0100000008"}};
  for (const auto &row : rows) {
    CHSecsMessage message;
    if (row.code == format::kList)
      message.root.setList(std::vector<CHSecsItem>(row.count));
    else
      message.root.setText(std::string(row.count, 'x'), row.code);
    const std::string head = row.head;
    EXPECT_EQ(bodyHex(message).substr(0, head.size()), head);
  }
}

TEST(Codec, RefusesWhatIsTooLong) {
  CHSecsMessage message;
  const size_t room = CHSecsMessage::kMaxEncodedSize - CHSecsHeader::kSize - 4;
  message.root.setText(std::string(room, 'x'), format::kAscii);
  EXPECT_EQ(message.GetMsg().size(), 2 * CHSecsMessage::kMaxEncodedSize);
  message.root.setText(std::string(room + 1, 'x'), format::kAscii);
  EXPECT_EQ(message.GetMsg(), "");
  EXPECT_EQ(RenderSml(message), "");
  message.root.setList(std::vector<CHSecsItem>(0x1000000));
  EXPECT_EQ(message.GetMsg(), "") << "three length bytes cannot state 2^24 children";
}

TEST(Codec, DecodesWhateverArrives) {
  for (const TableRow &row : tableOf("secs2/codec.txt", "decoded")) {
    CHSecsMessage message = fromBody(row[0]);
    EXPECT_EQ(message.root.decodeError(), row[1] == "error") << row[0];
    EXPECT_EQ(RenderSml(message), "S1F1W\r\n" + (row[2].empty() ? "" : row[2] + "\r\n")) << row[0];
  }
}

TEST(Codec, ChildrenBeyondTheInputStayWithoutData) {
  CHSecsMessage message = fromBody("0103a50101a50102");
  ASSERT_EQ(message.root.children().size(), 3U);
  EXPECT_FALSE(message.root.children()[2].hasData());
  EXPECT_FALSE(message.root.children()[2].decodeError());
  EXPECT_EQ(bodyHex(message), "0103a50101a50102");
}

TEST(Codec, UnknownFormatsAndErrorsOfChildrenAreKept) {
  CHSecsMessage message = fromBody("0102fd0261620105");
  EXPECT_FALSE(message.root.decodeError());
  EXPECT_EQ(message.root.children()[0].count(), 2U);
  EXPECT_TRUE(message.root.children()[1].decodeError());
  EXPECT_EQ(bodyHex(message), "0102fd0261620100");
}

TEST(Codec, ConsumedCountsAddUp) {
  const struct {
    const char *bytes;
    size_t consumed;
  } rows[] = {{"", 0},           {"a50101ff", 3},     {"0101a50101ff", 5},
              {"0102a50101", 5}, {"a903000102ff", 5}, {"49010800", 3}};
  for (const auto &row : rows) {
    CHSecsItem item;
    EXPECT_EQ(DecodeItem(item, fromHex(row.bytes)), row.consumed) << row.bytes;
  }
}

TEST(Codec, HostileNestingEndsWithAnError) {
  std::string deep;
  for (int i = 0; i < 100'000; ++i)
    deep += "0101";
  CHSecsMessage message = fromBody(deep);
  size_t depth = 0;
  const CHSecsItem *item = &message.root;
  for (; !item->children().empty(); ++depth)
    item = &item->children()[0];
  EXPECT_EQ(depth, CHSecsItem::kMaxDepth);
  EXPECT_TRUE(item->decodeError());
  EXPECT_LT(RenderSml(message).size(), 100'000U);

  // Every level claims as many children as bytes are left: the claims are bounded as a whole.
  std::string wide;
  for (int i = 0; i < 100'000; ++i)
    wide += "0301869f";
  CHSecsMessage claims = fromBody(wide);
  size_t items = 0;
  forEachItem(claims.root, [&items](const CHSecsItem &) { ++items; });
  EXPECT_LT(items, 400'000U + 65'536U + 1000U);
}

TEST(Codec, WhatFollowsATooDeepListIsKept) {
  std::string body = "0102"; // the root: a chain of lists, and a number behind it
  for (size_t i = 1; i < CHSecsItem::kMaxDepth; ++i)
    body += "0101";
  body += "0103a501010101a50102a50103"; // one level too deep
  CHSecsMessage message = fromBody(body + "a5012a");
  EXPECT_EQ(valueAt(message, "2"), "42");
  EXPECT_NE(RenderSml(message).find("\r\n  <u1 42>\r\n}"), std::string::npos);
}

TEST(Codec, MemoryStaysProportionalToTheLeaves) {
  CHSecsMessage message;
  message.root.setList(std::vector<CHSecsItem>(300'001));
  for (CHSecsItem &leaf : message.root.children())
    leaf.setNumber(1, format::kU1);
  Bytes bytes;
  ASSERT_TRUE(message.Encode(bytes));
  message.root.clear();
  const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
  CHSecsMessage decoded;
  ASSERT_TRUE(decoded.Decode(bytes));
  const size_t used = mallinfo2().uordblks + mallinfo2().hblkhd - before;
  EXPECT_LT(used, 64 * 300'001U);
}

} // namespace
} // namespace velto
