// The model data file: its bytes, what is refused, and that a save never loses a model.
#include "gem/data/data_file.h"

#include "gem/data/archive.h"
#include "support/temporary_directory.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace velto {
namespace {

// Builds a file by hand; "s" is a byte string that may hold zeros.
std::string number(uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i)
    text += static_cast<char>(value >> (8 * i));
  return text;
}
std::string u16(uint32_t value) { return number(value, 2); }
std::string u32(uint32_t value) { return number(value, 4); }
std::string text(const std::string &value) {
  return number(static_cast<uint32_t>(value.size()), 1) + value;
}
std::string newClass(const std::string &name, uint32_t schema = 1) {
  return u16(0xFFFF) + u16(schema) + u16(static_cast<uint32_t>(name.size())) + name;
}

const std::string kCommunication = "\x01\x02"
                                   "EQ\x03"
                                   "1.0\x01";
const std::string kControl = "\x04\x02\x02\x04";

// The start of every file up to the count of the events; class 9 and object 10 are the last.
std::string head(uint32_t schema = 2, const std::string &communication = kCommunication) {
  return newClass("CHGem") + std::string(1, '\0') + newClass("CHGemCommunicationModel", schema) +
         communication + newClass("CHGemControlModel") + kControl + newClass("CHGemEventModel") +
         newClass("CHGemEventCeidList");
}

// What follows the events when all other lists are empty.
std::string emptyRest() {
  return newClass("CHGemEventReportList") + u16(0) + newClass("CHGemEventVidList") + u16(0) +
         newClass("CHGemAlarmModel") + u16(0);
}

GemData sampleModel() {
  GemData data;
  data.communication = {1, "EQ", "1.0", true};
  data.events.Add({7, "started", true, {1, 2}, 4});
  data.events.Add({9, "", false, {}, kNoRole});
  data.reports.Add({2, "", {}});
  data.reports.Add({1, "data", {5}});
  CHGemEventVid pressure;
  pressure.vid = 5;
  pressure.kind = EquipmentConstant;
  pressure.nodeType = SecsFloat;
  pressure.setMinimum("-1.5");
  pressure.setMaximum("20");
  pressure.setDefaultValue("3");
  pressure.setUnit("Torr");
  pressure.setDescription(std::string(300, 'd'));
  pressure.setRawValue("<f4 3.000000>");
  pressure.role = RoleTimeFormat;
  data.variables.Add(pressure);
  data.alarms.Add({3, 0x84, "hot", false});
  return data;
}

std::string sampleFile() {
  return head() + u16(2) + newClass("CHGemEventCeid") + u32(7) + "\x01" + text("started") + "\x04" +
         u16(2) + u32(1) + u32(2) +
         // the second event: class 11 again
         u16(0x800B) + u32(9) + std::string(1, '\0') + text("") + "\xFF" + u16(0) +
         newClass("CHGemEventReportList") + u16(2) + newClass("CHGemEventReport") + u32(2) +
         text("") + u16(0) + u16(0x8010) + u32(1) + text("data") + u16(1) + u32(5) +
         newClass("CHGemEventVidList") + u16(1) + newClass("CHGemEventVid") + u32(5) + "\x01\x0B" +
         text("-1.5") + text("20") + text("3") + text("Torr") + "\xFF\x2C\x01" +
         std::string(300, 'd') + text("<f4 3.000000>") + "\x0C" + newClass("CHGemAlarmModel") +
         u16(1) + newClass("CHGemAlarmAlid") + u32(3) + "\x84" + std::string(1, '\0') + text("hot");
}

bool same(const GemData &a, const GemData &b) {
  return a.changePCClock == b.changePCClock && a.communication == b.communication &&
         a.control == b.control && a.events == b.events && a.reports == b.reports &&
         a.variables == b.variables && a.alarms == b.alarms;
}

void expectRoundTrip(const GemData &data) {
  const std::string bytes = storeGemData(data);
  const auto back = loadGemData(bytes);
  ASSERT_TRUE(back);
  EXPECT_TRUE(same(*back, data));
}

TEST(DataFile, HasTheBytesOfTheArchive) {
  const GemData data = sampleModel();
  EXPECT_EQ(storeGemData(data), sampleFile());
  const auto loaded = loadGemData(sampleFile());
  ASSERT_TRUE(loaded);
  EXPECT_TRUE(same(*loaded, data));

  GemData empty;
  empty.communication = data.communication;
  EXPECT_EQ(storeGemData(empty), head() + u16(0) + emptyRest());
  expectRoundTrip(empty);
}

TEST(DataFile, ReadsTheOlderCommunicationModel) {
  for (const uint32_t schema : {0U, 1U}) {
    const auto loaded = loadGemData(head(schema, "\x01\x02"
                                                 "EQ\x03"
                                                 "1.0") +
                                    u16(0) + emptyRest());
    ASSERT_TRUE(loaded) << schema;
    EXPECT_EQ(loaded->communication, (CommunicationSettings{1, "EQ", "1.0", true}));
  }
  EXPECT_TRUE(loadGemData(head(77) + u16(0) + emptyRest())) << "any schema is read as the newest";
}

TEST(DataFile, SortsListsThatAreOutOfOrder) {
  std::string bytes = head() + u16(3) + newClass("CHGemEventCeid");
  for (const uint32_t ceid : {9U, 2U, 5U})
    bytes += (ceid == 9 ? "" : u16(0x800B)) + u32(ceid) + "\x01" + text("") + "\xFF" + u16(0);
  const auto loaded = loadGemData(bytes + emptyRest());
  ASSERT_TRUE(loaded);
  ASSERT_EQ(loaded->events.Count(), 3U);
  EXPECT_EQ(loaded->events.numberAt(0), 2);
  EXPECT_EQ(loaded->events.numberAt(2), 9);
}

TEST(DataFile, RefusesWhatIsNoModel) {
  const std::string event = u32(7) + "\x01" + text("") + "\xFF" + u16(0);
  const std::string first = newClass("CHGemEventCeid") + event;
  const struct {
    const char *what;
    std::string bytes;
  } cases[] = {
      {"nothing", ""},
      {"another first class", newClass("CHGemEvent") + sampleFile().substr(11)},
      {"no object", u16(0)},
      {"bytes behind the end", sampleFile() + std::string(1, '\0')},
      {"an unknown class", head() + u16(1) + newClass("CObject") + event + emptyRest()},
      {"an object of another list",
       head() + u16(1) + newClass("CHGemAlarmAlid") + event + emptyRest()},
      {"a missing element", head() + u16(1) + u16(0) + emptyRest()},
      {"an object twice", head() + u16(2) + first + u16(12) + emptyRest()},
      {"an object twice, long form", head() + u16(2) + first + u16(0x7FFF) + u32(12) + emptyRest()},
      {"an object's number as class", head() + u16(2) + first + u16(0x800C) + event + emptyRest()},
      {"another class's number", head() + u16(1) + u16(0x8009) + event + emptyRest()},
      {"a class that is not there", head() + u16(1) + u16(0x8FFF) + event + emptyRest()},
      {"a number twice", head() + u16(2) + first + u16(0x800B) + event + emptyRest()},
      {"a report's number twice",
       head() + u16(0) + newClass("CHGemEventReportList") + u16(2) + newClass("CHGemEventReport") +
           u32(1) + text("") + u16(0) + u16(0x800D) + u32(1) + text("") + u16(0) +
           newClass("CHGemEventVidList") + u16(0) + newClass("CHGemAlarmModel") + u16(0)},
      {"a huge count", head() + u16(0xFFFF) + u32(0xFFFFFFFF) + first},
      {"a text of two-byte characters", head(2, std::string("\x01\xFF\xFE\xFF\x02"
                                                            "E\0Q\0",
                                                            9))},
      {"a huge text", head(2, "\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
                              "EQ")},
  };
  for (const auto &c : cases)
    EXPECT_FALSE(loadGemData(c.bytes)) << c.what;
  EXPECT_TRUE(loadGemData(head() + u16(1) + first + emptyRest())) << "what they are made of";
}

TEST(DataFile, RefusesEveryTruncationAndSurvivesMutations) {
  const std::string file = sampleFile();
  for (size_t size = 0; size < file.size(); ++size)
    EXPECT_FALSE(loadGemData(file.substr(0, size))) << size;

  std::mt19937 random(7);
  const auto below = [&](size_t limit) { return random() % limit; };
  int valid = 0;
  for (int i = 0; i < 40'000; ++i) {
    std::string bytes = file;
    for (size_t changes = 1 + below(3); changes != 0; --changes) {
      const size_t at = below(bytes.size());
      const std::string piece = file.substr(below(file.size()), below(8));
      if (below(4) == 0)
        bytes.replace(at, below(8), piece);
      else
        bytes[at] = static_cast<char>(random());
    }
    if (const auto loaded = loadGemData(bytes)) {
      expectRoundTrip(*loaded);
      ++valid;
    }
  }
  EXPECT_GT(valid, 1000);
}

TEST(DataFile, KeepsTextsOfEveryLength) {
  for (const size_t size : {0UL, 1UL, 254UL, 255UL, 65533UL, 65534UL, 65535UL, 200'000UL}) {
    GemData data;
    data.communication.modelName = std::string(size, '\xFE');
    data.communication.softwareRevision = std::string("\0'\r\n", 4);
    expectRoundTrip(data);
    const size_t prefix = size < 255 ? 1 : size < 65534 ? 3 : 7;
    EXPECT_EQ(storeGemData(data).size(), storeGemData(GemData{}).size() + size + prefix - 1 + 4);
    const size_t room = kMaxDataFile - storeGemData(data).size();
    EXPECT_TRUE(canBeSaved(data, room) && !canBeSaved(data, room + 1)) << size;
  }
}

TEST(DataFile, LeavesNothingBehindInVariablesThatOutliveIt) {
  CHGemEventVid copied;
  CHGemEventVid moved;
  CHGemEventVidList list;
  {
    auto first = loadGemData(sampleFile());
    auto second = loadGemData(sampleFile());
    ASSERT_TRUE(first && second);
    copied = first->variables.at(0);
    list.CopyFrom(first->variables);
    first->variables.at(0).setUnit("Pa");
    EXPECT_EQ(first->variables.at(0).description(), std::string(300, 'd'));
    *first = std::move(*second);
    EXPECT_EQ(first->variables.at(0).unit(), "Torr");
    moved = std::move(first->variables.at(0));
  }
  const GemData expected = sampleModel();
  EXPECT_EQ(copied, expected.variables.at(0));
  EXPECT_EQ(moved, expected.variables.at(0));
  EXPECT_EQ(list, expected.variables);
}

// Classes and objects beyond the 32766th are numbered in 32 bits; lists of 65535 have long counts.
TEST(DataFile, KeepsManyObjects) {
  for (const uint32_t size : {0x7FF2U, 0x7FF3U, 0x7FF4U, 0x7FF5U, 70'000U}) {
    GemData data;
    for (uint32_t i = 1; i <= size; ++i) {
      data.events.Add({i, "", true, {}, kNoRole});
      data.alarms.Add({i, 1, "", true});
    }
    data.reports.Add({1, "", std::vector<uint32_t>(size, 5)});
    data.reports.Add({2, "", {}});
    expectRoundTrip(data);
  }
  ArchiveWriter writer;
  const ArchiveClass odd{"Odd"};
  const ArchiveClass even{"Even"};
  for (int i = 0; i < 0x7FFD; ++i)
    writer.object(odd); // class 1, objects 2 to 0x7FFE
  writer.object(even);  // class 0x7FFF
  const size_t size = writer.bytes().size();
  writer.object(even);
  EXPECT_EQ(writer.bytes().substr(size), u16(0x7FFF) + u32(0x80007FFF));
}

/// Files of which one operation fails, or which a crash leaves as they are from one operation on.
class FaultyFiles : public FileSystem {
public:
  int failing = std::numeric_limits<int>::max(); ///< which operation, from 0
  bool crash = false;                            ///< and all that follow
  bool links = true;
  std::string broken; ///< "write", "rename" or "sync" of `target`: what always fails
  std::string target;

  int operations() const { return operations_; }

  bool write(const std::string &path, std::string_view bytes) override {
    if (works() && !isBroken("write", path, ".new"))
      return FileSystem::write(path, bytes);
    if (operations_ - 1 == failing)
      FileSystem::write(path, bytes.substr(0, bytes.size() / 2));
    return false;
  }
  bool rename(const std::string &from, const std::string &to) override {
    return works() && !isBroken("rename", to) && FileSystem::rename(from, to);
  }
  bool remove(const std::string &path) override { return works() && FileSystem::remove(path); }
  bool link(const std::string &path, const std::string &name) override {
    return links && works() && FileSystem::link(path, name);
  }
  bool syncDirectory(const std::string &path) override {
    return works() && !isBroken("sync", path) && FileSystem::syncDirectory(path);
  }

private:
  bool isBroken(std::string_view operation, const std::string &path,
                const char *suffix = "") const {
    return broken == operation && path == target + suffix;
  }
  bool works() {
    const int operation = operations_++;
    return crash ? operation < failing : operation != failing;
  }
  int operations_ = 0;
};

class SaveTest : public testing::Test {
protected:
  std::string contents(const std::string &suffix = "") {
    return readDataFile(systemFiles(), path_ + suffix).value_or("-");
  }

  TemporaryDirectory directory_;
  std::string path_ = directory_ / "model.kel";
};

TEST_F(SaveTest, KeepsTheNumberOfBackups) {
  FaultyFiles files;
  for (const bool links : {true, false}) {
    files.links = links;
    for (const char *model : {"1", "2", "3", "4", "5"})
      ASSERT_TRUE(saveDataFile(files, path_, 3, model));
    EXPECT_EQ(contents() + contents("001") + contents("002") + contents("003") + contents("004"),
              "5432-");
  }
  ASSERT_TRUE(saveDataFile(files, path_, 1, "6"));
  EXPECT_EQ(contents() + contents("001") + contents("002"), "653") << "others are left alone";
  for (const int none : {0, -1}) {
    ASSERT_TRUE(saveDataFile(files, path_, none, "7"));
    EXPECT_EQ(contents() + contents("001"), "75");
  }
  EXPECT_EQ(contents(".new"), "-");
}

TEST_F(SaveTest, NeverLosesTheModel) {
  const std::string old = "the old model";
  const std::string fresh = "a longer and newer model";
  for (const bool links : {true, false}) {
    for (const bool crash : {false, true}) {
      for (int failing = 0;; ++failing) {
        SCOPED_TRACE(testing::Message() << links << crash << failing);
        for (const char *suffix : {"", "000", "001", "002", ".new"})
          systemFiles().remove(path_ + suffix);
        ASSERT_TRUE(saveDataFile(systemFiles(), path_, 2, "the oldest model"));
        ASSERT_TRUE(saveDataFile(systemFiles(), path_, 2, old));
        FaultyFiles files;
        files.links = links;
        files.crash = crash;
        files.failing = failing;
        const bool saved = saveDataFile(files, path_, 2, fresh);
        EXPECT_TRUE(contents() == fresh || (!saved && contents() == old)) << contents();
        EXPECT_TRUE(crash || contents("001") != old.substr(0, old.size() / 2)) << "no half backup";
        ASSERT_TRUE(saveDataFile(systemFiles(), path_, 2, "next")) << "the next save is as good";
        EXPECT_EQ(contents(), "next");
        if (files.operations() <= failing) {
          EXPECT_TRUE(saved);
          break;
        }
      }
    }
  }
}

TEST_F(SaveTest, KeepsTheBackupsHoweverOftenItFails) {
  const struct {
    const char *what;
    const char *failing;    ///< contents and backups after three saves of 5 that fail
    const char *afterwards; ///< and after one of 6 that does not
  } rows[] = {{"write", "4321", "6432"}, {"rename", "4321", "6432"}, {"sync", "5321", "6543"}};
  const auto all = [this] {
    return contents() + contents("001") + contents("002") + contents("003");
  };
  for (const auto &row : rows) {
    for (const bool links : {true, false}) {
      SCOPED_TRACE(testing::Message() << row.what << links);
      for (const char *model : {"1", "2", "3", "4"})
        ASSERT_TRUE(saveDataFile(systemFiles(), path_, 3, model));
      FaultyFiles files;
      files.links = links;
      files.broken = row.what;
      files.target = path_;
      for (int i = 0; i < 3; ++i)
        EXPECT_FALSE(saveDataFile(files, path_, 3, "5"));
      EXPECT_EQ(all(), row.failing);
      files.broken = "";
      EXPECT_TRUE(saveDataFile(files, path_, 3, "6"));
      EXPECT_EQ(all(), row.afterwards);
      EXPECT_EQ(contents("000"), "-");
    }
  }
}

// Left by a process that ended between two steps of a save, or from the time before there were to
// be backups.
TEST_F(SaveTest, ALeftBackup0CostsNoOther) {
  const struct {
    const char *left;
    const char *afterwards;
  } rows[] = {{"x", "54x3"}, {"4", "5432"}};
  for (const auto &row : rows) {
    for (const char *model : {"1", "2", "3", "4"})
      ASSERT_TRUE(saveDataFile(systemFiles(), path_, 3, model));
    ASSERT_TRUE(systemFiles().write(path_ + "000", row.left));
    ASSERT_TRUE(saveDataFile(systemFiles(), path_, 3, "5"));
    EXPECT_EQ(contents() + contents("001") + contents("002") + contents("003"), row.afterwards);
    EXPECT_EQ(contents("000"), "-");
  }
}

TEST_F(SaveTest, NumbersItsBackupsInThreeDigits) {
  for (const char *model : {"1", "2"})
    ASSERT_TRUE(systemFiles().write(path_ + (model[0] == '1' ? "999" : "998"), model));
  ASSERT_TRUE(saveDataFile(systemFiles(), path_, 0, "3"));
  ASSERT_TRUE(saveDataFile(systemFiles(), path_, 32767, "4"));
  EXPECT_EQ(contents() + contents("001") + contents("998") + contents("999") + contents("1000"),
            "43-2-");
}

TEST_F(SaveTest, ReportsWhatCannotBeDone) {
  EXPECT_EQ(readDataFile(systemFiles(), path_), std::nullopt);
  EXPECT_EQ(readDataFile(systemFiles(), "/dev/zero"), std::nullopt) << "it would never end";
  EXPECT_FALSE(saveDataFile(systemFiles(), directory_ / "missing/model.kel", 2, "x"));
  ASSERT_TRUE(systemFiles().write(path_, "x"));
  std::filesystem::resize_file(path_, kMaxDataFile + 1);
  EXPECT_EQ(readDataFile(systemFiles(), path_), std::nullopt) << "too long";
}

} // namespace
} // namespace velto
