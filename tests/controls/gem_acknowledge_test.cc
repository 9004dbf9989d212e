// What an equipment answers when its application leaves everything to DefProc().
#include "controls/gem_pair.h"

namespace velto {
namespace {

class GemAcknowledges : public GemPair {
protected:
  void expect(const char *table) { expectAnswers("controls/gem_acknowledges.txt", table); }

  static bool onDisk(const std::string &file) { return systemFiles().read(file).has_value(); }
};

TEST_P(GemAcknowledges, OfStream1) {
  expect("Stream1");
  EXPECT_EQ(equipment.control->ControlState(), 4);
}

TEST_P(GemAcknowledges, OfConstantsAndTheClock) {
  expect("ConstantsAndTheClock");
  equipment.model().data().changePCClock = true;
  expect("ConstantsAndTheClockThatMayBeSet");
  EXPECT_EQ(ask("s2f17w").substr(0, 21), "S2F18 <a '20260102030");
  const auto isChange = [](const std::string &line) { return line.starts_with("VIDChanged"); };
  EXPECT_EQ(std::ranges::count_if(equipment.take(), isChange), 1) << "refused ones change nothing";
}

TEST_P(GemAcknowledges, OfReportsAndLinks) {
  expect("ReportsAndLinks");
  EXPECT_TRUE(equipment.control->CEIDEnable(8));
  EXPECT_TRUE(onDisk(equipment.control->DataFileName()));
}

TEST_P(GemAcknowledges, OfAlarmsProgramsAndTerminals) {
  equipment.control->SetALIDSet(5, true);
  expect("AlarmsProgramsAndTerminals");
  EXPECT_TRUE(equipment.control->ALIDEnable(5));
}

TEST_P(GemAcknowledges, OfStreamsWithoutAModel) { expect("StreamsWithoutAModel"); }

TEST_P(GemAcknowledges, OfAHost) {
  establish();
  for (const TableRow &row : tableOf("controls/gem_acknowledges.txt", "AHost")) {
    equipment.take();
    ASSERT_TRUE(equipment.send(row[0])) << row[0];
    settle(2);
    EXPECT_EQ(equipment.slot(CHGem::kReceived), row[1]) << row[0];
  }
}

TEST_P(GemAcknowledges, OfWhatIsNoMessageOfTheStandard) {
  expect("WhatIsNoMessageOfTheStandard");
  // The header that is complained of comes back byte for byte, with SECS-I as the line had it.
  ask("s3f99w<u1 1>");
  const CHSecsHeader sent = host.model().slot(CHGem::kSent).message.header;
  std::array<uint8_t, CHSecsHeader::kSize> bytes{};
  EncodeHeader(sent, bytes);
  if (GetParam() != LinkProtocol::Hsms)
    std::ranges::copy(std::array<uint8_t, 2>{0x80, 0x01}, bytes.begin() + kBlockWord);
  EXPECT_EQ(toHex(host.model().slot(CHGem::kReceived).message.root.bytes()), toHex(bytes));
}

INSTANTIATE_TEST_SUITE_P(Over, GemAcknowledges, everyLink(), linkName);

} // namespace
} // namespace velto
