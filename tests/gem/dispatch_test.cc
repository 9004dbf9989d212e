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

// Of a host that kept the message for later.
TEST_F(GemDispatch, WhatWasRefusedIsNotCarriedOut) {
  establish();
  equipment.answers = false;
  RawClient stranger(host.engine->physical().settings().portNumber);
  net.settle();
  equipment.take();
  stranger.send(frame("0000810f000000000001")); // S1F15W of a host that has not selected
  net.settle();
  EXPECT_THAT(equipment.take(), ElementsAre("sent RejectReq"));
  EXPECT_TRUE(equipment.engine->DefProc());
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
