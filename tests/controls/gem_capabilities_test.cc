// What an equipment does whose capabilities are on.
#include "controls/gem_pair.h"
#include "gem/capabilities/capabilities.h"

namespace velto {
namespace {

constexpr const char *kTables = "controls/gem_capabilities.txt";

class GemCapabilitiesTest : public GemPair {
protected:
  GemCapabilitiesTest() {
    equipment.control->SetCapabilities(kAllCapabilities);
    equipment.model().data().commands = {
        {.name = "START",
         .parameters = {{"LOT", SecsAscii, true}, {"SLOT", SecsByte, false}},
         .event = 7},
        {.name = "LOCAL", .states = CHGemCommand::stateBit(ControlState::OnlineLocal)},
        {.name = "5"},
    };
  }
};

TEST_F(GemCapabilitiesTest, RemoteCommands) {
  expectAnswers(kTables, "RemoteCommands");
  settle(20);
  equipment.take();
  const std::string asked = ask("s2f41w{<a'START'>{{<a'LOT'><a'L\n1'>}{<a'SLOT'><u4 7>}}}");
  EXPECT_EQ(asked, "S2F42 { <b 0x00> { } }");
  settle(5);
  ASSERT_EQ(host.messages.size(), 1U);
  EXPECT_EQ(host.messages[0].substr(0, 5), "S6F11") << "the completion";
  equipment.control->SetCapabilities(0);
  expectAnswers(kTables, "RemoteCommandsThatAreOff");
}

TEST_F(GemCapabilitiesTest, TheApplicationAnswersRemoteCommands) {
  establish();
  struct Case {
    int16_t hcack;
    int16_t cpack;
    const char *reply;
    bool completes;
  };
  for (const Case &row :
       {Case{0, 0, "S2F42 { <b 0x00> { } }", true}, Case{2, 0, "S2F42 { <b 0x02> { } }", false},
        Case{4, 0, "S2F42 { <b 0x04> { } }", false}, Case{5, 0, "S2F42 { <b 0x05> { } }", false},
        Case{0, 2, "S2F42 { <b 0x03> { { <a 'LOT'> <b 0x02> } } }", false}}) {
    CVeltoGemCtrl &control = *equipment.control;
    equipment.onEvent = [&](const std::string &line) {
      if (!line.starts_with("RemoteCommand"))
        return;
      EXPECT_EQ(line, "RemoteCommand START LOT=L1");
      EXPECT_EQ(control.CPVAL("LOT"), "L1");
      EXPECT_EQ(control.CPVAL("SLOT"), "");
      EXPECT_EQ(control.HCACK(), 0);
      control.SetHCACK(row.hcack);
      control.SetCPACK("LOT", row.cpack);
    };
    EXPECT_EQ(ask("s2f41w{<a'START'>{{<a'LOT'><a'L1'>}}}"), row.reply);
    settle(5);
    EXPECT_EQ(host.messages.size(), row.completes ? 1U : 0U) << row.hcack;
    EXPECT_EQ(control.HCACK(), 0) << "its answers are those of one command";
  }
}

TEST_F(GemCapabilitiesTest, WhatIsSpooled) {
  expectAnswers(kTables, "Spool");
  std::string many;
  for (int i = 0; i < 20'000; ++i)
    many += "{<u1 77>{<u1 1><u1 3>}}";
  EXPECT_EQ(ask("s2f43w{" + many + "}"), "S2F44 { <b 0x01> { { <u1 77> <b 0x02> { } } } }");
  equipment.control->SetCapabilities(0);
  expectAnswers(kTables, "SpoolThatIsOff");
}

TEST_F(GemCapabilitiesTest, WhatIsKeptOutlivesTheProcess) {
  const std::string more = equipment.control->DataFileName() + ".more";
  ASSERT_TRUE(equipment.control->SaveData());
  const auto written = equipment.model().data().commands;
  ASSERT_TRUE(equipment.control->LoadData());
  EXPECT_EQ(equipment.control->Capabilities(), int32_t{kAllCapabilities});
  EXPECT_EQ(equipment.model().data().commands, written);
  const std::string bytes = *systemFiles().read(more);
  for (size_t size = 0; size < bytes.size(); size += 7) {
    systemFiles().write(more, bytes.substr(0, size));
    equipment.control->LoadData();
    EXPECT_TRUE(equipment.model().data().commands.empty()) << size;
  }
  ASSERT_TRUE(equipment.control->SaveData());
  EXPECT_TRUE(systemFiles().read(more + ".damaged")) << "a file that nobody could read is kept";
}

} // namespace
} // namespace velto
