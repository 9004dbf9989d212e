#include "gem/gem_problem.h"
#include "gem/models/control_model.h"

#include "gem/fake_owner.h"
#include "gem/models/processing_model.h"
#include "transport/hsms/hsms_engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kQuestion = "send S1F1W";

class ControlModel : public testing::Test {
protected:
  ControlModel() { owner.addRole(16, RoleControlState, "4"); }

  CHGemEventVid *variable() { return owner.list.FindByRole(RoleControlState); }
  void enter(uint8_t state) {
    variable()->SetValue(std::to_string(state));
    owner.take();
  }

  FakeOwner owner;
  ControlSettings settings;
  CHGemControlModel model{owner, settings};
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
            EXPECT_EQ(model.GetState(), to < 3 ? from : to);
          }
        };
        EXPECT_EQ(model.SwitchState(to), allowed);
        owner.onNote = nullptr;
        EXPECT_EQ(model.GetState(), allowed ? to : from);
        if (!allowed)
          EXPECT_THAT(owner.take(), IsEmpty());
        else if (to == 1)
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
  EXPECT_EQ(model.GetState(), 3);
  EXPECT_TRUE(model.SwitchState(4));
  EXPECT_EQ(owner.list.FindVid(17)->GetValue(), "4");
  owner.list.FindVid(17)->setRawValue("<u4 260>");
  EXPECT_EQ(model.GetState(), 4) << "the low byte counts";

  owner.list.Remove(17);
  owner.take();
  EXPECT_EQ(model.GetState(), 0);
  for (uint8_t to = 0; to < 5; ++to)
    EXPECT_FALSE(model.SwitchState(to));
  EXPECT_FALSE(model.SetStateByHost(1));
  EXPECT_THAT(owner.take(), IsEmpty());
}

TEST_F(ControlModel, AnAttemptThatCannotBeSentFailsAtOnce) {
  for (const uint8_t offline :
       {CHGemControlModel::EquipmentOffline, CHGemControlModel::HostOffline}) {
    settings.offlineState = offline;
    enter(0);
    owner.accepts = false;
    EXPECT_TRUE(model.SwitchState(1));
    EXPECT_EQ(model.GetState(), offline);
    EXPECT_THAT(owner.take(), ElementsAre("control 0 1", "control 1 " + std::to_string(offline)));
  }
}

TEST_F(ControlModel, AChangeInsideAReportHolds) {
  owner.onNote = [&](const std::string &line) {
    if (line == "control 4 2")
      model.SwitchState(0);
  };
  EXPECT_FALSE(model.SwitchState(2));
  EXPECT_EQ(model.GetState(), 0);
  EXPECT_THAT(owner.take(), ElementsAre("control 4 2", "control 4 0"));

  owner.onNote = [&](const std::string &) { EXPECT_FALSE(model.SwitchState(1)); };
  EXPECT_TRUE(model.SwitchState(1)) << "asked for once more inside: reported once";
  EXPECT_THAT(owner.take(), ElementsAre("control 0 1", kQuestion));

  owner.onNote = [&](const std::string &) { owner.list.Clear(); };
  EXPECT_FALSE(model.SwitchState(2)) << "the variable is gone";
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
  constexpr uint8_t kOn[] = {1, 1, 2, 3, 4};
  constexpr uint8_t kOff[] = {0, 1, 0, 0, 0}; // an attempt ends by itself
  for (uint8_t from = 0; from < 5; ++from)
    for (const bool on : {false, true}) {
      enter(from);
      model.SetOnlineSwitch(on);
      EXPECT_EQ(model.GetState(), on ? kOn[from] : kOff[from]) << int{from} << on;
    }
}

struct MessageRow {
  const char *sml;
  uint8_t from;
  bool accepts; // the host's requests
  bool taken;
  uint8_t to;
  const char *reply; // what is left to be sent
  std::vector<std::string> notes;
};

TEST_F(ControlModel, EveryMessageInEveryState) {
  const MessageRow rows[] = {
      {"s1f1w", 0, true, true, 0, "S1F0", {}},
      {"s1f17w", 0, true, true, 0, "S1F0", {}},
      {"s2f17w", 0, true, true, 0, "S2F0", {}},
      {"s64f1w", 0, true, true, 0, "S64F0", {}},
      {"s1f2{}", 0, true, true, 0, "none", {}},

      {"s1f0", 1, true, false, 2, "none", {"control 1 2"}},
      {"s1f2{}", 1, true, false, 4, "none", {"control 1 4"}},
      {"s1f2{}", 1, false, true, 1, "none", {}},
      {"s1f1w", 1, true, true, 1, "S1F0", {}},
      {"s2f0", 1, true, true, 1, "none", {}},
      {"s2f17w", 1, true, true, 1, "S2F0", {}},

      {"s1f17w", 2, true, true, 4, "none", {"send S1F18 <b 0x00>", "control 2 4"}},
      {"s1f17w", 2, false, true, 2, "S1F18 <b 0x01>", {}},
      {"s1f15w", 2, true, true, 2, "S1F0", {}},
      {"s1f1w", 2, true, true, 2, "S1F0", {}},
      {"s64f17w", 2, true, true, 2, "S64F0", {}},

      {"s1f15w", 3, true, true, 2, "none", {"send S1F16 <b 0x00>", "control 3 2"}},
      {"s1f15w", 4, true, true, 2, "none", {"send S1F16 <b 0x00>", "control 4 2"}},
      {"s1f15w", 4, false, true, 4, "S1F16 <b 0x01>", {}},
      {"s1f17w", 3, true, true, 3, "S1F18 <b 0x02>", {}},
      {"s1f17w", 4, false, true, 4, "S1F18 <b 0x02>", {}},
      {"s1f1w", 4, true, false, 4, "S1F2 { <a 'Kel'> <a '1.00'> }", {}},
      {"s1f0", 4, true, false, 4, "none", {}},
      {"s1f2{}", 4, true, false, 4, "none", {}},

      {"s1f17w", 7, true, false, 7, "S1F18 <b 0x00>", {}},
  };
  for (const MessageRow &row : rows) {
    SCOPED_TRACE(std::string(row.sml) + " in " + std::to_string(row.from));
    settings.acceptOnlineRequest = settings.acceptOfflineRequest = row.accepts;
    enter(row.from);
    CHSecsVerifier slot = receivedSlot(row.sml);
    EXPECT_EQ(model.OnReceive(slot), row.taken);
    EXPECT_EQ(model.GetState(), row.to);
    EXPECT_EQ(replyOf(slot), row.reply);
    EXPECT_EQ(owner.take(), row.notes);
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
  enter(1);
  CHSecsVerifier abort = receivedSlot("s1f0<b 1>");
  ASSERT_EQ(abort.result, VerificationIncorrect);
  EXPECT_FALSE(model.OnReceive(abort));
  EXPECT_EQ(model.GetState(), 2) << "an abort ends the attempt whatever else it holds";
}

TEST_F(ControlModel, AReplyThatTheGateRefusesGoesTheNormalWay) {
  owner.accepts = false;
  enter(2);
  CHSecsVerifier slot = receivedSlot("s1f17w");
  EXPECT_TRUE(model.OnReceive(slot));
  EXPECT_EQ(model.GetState(), 4);
  EXPECT_EQ(replyOf(slot), "S1F18 <b 0x00>");
  EXPECT_THAT(owner.take(), ElementsAre("control 2 4"));
}

TEST_F(ControlModel, TheHostMayChangeTheStateWhileTheReplyIsSent) {
  const struct {
    uint8_t meanwhile;
    std::vector<std::string> notes;
  } rows[] = {
      {0, {"send S1F16 <b 0x00>", "control 4 0"}},
      {3, {"send S1F16 <b 0x00>", "control 4 3", "control 3 2"}}, // off-line was promised
  };
  for (const auto &row : rows) {
    enter(4);
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
    model.OnProblem(ErrorGemHsmsT5Timeout, CHSecsHeader());
    EXPECT_EQ(model.GetState(), state);
    model.OnProblem(ErrorGemHsmsT3Timeout, CHSecsHeader());
    EXPECT_EQ(model.GetState(), state == 1 ? 2 : state);
  }
}

TEST_F(ControlModel, ShowsItself) {
  enter(3);
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
  CHGemProcessingModel model(owner);
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
  model.SetState(CHGemProcessingModel::States::Executing);
  EXPECT_EQ(text(), "Processing Model\n  State : EXECUTING\n");
  model.SetState(static_cast<CHGemProcessingModel::States>(5));
  EXPECT_EQ(text(), "Processing Model\n");
  model.Reset();
  EXPECT_EQ(text(), "Processing Model\n  State : IDLE\n");
}

} // namespace
} // namespace velto
