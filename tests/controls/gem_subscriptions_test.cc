// Commands that a handler carries out, and events that a host has subscribed.
#include "controls/gem_capabilities.h"
#include "gem/data/own_model.h"

namespace velto {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST_P(GemCapabilitiesTest, CommandsAreCarriedOutByTheirHandlers) {
  establish();
  CVeltoGemCtrl &control = *equipment.control;
  std::string heard;
  int16_t hcack = 0;
  int16_t cpack = 0;
  control.OnCommand("START", [&](GemCommand &command) {
    heard = command.name + " " + command.values["LOT"] + command.values["SLOT"] +
            command.values["NONE"];
    EXPECT_EQ(command.values.find("LOT")->item.text(), "L1");
    if (cpack != 0)
      command.faults["LOT"] = cpack;
    return hcack;
  });
  const struct {
    int16_t hcack;
    int16_t cpack;
    const char *reply;
  } rows[] = {{0, 0, "S2F42 { <b 0x00> { } }"},
              {4, 0, "S2F42 { <b 0x04> { } }"},
              {0, 2, "S2F42 { <b 0x03> { { <a 'LOT'> <b 0x02> } } }"},
              {-1, 300, "S2F42 { <b 0x05> { } }"}};
  for (const auto &row : rows) {
    hcack = row.hcack;
    cpack = row.cpack;
    equipment.take();
    EXPECT_EQ(ask("s2f41w{<a'START'>{{<a'LOT'><a'L1'>}{<a'SLOT'><u4 7>}}}"), row.reply);
    EXPECT_EQ(heard, "START L17");
    EXPECT_THAT(equipment.take(), Not(Contains(StartsWith("RemoteCommand"))));
  }
  EXPECT_EQ(ask("s2f41w{<a'5'>{}}"), "S2F42 { <b 0x00> { } }");
  EXPECT_THAT(equipment.take(), Contains("RemoteCommand 5 ")) << "without a handler";
  EXPECT_EQ(ask("s2f41w{<a'START'>{}}"), "S2F42 { <b 0x03> { { <a 'LOT'> <b 0x02> } } }")
      << "the model has checked it first";
  control.OnCommand("START", nullptr);
  ask("s2f41w{<a'START'>{{<a'LOT'><a'L1'>}}}");
  EXPECT_THAT(equipment.take(), Contains("RemoteCommand START LOT=L1"));
  control.OnCommand("START", [&](GemCommand &) {
    equipment.control.reset();
    return int16_t{2};
  });
  EXPECT_EQ(ask("s2f41w{<a'START'>{{<a'LOT'><a'L1'>}}}"), "");
}

TEST_P(GemCapabilitiesTest, CommandsAreRegistered) {
  CVeltoGemCtrl &control = *equipment.control;
  EXPECT_TRUE(control.RegisterCommand("PUMP", "PORT:U1,GAS:A", "PORT", 7));
  const CHGemCommand &command = equipment.model().data().commands.back();
  EXPECT_EQ(command, (CHGemCommand{.name = "PUMP",
                                   .parameters = {{"PORT", SecsByte, true}, {"GAS", SecsAscii}},
                                   .event = 7}));
  const char *rows[][3] = {
      {"PUMP", "", ""}, {"", "", ""}, {"X", "PORT", ""}, {"X", "PORT:U1", "GAS"}, {"X", "A:Q", ""}};
  for (const auto &[name, parameters, required] : rows)
    EXPECT_FALSE(control.RegisterCommand(name, parameters, required, 0)) << name << parameters;
  control.SetLogicalConnection(0);
  EXPECT_FALSE(control.RegisterCommand("X", "", "", 0));
}

class Subscriptions : public GemPair {
protected:
  Subscriptions() {
    host.control->engine().SetModel(knownToHost({}));
    host.control->SetEdition(1);
    equipment.control->SetEdition(1);
    model().variables.FindVid(4)->setDescription("Lot");
    model().variables.FindVid(3)->setDescription("Limit");
    equipment.model().events().SetReport(1, {1});
    equipment.model().events().LinkReport(7, 1);
    host.control->observe([this](const Member &event, Arguments arguments) {
      if (event.name == "Problem")
        problems.push_back(arguments[1].text());
      if (event.name == "Received")
        host.control->DefProc();
    });
  }
  GemData &model() { return equipment.model().data(); }
  /// Notes each event: "7 Done: 2 Position = 7".
  int32_t subscribe(GemId ceid, std::vector<GemId> vids) {
    return host.control->Subscribe(std::move(ceid), std::move(vids), [this](const GemEvent &event) {
      std::string line = std::to_string(event.ceid) + " " + event.name + ":";
      for (const GemValue &value : event.values.all)
        line += " " + std::to_string(value.vid) + " " + value.name + " = " + value.text;
      heard.push_back(line);
    });
  }
  std::vector<std::string> invoke(int32_t ceid) {
    heard.clear();
    equipment.control->InvokeEvent(ceid);
    settle();
    return heard;
  }
  std::vector<uint32_t> linked(uint32_t ceid) { return model().events.FindCeid(ceid)->reports; }

  std::vector<std::string> heard;
  std::vector<std::string> problems;
};

TEST_P(Subscriptions, ComeIntoForceWheneverCommunicationsAreEstablished) {
  model().events.FindCeid(8)->enable = false;
  subscribe(7, {2, 4, 3});
  subscribe(8, {});
  EXPECT_FALSE(host.control->Subscribed());
  establish();
  settle(40);
  EXPECT_TRUE(host.control->Subscribed());
  for (int round = 0; round < 3; ++round) {
    EXPECT_THAT(linked(7), ElementsAre(900'001U)) << "in place of its own";
    EXPECT_EQ(model().reports.Count(), 2U);
    EXPECT_TRUE(model().events.FindCeid(8)->enable);
    EXPECT_THAT(invoke(7), ElementsAre("7 Done: 2 Position = 7 4 Lot = LOT 3 Limit = 15"));
    EXPECT_THAT(invoke(8), ElementsAre("8 Gone:"));
    if (round == 0) { // the equipment starts anew, and has forgotten all
      model().removeReports({900'001});
      equipment.send("s1f13w{<a'ETCH-1'><a'1.00'>}");
    } else {
      host.control->SetPhysicalConnection(false);
      settle();
      host.control->SetPhysicalConnection(true);
    }
    settle(60);
  }
  const int32_t later = subscribe(7, {1});
  settle(40);
  EXPECT_THAT(linked(7), ElementsAre(900'001U, 900'003U));
  EXPECT_THAT(invoke(7), ElementsAre("7 Done: 2 Position = 7 4 Lot = LOT 3 Limit = 15",
                                     "7 Done: 1 State = 4"));
  EXPECT_TRUE(host.control->Unsubscribe(later));
  EXPECT_FALSE(host.control->Unsubscribe(later));
  EXPECT_THAT(invoke(7), testing::SizeIs(1));
  settle(40);
  EXPECT_THAT(linked(7), ElementsAre(900'001U));
  EXPECT_EQ(model().reports.Count(), 2U);
  EXPECT_TRUE(host.control->Unsubscribe(1));
  settle(40);
  EXPECT_FALSE(model().events.FindCeid(7)->enable);
  EXPECT_EQ(model().reports.Count(), 1U);
  EXPECT_THAT(problems, ElementsAre());
}

TEST_P(Subscriptions, NamesAreThoseOfTheModelWhereThereIsOne) {
  host.model().data().variables.Add(*model().variables.FindVid(2));
  host.model().data().variables.FindVid(2)->setDescription("Place");
  host.model().events().RegisterCEID(7, kNoRole, "Etched");
  equipment.control->SetEdition(0); // which knows no S1F21
  subscribe(7, {2, 4});
  establish();
  settle(40);
  EXPECT_THAT(invoke(7), ElementsAre("7 Etched: 2 Place = 7 4  = LOT"));
  EXPECT_THAT(problems, ElementsAre());
}

// The report is still defined from the time before.
TEST_P(Subscriptions, EventsWaitForTheirNames) {
  equipment.model().events().SetReport(900'001, {2});
  model().events.FindCeid(7)->reports = {900'001};
  subscribe(7, {2});
  equipment.onEvent = [this](const std::string &line) {
    equipment.answers = line != "Received S1F11W";
  };
  establish();
  settle();
  equipment.control->InvokeEvent(7);
  equipment.control->InvokeEvent(7);
  settle();
  EXPECT_THAT(heard, ElementsAre());
  equipment.control->SetPhysicalConnection(false);
  settle();
  EXPECT_THAT(heard, ElementsAre("7 : 2  = 7", "7 : 2  = 7")) << "nobody has told it";
  heard.clear();
  equipment.control->SetPhysicalConnection(true);
  equipment.onEvent = [this](const std::string &line) {
    if (line == "Received S1F11W") {
      equipment.control->InvokeEvent(7);
      equipment.control->InvokeEvent(7);
    }
  };
  equipment.answers = true;
  net.clock.advance(10'000);
  settle(60);
  EXPECT_THAT(heard, ElementsAre("7 Done: 2 Position = 7", "7 Done: 2 Position = 7"));
}

TEST_P(Subscriptions, IdentifiersMayBeTexts) {
  subscribe("7", {"2", 4U});
  subscribe("EVT", {"LOT"});
  establish();
  settle(40);
  EXPECT_THAT(invoke(7), ElementsAre("7 Done: 2 Position = 7 4 Lot = LOT"))
      << "digits are the number";
  EXPECT_THAT(equipment.messages,
              testing::IsSupersetOf({"S2F33W { <u4 0> { { <u4 900002> { <a 'LOT'> } } } }",
                                     "S1F23W { <a '7'> <a 'EVT'> }"}));
  EXPECT_THAT(problems, ElementsAre(HasSubstr("Event EVT is not subscribed")));
  heard.clear();
  equipment.send("s6f11w{<u4 1><a'EVT'>{{<u4 900002>{<a'L1'>}}}}");
  settle();
  EXPECT_THAT(heard, ElementsAre("0 EVT: 0 LOT = L1"));
}

TEST_P(Subscriptions, WhatTheEquipmentRefusesIsAProblemOfThatEvent) {
  subscribe(7, {99});
  subscribe(99, {2});
  subscribe(98, {});
  subscribe(8, {2});
  establish();
  settle(60);
  EXPECT_THAT(problems, ElementsAre("Error : Event 7 is not subscribed: S2F34 answers 4",
                                    "Error : Event 98 is not subscribed: S2F38 answers 1",
                                    "Error : Event 99 is not subscribed: S2F36 answers 4"));
  EXPECT_THAT(invoke(8), ElementsAre("8 Gone: 2 Position = 7"));
  EXPECT_THAT(invoke(7), ElementsAre("7 Done:")) << "it is reported all the same";
}

TEST_P(Subscriptions, AnEquipmentThatIsOffLineIsAskedAgain) {
  equipment.control->SetControlState(0);
  subscribe(7, {2});
  establish();
  settle(40);
  EXPECT_THAT(problems, ElementsAre());
  EXPECT_THAT(linked(7), ElementsAre(1U));
  host.send("s1f17w");
  equipment.control->SetControlState(1);
  settle(10);
  net.clock.advance(10'000);
  settle(40);
  EXPECT_THAT(invoke(7), ElementsAre("7 Done: 2 Position = 7"));
}

TEST_P(Subscriptions, HandlersMayDoAnything) {
  subscribe(7, {2});
  const int32_t victim = subscribe(7, {1});
  establish();
  settle(60);
  host.control->Subscribe(7, {}, [&](const GemEvent &) {
    EXPECT_EQ(host.control->Request("s1f1w").Value("1"), "ETCH-1");
    host.control->Unsubscribe(victim);
    host.control.reset();
  });
  subscribe(7, {4});
  settle(60);
  EXPECT_THAT(invoke(7), ElementsAre("7 Done: 2 Position = 7", "7 Done: 1 State = 4"));
  EXPECT_EQ(host.control, nullptr);
}

// Their requests wait while the time of these tests stands still, which a line needs to send.
INSTANTIATE_TEST_SUITE_P(Over, Subscriptions, testing::Values(LinkProtocol::Hsms), linkName);

} // namespace
} // namespace velto
