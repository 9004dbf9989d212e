#include "base/text.h"
#include "support/temporary_directory.h"
#include "transport/log/link_log.h"

#include <functional>

#include <gtest/gtest.h>

namespace velto {
namespace {

class LogFileTest : public testing::Test {
protected:
  std::string base() const { return directory_ / "Velto"; }
  void put(const std::string &suffix, std::string_view bytes) {
    ASSERT_TRUE(files_.write(base() + suffix, bytes));
  }
  std::string get(const std::string &suffix) {
    return files_.read(base() + suffix).value_or("none");
  }
  void append(int32_t backupCount, std::string_view text, uint32_t sizeLimit = 1) {
    CHLogFile log(base(), sizeLimit, backupCount, clock_);
    log.SetEnabled(true);
    log.Append(text);
  }

  TemporaryDirectory directory_;
  FileSystem &files_ = systemFiles();
  ManualClock clock_;
  const std::string full_ = std::string(1024, 'x');
};

TEST_F(LogFileTest, WritesRecordsWhenEnabled) {
  clock_.setLocalTime({2026, 3, 0, 4, 5, 6, 7, 8});
  CHLogFile log(base(), 1024, 1, clock_);
  log.Append("a");
  log.WriteStamped("b");
  log.WriteLine("c");
  EXPECT_EQ(get(".log"), "none");
  log.SetEnabled(true);
  log.Append("plain");
  log.WriteStamped("stamped");
  log.WriteLine("line");
  EXPECT_EQ(get(".log"), "plain"
                         "2026/03/04 05:06:07.008 stamped"
                         "2026/03/04 05:06:07.008\r\nline\r\n");
}

TEST_F(LogFileTest, ShiftsAFullLogIntoTheBackups) {
  put(".log", full_.substr(1));
  put("001.log", "first");
  put("002.log", "second");
  put("003.log", "third");
  append(3, "y");
  EXPECT_EQ(get("001.log"), "first") << "one byte was missing to the limit";
  append(3, "new");
  EXPECT_EQ(get(".log"), "new");
  EXPECT_EQ(get("001.log"), full_.substr(1) + "y");
  EXPECT_EQ(get("002.log"), "first");
  EXPECT_EQ(get("003.log"), "second");
  EXPECT_EQ(get("004.log"), "none");
}

TEST_F(LogFileTest, KeepsAsManyBackupsAsAsked) {
  const struct {
    int32_t backupCount;
    bool rotated;
  } cases[] = {{1, true}, {0, false}, {-1, false}};
  for (const auto &c : cases) {
    put(".log", full_);
    put("001.log", "old");
    append(c.backupCount, "new");
    EXPECT_EQ(get(".log"), c.rotated ? "new" : full_ + "new") << c.backupCount;
    EXPECT_EQ(get("001.log"), c.rotated ? full_ : "old") << c.backupCount;
  }
}

TEST_F(LogFileTest, RotatesAroundMissingBackups) {
  put(".log", full_);
  put("003.log", "third");
  append(4, "new");
  EXPECT_EQ(get("001.log"), full_);
  EXPECT_EQ(get("003.log"), "none");
  EXPECT_EQ(get("004.log"), "third");
}

TEST_F(LogFileTest, ALogThatCannotBeMovedGoesOnGrowing) {
  struct NoRename : FileSystem {
    bool rename(const std::string &, const std::string &) override { return false; }
  } files;
  put(".log", full_);
  CHLogFile log(base(), 1, 2, clock_, files);
  log.SetEnabled(true);
  log.Append("more");
  EXPECT_EQ(get(".log"), full_ + "more");
}

TEST_F(LogFileTest, ASizeLimitOf4GiBIsNotZero) {
  put(".log", full_);
  append(1, "more", 1U << 22); // 4 GiB
  EXPECT_EQ(get(".log"), full_ + "more");
}

TEST_F(LogFileTest, DropsARecordThatCannotBeWritten) {
  CHLogFile log(directory_ / "missing/Velto", 1, 1, clock_);
  log.SetEnabled(true);
  log.WriteLine("lost");
  EXPECT_EQ(files_.size(directory_ / "missing/Velto.log"), std::nullopt);
}

// The heading, the dump and the text of a message, and a text of the host.
TEST_F(LogFileTest, NoRecordIsLongerThanTheLog) {
  Bytes message = fromHex("ffff0601000000000000"
                          "0300c000");
  message.resize(100'000, 0);
  for (size_t i = 14; i < message.size(); i += 2)
    message[i] = 0xa5;
  for (const bool verbose : {false, true}) {
    for (const int32_t size : {1, 64}) {
      const LogSettings settings{
          .log = true, .verbose = verbose, .fileName = base(), .size = size, .backupCount = 0};
      const auto written = [&](const std::function<void(LinkLog &)> &record) {
        files_.remove(base() + ".log");
        LinkLog log(settings, "HSMS", clock_, files_);
        record(log);
        const std::string text = get(".log");
        EXPECT_LE(text.size(), static_cast<size_t>(size) * 1024);
        EXPECT_GT(text.size(), static_cast<size_t>(size) * 1024 - 100);
        EXPECT_NE(text.find("\r\n* cut short"), std::string::npos);
      };
      written([&](LinkLog &log) { log.received(message); });
      written([&](LinkLog &log) { log.sent(message); });
      written([&](LinkLog &log) { log.receivedSecsI(message, true); });
      written([&](LinkLog &log) { log.sendingSecsI(toHex(message), false); });
    }
  }
  files_.remove(base() + ".log");
  append(0, std::string(5000, 'x'));
  EXPECT_EQ(get(".log"), std::string(1024 - 15, 'x') + "\r\n* cut short\r\n");
}

} // namespace
} // namespace velto
