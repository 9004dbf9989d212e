#include "gem/models/communication_model.h"

#include "gem/fake_owner.h"
#include "support/table.h"
#include "transport/hsms/hsms_engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using enum CommunicationState::Number;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kRequest = "send S1F13W { <a 'ETCH'> * MDLN <a '1.0'> * SOFTREV }";

class CommunicationModel : public testing::Test {
protected:
  CommunicationModel() {
    settings.modelName = "ETCH";
    settings.softwareRevision = "1.0";
  }

  /// Brings a fresh model to a state; what was noted on the way is forgotten.
  void enter(uint8_t state) {
    model.Reset();
    if (state > Disabled)
      model.SwitchState(NotCommunicating);
    if (state > NotCommunicating)
      model.SwitchState(Communicating);
    ASSERT_EQ(model.State(), state);
    owner.take();
  }
  void reportTimeout(std::string_view primary) {
    CHSecsMessage message;
    ASSERT_TRUE(message.SetFromSml(primary));
    model.OnProblem(LinkProblem::T3, message.header);
  }

  FakeOwner owner;
  CommunicationSettings &settings = owner.data.communication;
  CHGemCommunicationModel model{owner, owner.data};
};

TEST_F(CommunicationModel, SwitchesAsTheGuardsAllow) {
  // Rows: from; columns: to. The last column is no state.
  constexpr bool kAllowed[3][4] = {
      {false, true, false, false},
      {true, false, true, false},
      {true, true, false, false},
  };
  for (uint8_t from = 0; from < 3; ++from)
    for (uint8_t to = 0; to < 4; ++to) {
      enter(from);
      const std::string change = std::to_string(from) + " " + std::to_string(to);
      owner.onNote = [&](const std::string &) { EXPECT_EQ(model.State(), from) << change; };
      EXPECT_EQ(model.SwitchState(to), kAllowed[from][to]) << change;
      owner.onNote = nullptr;
      EXPECT_EQ(model.State(), kAllowed[from][to] ? to : from) << change;
      if (kAllowed[from][to])
        EXPECT_THAT(owner.take(), ElementsAre("communication " + change));
      else
        EXPECT_THAT(owner.take(), IsEmpty()) << change;
    }
}

TEST_F(CommunicationModel, AChangeInsideAReportHolds) {
  enter(NotCommunicating);
  owner.onNote = [&](const std::string &line) {
    if (line == "communication 1 2")
      model.SwitchState(Disabled);
  };
  EXPECT_FALSE(model.SwitchState(Communicating));
  EXPECT_EQ(model.State(), Disabled);
  EXPECT_THAT(owner.take(), ElementsAre("communication 1 2", "communication 1 0"));

  enter(Disabled);
  owner.onNote = [&](const std::string &) { model.OnDisable(); };
  EXPECT_FALSE(model.SwitchState(NotCommunicating)) << "the link went away meanwhile";
  EXPECT_EQ(model.State(), Disabled);

  owner.onNote = [&](const std::string &) { EXPECT_FALSE(model.SwitchState(NotCommunicating)); };
  EXPECT_TRUE(model.SwitchState(NotCommunicating)) << "asked for once more inside: reported once";
  EXPECT_THAT(owner.take(), ElementsAre("communication 0 1", "communication 0 1"));

  owner.onNote = [&](const std::string &) { model.Reset(); };
  EXPECT_FALSE(model.SwitchState(Communicating)) << "the model was loaded anew";
  EXPECT_EQ(model.State(), Disabled);
}

TEST_F(CommunicationModel, ATickInsideAReportWaitsForTheChange) {
  enter(NotCommunicating);
  owner.onNote = [&](const std::string &line) {
    if (line.starts_with("communication"))
      model.Tick();
  };
  CHSecsVerifier slot = receivedSlot("s1f13w{}");
  EXPECT_TRUE(model.OnReceive(slot));
  EXPECT_THAT(owner.take(), ElementsAre("communication 1 2")) << "nobody asks again";

  enter(NotCommunicating);
  model.Tick();
  model.SwitchState(Communicating);
  reportTimeout("s1f13w{}");
  EXPECT_EQ(model.NextTick(), 30001U) << "the delay goes on";
}

TEST_F(CommunicationModel, TheTickSendsOneRequest) {
  enter(NotCommunicating);
  EXPECT_EQ(model.NextTick(), 0U);
  model.Tick();
  model.Tick();
  EXPECT_THAT(owner.take(), ElementsAre(kRequest));
  EXPECT_TRUE(model.WaitingCRA());
  EXPECT_EQ(model.NextTick(), std::nullopt);

  for (const uint8_t idle : {Disabled, Communicating}) {
    enter(idle);
    EXPECT_EQ(model.NextTick(), std::nullopt);
    model.Tick();
    EXPECT_THAT(owner.take(), IsEmpty());
  }
  enter(NotCommunicating);
  settings.establishCommunications = false;
  EXPECT_EQ(model.NextTick(), std::nullopt);
  model.Tick();
  EXPECT_THAT(owner.take(), IsEmpty());
}

TEST_F(CommunicationModel, RequestsCarryAnyTextAndTheHostNone) {
  settings.modelName = "it's \"<b 1>\"\r\n";
  settings.softwareRevision = "";
  enter(NotCommunicating);
  model.Tick();
  CHSecsVerifier slot = receivedSlot("s1f13w{}");
  EXPECT_TRUE(model.OnReceive(slot));
  slot.partner()->message.node = "2/1";
  EXPECT_EQ(slot.partner()->message.GetNodeValue(true), settings.modelName);
  owner.take();
  owner.host = true;
  enter(NotCommunicating);
  model.Tick();
  EXPECT_THAT(owner.take(), ElementsAre("send S1F13W { }"));
}

TEST_F(CommunicationModel, ARefusedRequestIsSentAgainAfterAPause) {
  enter(NotCommunicating);
  owner.accepts = false;
  model.Tick();
  EXPECT_FALSE(model.WaitingCRA());
  EXPECT_EQ(model.NextTick(), 100U) << "no spinning while the link refuses";
  owner.time.advance(60);
  EXPECT_EQ(model.NextTick(), 40U);
  owner.time.advance(40);
  EXPECT_EQ(model.NextTick(), 0U);
  owner.accepts = true;
  model.Tick();
  EXPECT_THAT(owner.take(), ElementsAre(kRequest));
}

TEST_F(CommunicationModel, EveryMessageInEveryState) {
  for (const TableRow &row : tableOf("gem/communication_model.txt", "messages")) {
    SCOPED_TRACE(row[0] + " in " + row[1]);
    enter(static_cast<uint8_t>(row.number(1)));
    CHSecsVerifier slot = receivedSlot(row[0]);
    EXPECT_EQ(model.OnReceive(slot), row[2] == "taken");
    EXPECT_EQ(model.State(), row.number(3));
    EXPECT_EQ(replyOf(slot), row[4]);
    EXPECT_EQ(owner.take().size(), row[1] == row[3] ? 0U : 1U);
  }
}

TEST_F(CommunicationModel, MessagesThatFailedVerificationStayAsTheyAre) {
  for (const uint8_t state : {Disabled, NotCommunicating, Communicating}) {
    enter(state);
    CHSecsVerifier slot = receivedSlot("s1f13w<b 1>");
    ASSERT_EQ(slot.result, VerificationIncorrect);
    const std::string prepared = FakeOwner::oneLine(slot.partner()->message);
    EXPECT_FALSE(model.OnReceive(slot));
    EXPECT_EQ(FakeOwner::oneLine(slot.partner()->message), prepared);
    EXPECT_EQ(model.State(), state);
  }
}

TEST_F(CommunicationModel, AnyAnswerEndsTheWait) {
  for (const char *answer : {"s1f14{<b 0>{}}", "s1f14{<b 1>{}}", "s1f14<a 'wrong'>"}) {
    enter(NotCommunicating);
    model.Tick();
    CHSecsVerifier slot = receivedSlot(answer);
    model.OnReceive(slot);
    EXPECT_FALSE(model.WaitingCRA()) << answer;
    EXPECT_EQ(model.NextTick().has_value(), model.State() == NotCommunicating) << answer;
    if (model.State() == NotCommunicating) {
      EXPECT_EQ(model.NextTick(), slot.result == VerificationCorrect ? 0U : 30001U)
          << "a denial is followed at once, what can't be read after the delay";
    }
  }
  enter(NotCommunicating);
  model.Tick();
  model.OnReceived();
  EXPECT_TRUE(model.WaitingCRA()) << "what came was for another request";
  owner.awaits = false;
  model.OnReceived();
  EXPECT_FALSE(model.WaitingCRA()) << "the transaction has ended otherwise";
  EXPECT_EQ(model.NextTick(), 30001U);
}

TEST_F(CommunicationModel, APartnerThatGoesOnDenyingIsAskedAfterTheDelay) {
  enter(NotCommunicating);
  const auto ask = [this](const char *answer) {
    model.Tick();
    EXPECT_THAT(owner.take(), testing::Contains(kRequest));
    CHSecsVerifier slot = receivedSlot(answer);
    model.OnReceive(slot);
  };
  const auto waitDelay = [this] {
    owner.time.advance(30001);
    model.Tick();
  };
  constexpr const char *kDenied = "s1f14{<b 1>{}}";
  ask(kDenied);
  EXPECT_EQ(model.NextTick(), 0U);
  for (int i = 0; i < 3; ++i) {
    ask(kDenied);
    EXPECT_EQ(model.NextTick(), 30001U);
    waitDelay();
  }
  ask("s1f14{<b 0>{}}");
  model.SwitchState(NotCommunicating);
  ask(kDenied);
  EXPECT_EQ(model.NextTick(), 0U) << "the first one of another row";
  ask(kDenied);
  model.OnConnectionReset();
  ask(kDenied);
  EXPECT_EQ(model.NextTick(), 0U) << "another partner";
}

TEST_F(CommunicationModel, AnUnansweredRequestIsRepeatedAfterTheDelay) {
  enter(NotCommunicating);
  model.Tick();
  owner.time.advance(45000);
  reportTimeout("s1f13w{}");
  EXPECT_FALSE(model.WaitingCRA());
  EXPECT_EQ(model.NextTick(), 30001U);
  owner.take();
  owner.time.advance(30000);
  model.Tick();
  EXPECT_EQ(model.NextTick(), 1U);
  owner.time.advance(1);
  model.Tick();
  EXPECT_THAT(owner.take(), IsEmpty()) << "this tick only ends the delay";
  EXPECT_EQ(model.NextTick(), 0U);
  model.Tick();
  EXPECT_THAT(owner.take(), ElementsAre(kRequest));
}

// A partner that rejects the request was not ready for it: a second is enough.
TEST_F(CommunicationModel, ARejectedRequestIsRepeatedAfterASecond) {
  enter(NotCommunicating);
  model.Tick();
  EXPECT_THAT(owner.take(), ElementsAre(kRequest));
  CHSecsMessage other;
  ASSERT_TRUE(other.SetFromSml("s6f11w"));
  model.OnRejected(other.header);
  EXPECT_TRUE(model.WaitingCRA());
  CHSecsMessage request;
  ASSERT_TRUE(request.SetFromSml("s1f13w"));
  model.OnRejected(request.header);
  EXPECT_FALSE(model.WaitingCRA());
  EXPECT_EQ(model.NextTick(), 1001U);
  owner.time.advance(1000);
  model.Tick();
  EXPECT_THAT(owner.take(), IsEmpty());
  owner.time.advance(1);
  model.Tick();
  model.Tick();
  EXPECT_THAT(owner.take(), ElementsAre(kRequest));
}

TEST_F(CommunicationModel, TheDelaySurvivesTheWrapOfTheTickCount) {
  owner.time.advance(0U - 1000U - 5000U); // 5 s before the wrap
  enter(NotCommunicating);
  model.Tick();
  reportTimeout("s1f13w{}");
  owner.time.advance(30000);
  model.Tick();
  EXPECT_EQ(model.NextTick(), 1U);

  enter(NotCommunicating);
  owner.time.advance(0U - owner.time.ticks()); // a delay may begin at tick 0
  model.Tick();
  reportTimeout("s1f13w{}");
  EXPECT_EQ(model.NextTick(), 30001U);
}

TEST_F(CommunicationModel, TheTimeoutComesFromItsVariable) {
  EXPECT_EQ(model.timeoutMs(), 30000U);
  CHGemEventVid &variable = owner.addRole(9, RoleEstablishCommunicationsTimeout, "10");
  for (const TableRow &row : tableOf("gem/communication_model.txt", "timeouts")) {
    variable.setRawValue(row[0]);
    EXPECT_EQ(model.timeoutMs(), static_cast<uint32_t>(row.number(1))) << row[0];
  }
}

TEST_F(CommunicationModel, ReplyTimeoutsByStateAndMessage) {
  for (const TableRow &row : tableOf("gem/communication_model.txt", "late")) {
    SCOPED_TRACE(row[2] + " in " + row[0]);
    enter(NotCommunicating);
    if (row[1] == "waits")
      model.Tick();
    model.SwitchState(static_cast<uint8_t>(row.number(0)));
    owner.take();
    reportTimeout(row[2]);
    EXPECT_EQ(model.State(), row.number(3));
    EXPECT_EQ(model.WaitingCRA(), row[4] == "waits");
    EXPECT_EQ(model.NextTick() ? std::to_string(*model.NextTick()) : "never", row[5]);
    EXPECT_EQ(owner.take().size(), row[0] == row[3] ? 0U : 1U);
  }
  enter(Communicating);
  model.OnProblem(LinkProblem::T5, CHSecsHeader());
  EXPECT_EQ(model.State(), Communicating) << "other problems do not concern the model";
}

TEST_F(CommunicationModel, LinkEventsEndWaitAndDelay) {
  enter(NotCommunicating);
  model.Tick();
  owner.take();
  model.OnConnectionReset();
  EXPECT_EQ(model.State(), NotCommunicating);
  EXPECT_EQ(model.NextTick(), 0U);
  model.Tick();
  reportTimeout("s1f13w{}");
  owner.take();
  model.OnDisable();
  EXPECT_THAT(owner.take(), ElementsAre("communication 1 0"));
  EXPECT_EQ(model.NextTick(), std::nullopt);
}

TEST_F(CommunicationModel, ARequestOfTheHostEndsTheDelay) {
  enter(NotCommunicating);
  model.Tick();
  reportTimeout("s1f13w{}");
  CHSecsVerifier slot = receivedSlot("s1f13w{}");
  EXPECT_TRUE(model.OnReceive(slot));
  EXPECT_EQ(model.State(), Communicating);
  EXPECT_EQ(model.NextTick(), std::nullopt);
}

TEST_F(CommunicationModel, ShowsItself) {
  TreeNode tree;
  ListView list;
  enter(NotCommunicating);
  model.addStatus(tree);
  EXPECT_THAT(toText(TreeView{{tree}}),
              testing::HasSubstr("State : Not Communicating - Wait Delay"));
  model.Tick();
  settings.establishCommunications = false;
  tree = TreeNode();
  model.addStatus(tree);
  std::vector<std::string> labels;
  for (const TreeNode &line : tree.children.at(0).children)
    labels.push_back(line.label);
  EXPECT_THAT(labels, ElementsAre("State : Not Communicating - Wait CRA", "EC disabled",
                                  "Model Name : ETCH", "Software Revision : 1.0"));
  list.rows = {{"left", "over"}};
  model.fillParameters(list);
  EXPECT_THAT(list.columns, ElementsAre("Parameter", "Value"));
  EXPECT_THAT(list.rows, ElementsAre(ElementsAre("Initial State", "0"),
                                     ElementsAre("Establish Communications", "0"),
                                     ElementsAre("Model Name", "ETCH"),
                                     ElementsAre("Software Revision", "1.0")));
}

} // namespace
} // namespace velto
