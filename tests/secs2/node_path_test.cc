#include "secs2/node_path.h"
#include "secs2/support.h"
#include "support/table.h"

namespace velto {
namespace {

TEST(FindNode, WalksPaths) {
  CHSecsMessage message = fromSml("{<u1 1> {<u1 21> <u1 22>} <u1 3>}");
  for (const TableRow &row : tableOf("secs2/node_paths.txt", "find")) {
    const CHSecsItem *item = FindNode(message.root, row[0]);
    ASSERT_EQ(item != nullptr, row[1] != "none") << row[0];
    if (item == nullptr)
      continue;
    Bytes bytes(*EncodedItemSize(*item));
    EncodeItem(*item, bytes.data());
    EXPECT_EQ(toHex(bytes), row[1]) << row[0];
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
  for (const TableRow &row : tableOf("secs2/node_paths.txt", "put")) {
    SCOPED_TRACE(row[0] + " " + row[1] + " " + row[2]);
    CHSecsMessage message = fromSml(row[0]);
    std::string shown;
    message.messageBox = [&shown](const std::string &text) { shown += text; };
    message.setShowMessageBoxes(true);
    message.node = row[1];
    EXPECT_TRUE(message.SetFromSml(row[2])) << "true whatever the put does";
    EXPECT_EQ(bodyHex(message), row[3]);
    EXPECT_EQ(shown, row[4]);
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
