// The inquiry before messages of several blocks, which only SECS-I divides.
#include "controls/gem_capabilities.h"

namespace velto {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class GemMultiBlock : public GemCapabilitiesTest {
protected:
  void SetUp() override {
    equipment.control->SetVIDValue(4, std::string(300, 'x'));
    equipment.control->SetReportVIDs(1, {4});
    equipment.control->LinkReport(7, 1);
    establish();
  }
  /// What the host gets while the equipment reports a long event and a short one.
  std::vector<std::string> report() {
    host.messages.clear();
    equipment.take();
    EXPECT_TRUE(equipment.control->InvokeEvent(7));
    EXPECT_TRUE(equipment.control->InvokeEvent(8));
    settle(20);
    return std::exchange(host.messages, {});
  }
  /// The host's application answers inquiries by itself, with these codes one after another.
  void grant(std::vector<int> codes) {
    host.answers = false;
    host.onEvent = [this, codes](const std::string &line) mutable {
      if (!line.starts_with("Received"))
        return;
      const bool asks = line == "Received S6F5W";
      host.control->SetWorkSpace(CHGem::kReceived);
      host.control->SetReply(true);
      host.control->SetSML(asks ? "s6f6<b " + std::to_string(codes.front()) + ">" : "s6f12<b 0>");
      if (line == "Received S6F5W" || line == "Received S6F11W")
        host.control->Send();
      if (asks && codes.size() > 1)
        codes.erase(codes.begin());
    };
  }
  std::vector<std::string> problems() {
    std::vector<std::string> found;
    for (const std::string &line : equipment.take())
      if (line.starts_with("Problem"))
        found.push_back(line.substr(0, line.find(", ")) +
                        line.substr(std::min(line.size(), line.rfind(':'))));
    return found;
  }
};

const char *const kLong = "S6F11W { <u4 1> <u4 7>";

TEST_P(GemMultiBlock, TheEquipmentAsksBeforeALongEventAndKeepsTheOrder) {
  EXPECT_THAT(report(), ElementsAre("S6F5W { <u4 1> <u4 329> }", StartsWith(kLong),
                                    StartsWith("S6F11W { <u4 2> <u4 8>")));
  EXPECT_EQ(equipment.model().OpenTransactionCount(), 0U);
  equipment.control->SetVIDValue(4, std::string(200, 'x'));
  EXPECT_EQ(report().size(), 2U) << "what fits one block needs no grant";
  equipment.control->SetVIDValue(4, std::string(300, 'x'));
  equipment.control->SetCapabilities(0);
  EXPECT_THAT(report(), ElementsAre(StartsWith("S6F11W { <u4 5> <u4 7>"), StartsWith("S6F11W")))
      << "nobody asks";
}

TEST_P(GemMultiBlock, ABusyHostIsAskedAgainAndOneThatRefusesGetsTheNextMessage) {
  grant({1, 0});
  EXPECT_THAT(report(), ElementsAre(StartsWith("S6F5W")));
  net.clock.advance(1000);
  settle(20);
  EXPECT_THAT(std::exchange(host.messages, {}),
              ElementsAre(StartsWith("S6F5W"), StartsWith(kLong), StartsWith("S6F11W")));
  grant({2});
  EXPECT_THAT(report(), ElementsAre(StartsWith("S6F5W"), StartsWith("S6F11W { <u4 4> <u4 8>")));
  EXPECT_THAT(problems(),
              ElementsAre("Problem 208 Error : Message could not be sent: S6F11W: not granted"));
  EXPECT_EQ(equipment.control->CommunicationState(), 2);
  grant({1});
  EXPECT_EQ(report().size(), 1U);
  for (int i = 0; i < 12; ++i) {
    net.clock.advance(1000);
    settle(20);
  }
  EXPECT_EQ(std::exchange(host.messages, {}).size(), 10U) << "ten times, then the short one";
}

TEST_P(GemMultiBlock, WhatWaitsForAGrantIsSpooledWhenTheHostIsGone) {
  ask("s2f43w{{<u1 6>{}}}");
  host.answers = false;
  EXPECT_THAT(report(), ElementsAre(StartsWith("S6F5W")));
  leave();
  net.clock.advance(46'000); // T3 of a line whose partner is silent
  settle();
  EXPECT_EQ(equipment.control->SpoolCount(), 2);
  EXPECT_EQ(problems().size(), cable ? 4U : 2U);
  host.answers = true;
  host.control->SetPhysicalConnection(true);
  settle();
  EXPECT_EQ(ask("s6f23w<u1 0>"), "S6F24 <b 0x00>");
  settle(30);
  EXPECT_THAT(host.messages, ElementsAre(StartsWith("S6F5W"), StartsWith(kLong),
                                         StartsWith("S6F11W { <u4 2> <u4 8>")));
}

// What waits for a line that is dead, or has just ended, has not been sent.
TEST_P(GemMultiBlock, WhatTheLineDoesNotTakeIsSpooled) {
  ask("s2f43w{{<u1 6>{}}}");
  equipment.take();
  host.control->SetPhysicalConnection(false);
  for (int i = 0; i < 3; ++i)
    EXPECT_TRUE(equipment.control->InvokeEvent(8));
  for (int i = 0; i < 5; ++i) {
    net.clock.advance(10'000); // T2, of four attempts
    net.settle();
  }
  EXPECT_EQ(equipment.control->SpoolCount(), 3);
  EXPECT_NE(equipment.control->CommunicationState(), 2);
  EXPECT_EQ(equipment.model().OpenTransactionCount(), 0U);
}

TEST_P(GemMultiBlock, TheHostAsksBeforeALongRequestAndKnowsItsReply) {
  host.control->SetCapabilities(CapabilityVariables);
  std::string vids;
  for (int i = 0; i < 100; ++i)
    vids += "<u4 2>";
  host.take();
  ASSERT_TRUE(host.send("s2f33w{<u4 9>{{<u4 5>{" + vids + "}}}}"));
  const int32_t systemBytes = host.control->SystemBytes();
  settle(20);
  EXPECT_THAT(equipment.messages, testing::Contains("S2F39W { <u4 9> <u4 620> }"));
  EXPECT_EQ(host.slot(CHGem::kReceived), "S2F34 <b 0x00>");
  EXPECT_EQ(static_cast<int32_t>(host.model().slot(CHGem::kReceived).message.header.systemBytes),
            systemBytes);
}

INSTANTIATE_TEST_SUITE_P(Over, GemMultiBlock,
                         testing::Values(LinkProtocol::SecsISerial, LinkProtocol::SecsITcp),
                         linkName);

} // namespace
} // namespace velto
