#include "gem/models/control_model.h"

#include "gem/fake_owner.h"
#include "gem/models/processing_model.h"
#include "support/table.h"
#include "transport/hsms/hsms_engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using enum ControlState::Number;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kQuestion = "send S1F1W";

std::string joined(const std::vector<std::string> &lines) {
  std::string text;
  for (const std::string &line : lines)
    text += text.empty() ? line : "; " + line;
  return text;
}

class ControlModel : public testing::Test {
protected:
  ControlModel() {
    owner.addRole(16, RoleControlState, "4");
    owner.data.communication.modelName = "ETCH";
    owner.data.communication.softwareRevision = "1.0";
  }

  CHGemEventVid *variable() { return owner.list.FindByRole(RoleControlState); }
  void enter(uint8_t state) {
    variable()->SetValue(std::to_string(state));
    owner.take();
  }

  FakeOwner owner;
  ControlSettings &settings = owner.data.control;
  CHGemControlModel model{owner, owner.data};
};

TEST_F(ControlModel, SwitchesAsTheGuardsAllow) {
  // One text per present state: the states that it may change to, for each pair of settings.
  const struct {
    uint8_t offlineState;
    uint8_t onlineState;
    const char *allowed[6]; // the last: a number that is no state
  } rows[] = {
      {2, 4, {"1", "24", "04", "024", "023", "01234"}},
      {0, 3, {"1", "03", "03", "024", "023", "01234"}},
      {2, 3, {"1", "23", "03", "024", "023", "01234"}},
      {0, 4, {"1", "04", "04", "024", "023", "01234"}},
  };
  for (const auto &row : rows)
    for (uint8_t from = 0; from < 6; ++from)
      for (uint8_t to = 0; to < 7; ++to) {
        settings.offlineState = row.offlineState;
        settings.onlineState = row.onlineState;
        enter(from);
        const std::string change = std::to_string(from) + " " + std::to_string(to);
        const bool allowed =
            std::string_view(row.allowed[from]).find(std::to_string(to)) != std::string_view::npos;
        SCOPED_TRACE(change);
        // Off-line changes are reported before, on-line changes after the value changes.
        owner.onNote = [&](const std::string &line) {
          if (line == "control " + change) {
            EXPECT_EQ(model.GetState(), isOnline(to) ? to : from);
          }
        };
        EXPECT_EQ(model.SwitchState(to), allowed);
        owner.onNote = nullptr;
        EXPECT_EQ(model.GetState(), allowed ? to : from);
        if (!allowed)
          EXPECT_THAT(owner.take(), IsEmpty());
        else if (to == AttemptOnline)
          EXPECT_THAT(owner.take(), ElementsAre("control " + change, kQuestion));
        else
          EXPECT_THAT(owner.take(), ElementsAre("control " + change));
      }
}

TEST_F(ControlModel, TheStateIsTheValueOfItsVariable) {
  CHGemEventVid other;
  other.vid = 17;
  other.setRawValue("<a '3'>");
  owner.list.SetRole(owner.list.Add(other), RoleControlState);
  EXPECT_EQ(model.GetState(), OnlineLocal);
  EXPECT_TRUE(model.SwitchState(OnlineRemote));
  EXPECT_EQ(owner.list.FindVid(17)->GetValue(), "4");
  owner.list.FindVid(17)->setRawValue("<u4 260>");
  EXPECT_EQ(model.GetState(), OnlineRemote) << "the low byte counts";

  owner.list.Remove(17);
  owner.take();
  EXPECT_EQ(model.GetState(), EquipmentOffline);
  for (uint8_t to = 0; to < 5; ++to)
    EXPECT_FALSE(model.SwitchState(to));
  EXPECT_FALSE(model.SetStateByHost(AttemptOnline));
  EXPECT_THAT(owner.take(), IsEmpty());
}

TEST_F(ControlModel, AnAttemptThatCannotBeSentFailsAtOnce) {
  for (const uint8_t offline : {EquipmentOffline, HostOffline}) {
    settings.offlineState = offline;
    enter(EquipmentOffline);
    owner.accepts = false;
    EXPECT_TRUE(model.SwitchState(AttemptOnline));
    EXPECT_EQ(model.GetState(), offline);
    EXPECT_THAT(owner.take(), ElementsAre("control 0 1", "control 1 " + std::to_string(offline)));
  }
}

TEST_F(ControlModel, AChangeInsideAReportHolds) {
  owner.onNote = [&](const std::string &line) {
    if (line == "control 4 2")
      model.SwitchState(EquipmentOffline);
  };
  EXPECT_FALSE(model.SwitchState(HostOffline));
  EXPECT_EQ(model.GetState(), EquipmentOffline);
  EXPECT_THAT(owner.take(), ElementsAre("control 4 2", "control 4 0"));

  owner.onNote = [&](const std::string &) { EXPECT_FALSE(model.SwitchState(AttemptOnline)); };
  EXPECT_TRUE(model.SwitchState(AttemptOnline)) << "asked for once more inside: reported once";
  EXPECT_THAT(owner.take(), ElementsAre("control 0 1", kQuestion));

  owner.onNote = [&](const std::string &) { owner.list.Clear(); };
  EXPECT_FALSE(model.SwitchState(HostOffline)) << "the variable is gone";
  EXPECT_THAT(owner.take(), ElementsAre("control 1 2"));
}

TEST_F(ControlModel, TheHostApplicationMayAskForSomeStates) {
  // One text per present state: the states that the host application reaches.
  const char *const allowed[] = {"1", "", "0", "04", "03"};
  for (uint8_t from = 0; from < 5; ++from)
    for (uint8_t to = 0; to < 7; ++to) {
      SCOPED_TRACE(std::to_string(from) + " " + std::to_string(to));
      enter(from);
      const bool expected =
          std::string_view(allowed[from]).find(std::to_string(to)) != std::string_view::npos;
      EXPECT_EQ(model.SetStateByHost(to), expected);
      EXPECT_EQ(model.GetState(), expected ? to : from);
    }
}

TEST_F(ControlModel, TheOperatorSwitch) {
  constexpr uint8_t kOn[] = {AttemptOnline, AttemptOnline, HostOffline, OnlineLocal, OnlineRemote};
  constexpr uint8_t kOff[] = {EquipmentOffline, AttemptOnline, EquipmentOffline, EquipmentOffline,
                              EquipmentOffline}; // an attempt ends by itself
  for (uint8_t from = 0; from < 5; ++from)
    for (const bool on : {false, true}) {
      enter(from);
      model.SetOnlineSwitch(on);
      EXPECT_EQ(model.GetState(), on ? kOn[from] : kOff[from]) << int{from} << on;
    }
}

TEST_F(ControlModel, EveryMessageInEveryState) {
  for (const TableRow &row : tableOf("gem/control_model.txt", "messages")) {
    SCOPED_TRACE(row[0] + " in " + row[1]);
    settings.acceptOnlineRequest = settings.acceptOfflineRequest = row[2] == "accepts";
    enter(static_cast<uint8_t>(row.number(1)));
    CHSecsVerifier slot = receivedSlot(row[0]);
    EXPECT_EQ(model.OnReceive(slot), row[3] == "taken");
    EXPECT_EQ(model.GetState(), row.number(4));
    EXPECT_EQ(replyOf(slot), row[5]);
    EXPECT_EQ(joined(owner.take()), row[6]);
  }
}

TEST_F(ControlModel, MessagesThatFailedVerificationStayAsTheyAre) {
  for (uint8_t state = 0; state < 5; ++state) {
    enter(state);
    CHSecsVerifier slot = receivedSlot("s1f17w<b 1>");
    ASSERT_EQ(slot.result, VerificationIncorrect);
    const std::string prepared = FakeOwner::oneLine(slot.partner()->message);
    EXPECT_FALSE(model.OnReceive(slot));
    EXPECT_EQ(FakeOwner::oneLine(slot.partner()->message), prepared);
    EXPECT_EQ(model.GetState(), state);
  }
  enter(AttemptOnline);
  CHSecsVerifier abort = receivedSlot("s1f0<b 1>");
  ASSERT_EQ(abort.result, VerificationIncorrect);
  EXPECT_FALSE(model.OnReceive(abort));
  EXPECT_EQ(model.GetState(), HostOffline) << "an abort ends the attempt whatever else it holds";
}

TEST_F(ControlModel, AReplyThatTheGateRefusesGoesTheNormalWay) {
  owner.accepts = false;
  enter(HostOffline);
  CHSecsVerifier slot = receivedSlot("s1f17w");
  EXPECT_TRUE(model.OnReceive(slot));
  EXPECT_EQ(model.GetState(), OnlineRemote);
  EXPECT_EQ(replyOf(slot), "S1F18 <b 0x00>");
  EXPECT_THAT(owner.take(), ElementsAre("control 2 4"));
}

TEST_F(ControlModel, TheHostMayChangeTheStateWhileTheReplyIsSent) {
  const struct {
    uint8_t meanwhile;
    std::vector<std::string> notes;
  } rows[] = {
      {EquipmentOffline, {"send S1F16 <b 0x00>", "control 4 0"}},
      {OnlineLocal, {"send S1F16 <b 0x00>", "control 4 3", "control 3 2"}}, // off-line was promised
  };
  for (const auto &row : rows) {
    enter(OnlineRemote);
    owner.onNote = [&](const std::string &line) {
      if (line.starts_with("send"))
        model.SwitchState(row.meanwhile);
    };
    CHSecsVerifier slot = receivedSlot("s1f15w");
    EXPECT_TRUE(model.OnReceive(slot));
    EXPECT_EQ(owner.take(), row.notes);
    owner.onNote = nullptr;
  }
}

TEST_F(ControlModel, AReplyTimeoutEndsAnAttempt) {
  for (uint8_t state = 0; state < 5; ++state) {
    enter(state);
    model.OnProblem(LinkProblem::T5, CHSecsHeader());
    EXPECT_EQ(model.GetState(), state);
    model.OnProblem(LinkProblem::T3, CHSecsHeader());
    EXPECT_EQ(model.GetState(), state == AttemptOnline ? uint8_t{HostOffline} : state);
  }
}

TEST_F(ControlModel, AnAttemptFailsWhenItsQuestionEndsWithoutAnAnswer) {
  enter(AttemptOnline);
  model.OnReceived();
  EXPECT_EQ(model.GetState(), AttemptOnline) << "what came was for another request";
  owner.awaits = false;
  model.OnReceived();
  EXPECT_EQ(model.GetState(), HostOffline);
  EXPECT_THAT(owner.take(), ElementsAre("control 1 2"));
}

TEST_F(ControlModel, ShowsItself) {
  enter(OnlineLocal);
  settings.offlineState = 1;
  settings.onlineState = 9;
  TreeNode tree;
  model.addStatus(tree);
  std::vector<std::string> labels;
  for (const TreeNode &line : tree.children.at(0).children)
    labels.push_back(line.label);
  EXPECT_THAT(labels,
              ElementsAre("State : On Line Local", "Initial State : On Line Remote",
                          "Initial Offline State : Host Off Line",
                          "Offline State : Attempt On Line", "Online State : Unknown State"));
  ListView list;
  model.fillParameters(list);
  EXPECT_THAT(list.rows,
              ElementsAre(ElementsAre("Initial State", "4"),
                          ElementsAre("Initial Offline State", "2"),
                          ElementsAre("Offline State", "1"), ElementsAre("Online State", "9")));
}

TEST(ProcessingModel, ShowsItsState) {
  FakeOwner owner;
  CHGemProcessingModel model(owner, owner.data);
  ListView list;
  model.fillParameters(list);
  EXPECT_THAT(list.columns, ElementsAre("Parameter", "Value"));
  EXPECT_THAT(list.rows, IsEmpty());
  const auto text = [&model] {
    TreeNode root;
    model.addStatus(root);
    return toText(TreeView{root.children});
  };
  EXPECT_EQ(text(), "Processing Model\n  State : IDLE\n");
  EXPECT_TRUE(model.SetState(ProcessingState::Executing));
  for (const int none : {5, 256, -1})
    EXPECT_FALSE(model.SetState(none));
  EXPECT_EQ(text(), "Processing Model\n  State : EXECUTING\n");
  model.Reset();
  EXPECT_EQ(text(), "Processing Model\n  State : IDLE\n");
}

} // namespace
} // namespace velto
