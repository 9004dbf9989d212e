#include "secs2/node_path.h"
#include "secs2/support.h"

namespace velto {
namespace {

TEST(FindNode, WalksPaths) {
  CHSecsMessage message = fromSml("{<u1 1> {<u1 21> <u1 22>} <u1 3>}");
  const struct {
    const char *path;
    const char *body; ///< of the item found; null: none
  } rows[] = {
      {"3", "a50103"},
      {"/3", "a50103"},
      {"4", nullptr},
      {"2/2", "a50116"},
      {"2/3", nullptr},
      {"1/1", nullptr},
      {"x", nullptr},
      {"x/1", nullptr},
      {"-1", nullptr},
      {"/", nullptr},
      {"2/", nullptr},
      {"3[0]", "a50103"},
      {"3(7)", "a50103"},
      {"3/[0]", "a50103"},
      {"3 rest", "a50103"},
      {" +3", "a50103"},
      {"2/0/5", "0102a50115a50116"},
      {"2/[1]/5", "0102a50115a50116"},
      {"4294967299", "a50103"},
  };
  for (const auto &row : rows) {
    const CHSecsItem *item = FindNode(message.root, row.path);
    ASSERT_EQ(item != nullptr, row.body != nullptr) << row.path;
    if (item == nullptr)
      continue;
    Bytes bytes(*EncodedItemSize(*item));
    EncodeItem(*item, bytes.data());
    EXPECT_EQ(toHex(bytes), row.body) << row.path;
  }
  for (const char *path : {"", "0", "[0]", "(0)"})
    EXPECT_EQ(FindNode(message.root, path), &message.root) << path;
}

TEST(FindNode, FindsNothingInAnEmptyMessage) {
  CHSecsMessage message;
  for (const char *path : {"", "0", "1", "[0]"})
    EXPECT_EQ(FindNode(message.root, path), nullptr) << path;
}

TEST(PutNode, ReplacesAppendsAddsAndFails) {
  const struct {
    const char *message;
    const char *path;
    const char *item;
    const char *result;
    const char *shown;
  } rows[] = {
      {"{<u4 1 2>}", "1", "<u4 5>", "0101b10c000000010000000200000005", ""},
      {"{<u4 1 2> <u1 9>}", "1", "<a 'x'>", "0102410178a50109", ""},
      {"{<a 'x'>}", "1", "{<u1 1>}", "01010101a50101", ""},
      {"{{<u1 1> <u1 2>}}", "1/7", "<u1 3>", "01010103a50101a50102a50103", ""},
      {"{}", "1", "{}", "01010100", ""},
      {"{{}}", "1", "{<u1 1>}", "01010100", "Cannot create list array."},
      {"{<u1 1>}", "3/1", "<u1 2>", "0101a50101", "Cannot find parent node."},
      {"{<u1 1> <u1 2>}", "2/1", "<u1 3>", "0102a50101a50102", ""},
      {"<u1 1>", "[0]", "<u1 2>", "a5020102", ""},
      {"s1f1", "1", "<u1 2>", "", "Cannot find parent node."},
  };
  for (const auto &row : rows) {
    CHSecsMessage message = fromSml(row.message);
    std::string shown;
    message.messageBox = [&shown](const std::string &text) { shown += text; };
    message.setShowMessageBoxes(true);
    message.node = row.path;
    EXPECT_TRUE(message.SetFromSml(row.item)) << "true whatever the put does";
    EXPECT_EQ(bodyHex(message), row.result) << row.message << " " << row.path << " " << row.item;
    EXPECT_EQ(shown, row.shown) << row.message << " " << row.path << " " << row.item;
  }
}

TEST(PutNode, ShowsItsErrorsInAMessageThatWasMoved) {
  CHSecsMessage shows;
  std::string shown;
  shows.messageBox = [&shown](const std::string &text) { shown += text; };
  shows.setShowMessageBoxes(true);
  CHSecsMessage message;
  message = std::move(shows);
  message.node = "1";
  EXPECT_FALSE(message.SetNodeValue(SecsByte, "1"));
  EXPECT_EQ(shown, "Cannot find parent node.");
}

TEST(PutNode, NeverBuildsDeeperThanCanBeDecoded) {
  CHSecsMessage message = fromSml("{}");
  std::string path;
  for (size_t i = 1; i < CHSecsItem::kMaxDepth; ++i) {
    path += path.empty() ? "1" : "/1";
    message.node = path;
    ASSERT_TRUE(message.SetNodeValue(SecsList, "")) << i;
  }
  message.node = path + "/1";
  EXPECT_FALSE(message.SetNodeValue(SecsList, ""));
  EXPECT_TRUE(message.SetNodeValue(SecsByte, "1"));
  message.node = path.substr(0, path.size() - 2) + "/2";
  EXPECT_TRUE(message.SetFromSml("{<u1 1>}"));
  EXPECT_TRUE(message.SetFromSml("<u1 1>")) << "a list may be replaced";
  EXPECT_TRUE(message.SetFromSml("{{}}"));
  EXPECT_EQ(valueAt(message, message.node), "1") << "but not by one that nests too deep";
  const std::string hex = message.GetMsg();
  CHSecsMessage back;
  ASSERT_TRUE(back.SetMsg(hex));
  EXPECT_EQ(back.GetMsg(), hex);
}

TEST(DeleteNode, RemovesTheItemFromItsList) {
  const struct {
    const char *path;
    const char *result;
  } rows[] = {{"1", "0101a50102"},
              {"2", "0101a50101"},
              {"3", "0102a50101a50102"},
              {"0", "0102a50101a50102"},
              {"1/1", "0102a50101a50102"}};
  for (const auto &row : rows) {
    CHSecsMessage message = fromSml("s1f1w {<u1 1> <u1 2>}");
    message.node = row.path;
    EXPECT_TRUE(message.SetFromSml(""));
    EXPECT_EQ(bodyHex(message), row.result) << row.path;
    EXPECT_EQ(message.header.stream(), 1);
  }
}

} // namespace
} // namespace velto
