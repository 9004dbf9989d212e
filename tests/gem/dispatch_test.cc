// Messages that the engine keeps from the host, and hosts that follow each other at once.
#include "gem/station.h"

#include <gmock/gmock.h>
#include <optional>

namespace velto {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class GemDispatch : public GemPair {};

// Of a host that kept the message for later. What a stranger sends meanwhile, and that it goes,
// takes nothing from the one that is selected.
TEST_F(GemDispatch, WhatWasRefusedIsNotCarriedOut) {
  establish();
  equipment.answers = false;
  EXPECT_TRUE(send(host, "s1f1w"));
  run();
  RawClient stranger(host.engine->physical().settings().portNumber);
  net.settle();
  equipment.take();
  stranger.send(frame("0000810f000000000001")); // S1F15W of a host that has not selected
  net.settle();
  EXPECT_THAT(equipment.take(), ElementsAre("sent RejectReq"));
  stranger.read();
  stranger.close();
  run();
  EXPECT_THAT(equipment.take(), ElementsAre("disconnected"));
  EXPECT_TRUE(equipment.engine->DefProc());
  EXPECT_THAT(equipment.take(), ElementsAre("sent S1F2"));
  host.engine->gem()->SetDeviceID(7);
  EXPECT_TRUE(send(host, "s1f15w"));
  run();
  EXPECT_THAT(equipment.take(), ElementsAre("sent S9F1"));
  EXPECT_TRUE(equipment.engine->DefProc());
  EXPECT_THAT(equipment.take(), IsEmpty());
  EXPECT_EQ(equipment.engine->GetControlState(), ControlState::OnlineRemote);

  host.engine->gem()->SetDeviceID(0);
  EXPECT_TRUE(send(host, "s1f15w"));
  run();
  EXPECT_TRUE(equipment.engine->DefProc());
  EXPECT_EQ(equipment.engine->GetControlState(), ControlState::HostOffline)
      << "later is early enough for any other";
}

// The host's time counts as the answer to the equipment's question alone.
TEST_F(GemDispatch, ATimeThatNobodyAskedForSetsNoClock) {
  equipment.engine->gem()->data().changePCClock = true;
  establish();
  equipment.answers = true;
  net.clock.setLocalTime({2000, 1, 6, 1, 0, 0, 0, 0});
  host.answers = false;
  EXPECT_TRUE(send(host, "s2f18<a'2014111908050345'>"));
  run();
  EXPECT_EQ(net.clock.localTime().year, 2000);
  EXPECT_TRUE(send(equipment, "s2f17w"));
  run();
  CHSecsMessage answer;
  ASSERT_TRUE(answer.SetFromSml("s2f18<a'2014111908050345'>"));
  answer.header.systemBytes = host.engine->gem()->slot(CHGem::kReceived).message.header.systemBytes;
  EXPECT_TRUE(host.engine->gem()->Send(answer));
  run();
  EXPECT_EQ(net.clock.localTime().year, 2014);
}

TEST_F(GemDispatch, ANewHostStartsWithoutThePastOfTheOneBefore) {
  establish();
  host.answers = false;
  EXPECT_TRUE(send(equipment, "s6f11w{<u4 1><u4 2>{}}"));
  net.settle();
  host.engine->CloseConnection();
  RawClient next(host.engine->physical().settings().portNumber);
  net.settle();
  equipment.take();
  next.send(frame("ffff0000000100000001"));
  net.settle(); // without a tick of the equipment
  EXPECT_THAT(equipment.take(), ElementsAre("received SelectReq", "sent SelectRsp", "link 2 1",
                                            "communication 2 1", "link 1 2"));
  EXPECT_EQ(equipment.engine->gem()->OpenTransactionCount(), 0U);
}

TEST_F(GemDispatch, ANewHostGetsNoReplyToTheOneBefore) {
  CHGemEventVid constant;
  constant.vid = 20;
  constant.kind = EquipmentConstant;
  equipment.engine->gem()->data().variables.Add(constant);
  establish();
  std::optional<RawClient> next;
  equipment.onNote = [&](const std::string &line) {
    if (line != "variable 20")
      return;
    host.engine->CloseConnection();
    next.emplace(host.engine->physical().settings().portNumber);
    net.settle();
    next->send(frame("ffff0000000100000001"));
    net.settle();
  };
  EXPECT_TRUE(send(host, "s2f15w{{<u4 20><u4 7>}}"));
  net.settle();
  const std::vector<std::string> lines = equipment.take();
  EXPECT_THAT(lines, Contains("link 1 2"));
  EXPECT_THAT(lines, Not(Contains("sent S2F16")));
}

// The application answers later, when another host may have come, with a tick in between or not.
TEST_F(GemDispatch, WhatTheHostBeforeAskedIsNotAnsweredToANewOne) {
  equipment.answers = false;
  for (const int ticks : {0, 3}) {
    SCOPED_TRACE(ticks);
    host.engine->OpenConnection();
    run();
    EXPECT_TRUE(send(host, "s2f33w{<u4 1>{{<u4 9>{<u4 16>}}}}"));
    net.settle();
    EXPECT_THAT(equipment.take(), Contains("received S2F33W"));
    host.engine->CloseConnection();
    run(ticks);
    RawClient next(host.engine->physical().settings().portNumber);
    net.settle();
    next.send(frame("ffff0000000100000001"));
    net.settle();
    run(ticks);
    equipment.take();
    EXPECT_TRUE(equipment.engine->DefProc());
    net.settle();
    EXPECT_THAT(equipment.take(), IsEmpty());
    EXPECT_EQ(equipment.engine->gem()->data().reports.Count(), 0U);
    next.close();
    run();
  }
}

TEST_F(GemDispatch, AReplyThatNoMessageCarriesIsAnAbortAndAProblem) {
  GemData &data = equipment.engine->gem()->data();
  CHGemEventVid large;
  large.vid = 20;
  large.setRawValue("<a'" + std::string(1'000'000, 'x') + "'>");
  data.variables.Add(large);
  data.reports.Add({9, "", std::vector<uint32_t>(11, 20)});
  data.events.Add({7, "", true, {9}, kNoRole});
  for (const uint32_t alid : {5U, 7U})
    data.alarms.Add({alid, 1, std::string(6'000'000, 'x'), true});
  establish();
  const struct {
    const char *request;
    const char *abort;
  } rows[] = {{"s1f3w<u1 20 20 20 20 20 20 20 20 20 20 20>", "S1F0"},
              {"s6f15w<u4 7>", "S6F0"},
              {"s6f19w<u4 9>", "S6F0"},
              {"s5f5w<u4 5 5>", "S5F0"},
              {"s5f7w", "S5F0"}};
  for (const auto &row : rows) {
    EXPECT_TRUE(send(host, row.request));
    run();
    const std::vector<std::string> lines = equipment.take();
    ASSERT_EQ(lines.size(), 3U) << row.request;
    EXPECT_EQ(lines[1], std::string("sent ") + row.abort);
    EXPECT_EQ(lines[2], "problem LengthTooLong");
    EXPECT_EQ(host.engine->gem()->OpenTransactionCount(), 0U);
  }
  EXPECT_FALSE(equipment.engine->InvokeEvent(7));
  EXPECT_EQ(data.nextDataId, 1U);
  data.communication.modelName = std::string(11'000'000, 'x');
  EXPECT_TRUE(send(host, "s1f13w{}"));
  run();
  EXPECT_THAT(equipment.take(), Contains("sent S1F0"));
}

TEST_F(GemDispatch, APartnerThatDoesNotReadLosesItsLink) {
  CHGemEventVid large;
  large.vid = 20;
  large.setRawValue("<a'" + std::string(2'000'000, 'x') + "'>");
  equipment.engine->gem()->data().variables.Add(large);
  equipment.engine->CloseConnection();
  run();
  equipment.engine->physical().settings().maxQueued = 1'000'000;
  listen();
  run();
  RawClient deaf(host.engine->physical().settings().portNumber);
  net.settle();
  deaf.send(frame("ffff0000000100000001"));
  deaf.send(frame("0000810d0000000000020100")); // S1F13W
  run();
  const auto problems = [this] {
    return std::ranges::count(
        equipment.take(),
        "problem 10055 Error : The partner does not read; a reply to it was lost.");
  };
  EXPECT_EQ(problems(), 0);
  for (int i = 10; i < 30; ++i)
    deaf.send(frame("000081030000000000" + std::to_string(i) + "0101a50114")); // S1F3W
  run();
  EXPECT_EQ(problems(), 1);
  EXPECT_EQ(equipment.engine->physical().OpenRequested(), true);
  EXPECT_EQ(equipment.engine->GetCommunicationState(), CommunicationState::Disabled);
  establish(); // with another one
}

// The same message twice in a row is a duplicate only with the same system bytes.
TEST_F(GemDispatch, PrimariesWithoutSystemBytesGetNewOnes) {
  establish();
  for (Station *from : {&equipment, &host}) {
    Station &to = from == &host ? equipment : host;
    const uint32_t high = from == &equipment ? 0x80000000 : 0;
    std::vector<uint32_t> arrived;
    to.onNote = [&](const std::string &line) {
      if (line == "received S9F11")
        arrived.push_back(to.engine->gem()->slot(CHGem::kReceived).message.header.systemBytes);
    };
    for (int i = 0; i < 3; ++i) {
      EXPECT_TRUE(send(*from, "s9f11<b 1 2 3 4 5 6 7 8 9 10>"));
      run(1);
    }
    ASSERT_EQ(arrived.size(), 3U);
    for (const uint32_t systemBytes : arrived)
      EXPECT_EQ(systemBytes & 0x80000000, high);
    EXPECT_EQ(arrived[2], arrived[0] + 2);
    CHSecsMessage message;
    message.SetFromSml("s9f11<b 1>");
    message.header.systemBytes = 77;
    EXPECT_TRUE(from->engine->gem()->Send(message));
    run(1);
    EXPECT_EQ(arrived.back(), 77U) << "those that were given stay";
    to.onNote = nullptr;
  }
}

TEST_F(GemDispatch, APlainConnectionAwaitsNoReplies) {
  establish();
  host.engine->SetObjectModel(false);
  CHSecsMessage request;
  request.SetFromSml("s1f1w");
  EXPECT_FALSE(host.engine->Send(request));
  run();
  net.clock.advance(45001);
  run();
  EXPECT_THAT(host.take(), ElementsAre("sent "));
  EXPECT_EQ(equipment.take()[0], "received S1F1W");
}

} // namespace
} // namespace velto
