#include "platform/file.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace velto {
namespace {

/// Files whose operations can be made to fail.
class FaultyFiles : public FileSystem {
public:
  std::string failing;

  bool write(const std::string &path, std::string_view bytes) override {
    if (failing == "write") { // as when the disk is full half way through
      FileSystem::write(path, bytes.substr(0, bytes.size() / 2));
      return false;
    }
    return FileSystem::write(path, bytes);
  }
  bool rename(const std::string &from, const std::string &to) override {
    return failing != "rename" && FileSystem::rename(from, to);
  }
  bool syncDirectory(const std::string &path) override {
    return failing != "sync" && FileSystem::syncDirectory(path);
  }
};

class FileTest : public testing::Test {
protected:
  size_t entries() const {
    const std::filesystem::directory_iterator begin(directory_ / "");
    return static_cast<size_t>(std::distance(begin, std::filesystem::directory_iterator{}));
  }

  TemporaryDirectory directory_;
  std::string path_ = directory_ / "file";
  FileSystem &files_ = systemFiles();
};

TEST_F(FileTest, KeepsEveryByte) {
  std::string bytes(100'000, 'x');
  bytes[5] = '\0';
  ASSERT_TRUE(files_.write(path_, "longer than what follows"));
  ASSERT_TRUE(files_.write(path_, ""));
  EXPECT_EQ(files_.read(path_), "");
  ASSERT_TRUE(files_.append(path_, bytes));
  ASSERT_TRUE(files_.append(path_, "end"));
  EXPECT_EQ(files_.size(path_), bytes.size() + 3);
  EXPECT_EQ(files_.read(path_), bytes + "end");
  EXPECT_TRUE(files_.flush(path_));
  ASSERT_TRUE(files_.cut(path_, 5));
  EXPECT_EQ(files_.read(path_), bytes.substr(0, 5));
}

TEST_F(FileTest, ReportsWhatCannotBeDone) {
  const std::string nowhere = directory_ / "missing/file";
  EXPECT_EQ(files_.read(path_), std::nullopt);
  EXPECT_EQ(files_.size(path_), std::nullopt);
  EXPECT_EQ(files_.read(directory_ / ""), std::nullopt);
  EXPECT_EQ(files_.size(directory_ / ""), std::nullopt);
  EXPECT_FALSE(files_.remove(path_));
  EXPECT_FALSE(files_.rename(path_, directory_ / "other"));
  EXPECT_FALSE(files_.append(nowhere, "x"));
  EXPECT_FALSE(files_.flush(nowhere));
  EXPECT_FALSE(files_.cut(nowhere, 0));
  EXPECT_FALSE(files_.write(nowhere, "x"));
  EXPECT_FALSE(files_.replace(nowhere, "x"));
  EXPECT_FALSE(files_.syncDirectory(nowhere));
  EXPECT_FALSE(files_.write("/dev/full", "x")) << "a full disk";
}

TEST_F(FileTest, ListsTheFilesOfAFolder) {
  const std::string folder = directory_ / "a/b";
  EXPECT_EQ(files_.list(folder), std::nullopt);
  ASSERT_TRUE(files_.makeFolder(folder));
  EXPECT_TRUE(files_.makeFolder(folder)) << "there already";
  EXPECT_TRUE(files_.makeFolder(folder + "/below"));
  EXPECT_EQ(files_.list(folder), std::vector<std::string>{});
  ASSERT_TRUE(files_.write(folder + "/one", ""));
  EXPECT_EQ(files_.list(folder), std::vector<std::string>{"one"}) << "no folders";
  EXPECT_FALSE(files_.makeFolder(folder + "/one"));
  EXPECT_FALSE(files_.replace(folder, "x"));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(files_.list(folder + "/one"), std::nullopt);
}

TEST_F(FileTest, ReplacesInOneStep) {
  const struct {
    const char *failing;
    bool done;
    const char *contents;
  } cases[] = {
      {"", true, "new contents"},
      {"write", false, "old"},
      {"rename", false, "old"},
      {"sync", false, "new contents"}, // in place, but perhaps not on the disk yet
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.failing);
    FaultyFiles files;
    ASSERT_TRUE(files.write(path_, "old"));
    files.failing = c.failing;
    EXPECT_EQ(files.replace(path_, "new contents"), c.done);
    EXPECT_EQ(files_.read(path_), c.contents);
    EXPECT_EQ(entries(), 1U) << "nothing is left beside the file";
  }
}

TEST_F(FileTest, ReplacesRegularFilesOnly) {
  ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
  std::filesystem::create_symlink(path_, directory_ / "alias");
  std::filesystem::create_directory(directory_ / "folder");
  for (const char *name : {"file", "alias", "folder"})
    EXPECT_FALSE(files_.replace(directory_ / name, "x")) << name;
  EXPECT_TRUE(std::filesystem::is_fifo(path_));
  EXPECT_TRUE(std::filesystem::is_symlink(directory_ / "alias"));
  EXPECT_TRUE(std::filesystem::is_directory(directory_ / "folder"));
  EXPECT_EQ(entries(), 3U);
}

TEST_F(FileTest, ReplacesWhatALinkLeadsTo) {
  namespace fs = std::filesystem;
  const auto name = [this](const char *file) { return fs::path(directory_ / file); };
  fs::create_directory(name("folder"));
  fs::create_symlink("folder/target", name("relative"));
  fs::create_symlink(name("folder") / "other", name("absolute"));
  fs::create_symlink("relative", name("chain"));
  fs::create_symlink("missing/target", name("nowhere"));
  fs::create_symlink("circle", name("circle"));
  const struct {
    const char *link;
    const char *target;
    bool done;
  } rows[] = {
      {"relative", "folder/target", true}, // is made
      {"chain", "folder/target", true},    // is replaced
      {"absolute", "folder/other", true},  {"nowhere", "missing/target", false},
      {"circle", "circle", false},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(files_.replace(name(row.link), row.link), row.done) << row.link;
    EXPECT_TRUE(fs::is_symlink(fs::symlink_status(name(row.link)))) << row.link;
    EXPECT_EQ(files_.read(name(row.target)),
              row.done ? std::optional<std::string>(row.link) : std::nullopt);
  }
  EXPECT_EQ(entries(), 6U) << "nothing is left beside them";
}

TEST_F(FileTest, GivesASecondName) {
  const std::string second = directory_ / "second";
  EXPECT_FALSE(files_.link(path_, second)) << "no file";
  ASSERT_TRUE(files_.write(path_, "old"));
  ASSERT_TRUE(files_.link(path_, second));
  EXPECT_FALSE(files_.link(path_, second)) << "the name is taken";
  ASSERT_TRUE(files_.replace(path_, "new"));
  EXPECT_EQ(files_.read(second), "old");

  const std::string alias = directory_ / "alias";
  std::filesystem::create_symlink(path_, alias);
  ASSERT_TRUE(files_.link(alias, directory_ / "third"));
  EXPECT_FALSE(std::filesystem::is_symlink(directory_ / "third")) << "the file, not the way to it";
}

} // namespace
} // namespace velto
