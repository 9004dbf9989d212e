// What a Gem control tells its host application, and what that may do meanwhile.
#include "controls/gem_pair.h"
#include "gem/data/data_file.h"

namespace velto {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class GemEvents : public GemPair {
protected:
  CVeltoGemCtrl &eq = *equipment.control;
};

TEST_F(GemEvents, TheSelectionIsThatOfTheEventAndComesBack) {
  establish();
  std::vector<std::string> seen;
  const auto select = [this](int32_t slot, bool reply) {
    eq.SetWorkSpace(slot);
    eq.SetReply(reply);
  };
  const auto selected = [this] {
    return std::to_string(eq.WorkSpace()) + (eq.Reply() ? " reply S" : " S") +
           std::to_string(eq.Stream()) + "F" + std::to_string(eq.Function());
  };
  bool nested = false;
  equipment.onEvent = [&](const std::string &line) {
    seen.push_back(line + ": " + selected());
    if (line == "Received S1F3W" && !nested) {
      nested = true;
      select(1, true);
      host.send("s1f11w{}"); // arrives, and is answered, inside this event
      net.settle();
      seen.push_back("again: " + std::to_string(eq.WorkSpace()) + (eq.Reply() ? " reply" : ""));
    }
    select(2, false); // is forgotten with the event
  };
  select(2, true);
  ASSERT_TRUE(host.send("s1f3w{<u4 2>}"));
  settle();
  EXPECT_THAT(seen, ElementsAre("Received S1F3W: 0 S1F3", "Received S1F11W: 0 S1F11",
                                "Sent S1F12: 1 S1F12", "again: 1 reply", "Sent S1F12: 1 S1F12"));
  EXPECT_EQ(eq.WorkSpace(), 2);
  EXPECT_TRUE(eq.Reply());
}

TEST_F(GemEvents, AReplyOfTheHostsOwnTakesTheSystemBytes) {
  establish();
  equipment.answers = false;
  equipment.onEvent = [this](const std::string &line) {
    if (line != "Received S2F41W")
      return;
    eq.SetReply(true);
    eq.SetSML("s2f42{<b 1>{}}");
    EXPECT_TRUE(eq.Send());
  };
  EXPECT_EQ(ask("s2f41w{<a'DANCE'>{}}"), "S2F42 { <b 0x01> { } }");
  EXPECT_EQ(host.model().OpenTransactionCount(), 0U);
  EXPECT_EQ(ask("s1f1w"), "") << "neither DefProc() nor Send(): no answer";
}

TEST_F(GemEvents, TheGateFollowsTheStates) {
  establish();
  host.answers = false;
  const struct {
    int16_t communication;
    const char *control;
    const char *sml;
    bool passes;
  } rows[] = {
      {2, "4", "s6f11w{<u4 1><u4 7>{}}", true},
      {2, "3", "s10f1w{<b 0><a'x'>}", true},
      {2, "2", "s6f11w{<u4 1><u4 7>{}}", false},
      {2, "0", "s1f1w", true},
      {2, "2", "s1f18<b 0>", true},
      {2, "2", "s1f16<b 0>", false},
      {2, "0", "s9f7<b>", true},
      {1, "4", "s1f1w", false},
      {1, "4", "s1f14{<b 0>{}}", true},
      {1, "4", "s1f13w{}", true},
      {1, "4", "s1f13w{}", false},
      {1, "4", "s9f7<b>", true},
  };
  for (const auto &row : rows) {
    eq.SetCommunicationState(row.communication);
    eq.SetVIDValue(1, row.control);
    equipment.take();
    EXPECT_EQ(equipment.send(row.sml), row.passes) << row.sml << " " << row.control;
    EXPECT_EQ(equipment.take().empty(), !row.passes) << row.sml;
  }
}

TEST_F(GemEvents, DefProcAnswersWhateverTheStateIs) {
  establish();
  eq.SetControlState(0);
  EXPECT_EQ(ask("s2f17w"), "S2F0") << "the gate would not let it pass";
  equipment.take();
  eq.SetWorkSpace(0);
  eq.SetSML("s6f12<b 0>");
  EXPECT_TRUE(eq.DefProc()) << "though there is nothing to send";
  EXPECT_THAT(equipment.take(), IsEmpty());
}

TEST_F(GemEvents, EventsAndAlarmsGoOutOnlyOnline) {
  EXPECT_FALSE(eq.InvokeEvent(7));
  EXPECT_FALSE(eq.InvokeAlarm(5, 0x80));
  EXPECT_FALSE(eq.ALIDSet(5)) << "not communicating: the alarm stays as it is";
  establish();
  EXPECT_TRUE(eq.InvokeEvent(7));
  settle();
  EXPECT_EQ(host.slot(CHGem::kReceived), "S6F11W { <u4 1> <u4 7> * CEID { } }");
  EXPECT_FALSE(eq.InvokeEvent(99));
  eq.SetCEIDEnable(7, false);
  EXPECT_FALSE(eq.InvokeEvent(7));
  EXPECT_TRUE(eq.InvokeAlarm(5, 0x80));
  EXPECT_FALSE(eq.InvokeAlarm(5, 0x80)) << "it is set";
  settle();
  EXPECT_EQ(host.slot(CHGem::kReceived),
            "S5F1W { <b 0x85> * ALCD <u4 5> * ALID <a 'Hot'> * ALTX }");
  EXPECT_TRUE(systemFiles().read(eq.DataFileName())) << "its state is kept";
  eq.SetALIDEnable(6, false);
  EXPECT_FALSE(eq.InvokeAlarm(6, 0x80));
  eq.SetControlState(0);
  EXPECT_FALSE(eq.InvokeAlarm(5, 0));
  EXPECT_EQ(eq.ALCD(5), 5);
  EXPECT_TRUE(eq.ALIDSet(5));
}

TEST_F(GemEvents, AChangeOfControlIsReportedToBoth) {
  equipment.model().data().events.FindCeid(7)->role = RoleGoToLocal;
  equipment.model().data().events.FindCeid(8)->role = RoleOnlineToOffline;
  establish();
  eq.SetControlState(3);
  EXPECT_THAT(equipment.take(), ElementsAre("Sent S6F11W", "ControlStateChanged 3 4"));
  eq.SetControlState(2);
  eq.SetControlState(1);
  EXPECT_EQ(eq.ControlState(), 3) << "not the equipment's to choose";
  eq.SetControlStateSwitch(false);
  EXPECT_THAT(equipment.take(), ElementsAre("Sent S6F11W", "ControlStateChanged 0 3"));
  settle();
  equipment.take();
  eq.SetControlStateSwitch(true);
  settle();
  EXPECT_THAT(equipment.take(), ElementsAre("ControlStateChanged 1 0", "Sent S1F1W",
                                            "Received S1F2", "ControlStateChanged 4 1"));
}

TEST_F(GemEvents, NumbersThatAreNoStateAreRefused) {
  establish();
  for (const int16_t state : {int16_t{-253}, int16_t{5}, int16_t{0x103}}) // low bytes 3, 5, 3
    eq.SetControlState(state);
  for (const int16_t state : {int16_t{-255}, int16_t{3}, int16_t{0x100}}) // low bytes 1, 3, 0
    eq.SetCommunicationState(state);
  EXPECT_THAT(equipment.take(), IsEmpty());
}

TEST_F(GemEvents, AValueThatTheModelTimesByCountsAtOnce) {
  GemData &data = equipment.model().data();
  data.variables.SetRole(*data.variables.FindVid(3), RoleEstablishCommunicationsTimeout);
  eq.SetVIDValue(3, "300");
  eq.SetT3(1);
  host.answers = false;
  host.control->SetPhysicalConnection(true);
  settle();
  net.clock.advance(1000);
  settle();
  EXPECT_THAT(equipment.take(), Contains(testing::StartsWith("Problem 12 Error : T3 time out. S")));
  net.clock.advance(10000);
  eq.SetVIDValue(3, "2");
  settle();
  EXPECT_THAT(equipment.take(), ElementsAre("Sent S1F13W"));
  eq.SetVIDRawValue(1, "<u1 1>");
  settle(2);
  EXPECT_THAT(equipment.take(), ElementsAre("ControlStateChanged 2 1"))
      << "nobody goes on-line without communications";
}

TEST_F(GemEvents, AFailedLoadInsideAnEventLeavesTheFileAlone) {
  establish();
  const std::string path = folder / "broken.kel";
  files.write(path, "what is left of a model");
  equipment.onEvent = [&](const std::string &line) {
    if (line != "VIDChanged 3")
      return;
    eq.SetDataFileName(path);
    eq.LoadData();
  };
  ASSERT_TRUE(host.send("s2f15w{{<u4 3><u4 12>}{<u4 3><u4 13>}}"));
  settle();
  EXPECT_EQ(eq.VIDCount(), 0);
  EXPECT_EQ(readDataFile(files, path), "what is left of a model");
}

TEST_F(GemEvents, AReplyIsSeenWhenDefProcHandlesIt) {
  establish();
  eq.SetT3(2);
  equipment.answers = false; // the host's S6F12 arrives, and nobody looks at it
  EXPECT_TRUE(eq.InvokeEvent(7));
  settle();
  EXPECT_THAT(equipment.take(), ElementsAre("Sent S6F11W", "Received S6F12"));
  net.clock.advance(2000);
  settle(3);
  EXPECT_THAT(equipment.take(),
              Contains(testing::StartsWith("Problem 12 Error : T3 time out. S")).Times(1));
  EXPECT_THAT(host.take(), Contains("Received S9F9").Times(1));
  equipment.answers = true;
  EXPECT_EQ(ask("s1f13w{}").substr(0, 5), "S1F14") << "communicating again";
  EXPECT_TRUE(eq.InvokeEvent(7));
  settle();
  net.clock.advance(2100);
  settle();
  EXPECT_THAT(equipment.take(), Not(Contains(testing::StartsWith("Problem 12 "))));
}

TEST_F(GemEvents, ALostLinkIsToldAndTriedAgain) {
  establish();
  host.control->SetT5(3);
  eq.SetPhysicalConnection(false);
  settle();
  EXPECT_FALSE(eq.PhysicalConnection());
  EXPECT_EQ(eq.CommunicationState(), 0);
  EXPECT_THAT(host.take(), ElementsAre("Disconnected", "ConnectionStateChanged 0 2",
                                       "CommunicationStateChanged 0 2"));
  EXPECT_THAT(equipment.take(), Not(Contains("Disconnected"))) << "it closed the link itself";
  net.clock.advance(3000);
  settle();
  EXPECT_THAT(host.take(), ElementsAre("Problem 13 Error : T5 time out."));
  eq.SetPhysicalConnection(true);
  settle();
  net.clock.advance(3000);
  settle();
  EXPECT_EQ(host.control->CommunicationState(), 2);
}

TEST_F(GemEvents, EveryConnectionThatEndsIsNamed) {
  establish();
  std::vector<int32_t> ports; // of connections that ended
  eq.onDisconnected = [&ports](const std::string &, int32_t port) { ports.push_back(port); };
  int32_t first = 0;
  eq.onReceived = [&first](const std::string &, int32_t port) { first = port; };
  ask("s1f1w");
  eq.onReceived = nullptr;
  auto visitor = std::make_unique<RawClient>(eq.PortNumber());
  auto leaver = std::make_unique<RawClient>(eq.PortNumber());
  settle();
  const int32_t visitorPort = visitor->port();
  const int32_t leaverPort = leaver->port();
  leaver->send("0000000affff0000000900000001"); // Separate.req
  settle();
  EXPECT_THAT(ports, ElementsAre(leaverPort));
  visitor->close();
  settle();
  EXPECT_THAT(ports, ElementsAre(leaverPort, visitorPort));
  EXPECT_EQ(eq.CommunicationState(), 2) << "the host's connection is still there";
  host.control->SetPhysicalConnection(false);
  settle();
  EXPECT_THAT(ports, ElementsAre(leaverPort, visitorPort, first));
  EXPECT_EQ(eq.CommunicationState(), 0);

  ports.clear();
  RawClient silent(eq.PortNumber()); // never selects
  settle();
  net.clock.advance(10'000);
  settle();
  EXPECT_THAT(ports, ElementsAre(silent.port()));
}

TEST_F(GemEvents, AProblemOfTheLinkLeavesTheHostsSelection) {
  establish();
  eq.SetT3(2);
  equipment.answers = false;
  RawClient visitor(eq.PortNumber());
  visitor.send("ffffffff"); // a length that no message has
  eq.SetReply(true);
  settle();
  EXPECT_THAT(equipment.take(), Contains("Problem 2 Error : Length exceeds maximum limit."));
  EXPECT_TRUE(eq.Reply());
  EXPECT_TRUE(eq.InvokeEvent(7));
  settle();
  net.clock.advance(2000);
  settle(3);
  EXPECT_THAT(equipment.take(), Contains(testing::StartsWith("Problem 12 Error : T3 time out. S")));
  EXPECT_FALSE(eq.Reply()) << "the transaction is over";
}

TEST_F(GemEvents, ControlMessagesAreAnnouncedButAnsweredByTheLink) {
  establish();
  EXPECT_TRUE(host.control->engine().SendEncoded(fromHex("ffff0000000500000009")));
  settle();
  EXPECT_THAT(equipment.take(), ElementsAre("Received LinktestReq", "Sent LinktestRsp"));
  EXPECT_THAT(host.take(), ElementsAre("Sent LinktestReq", "Received LinktestRsp"));
}

TEST_F(GemEvents, AMessageInsideAnEventIsAnsweredOnce) {
  establish();
  bool asked = false;
  equipment.onEvent = [&](const std::string &line) {
    if (line != "ControlStateChanged 2 4" || asked)
      return;
    asked = true;
    host.send("s1f13w{}"); // while the equipment goes off-line
    net.settle();
  };
  ASSERT_TRUE(host.send("s1f15w"));
  settle();
  EXPECT_TRUE(asked);
  EXPECT_THAT(host.take(), Contains("Received S1F14").Times(1));
  EXPECT_EQ(eq.ControlState(), 2);
}

TEST_F(GemEvents, AMessageIsAnsweredOnceThoughSentAsksAgain) {
  establish();
  equipment.onEvent = [this](const std::string &line) {
    if (line.starts_with("Sent") || line.starts_with("ControlStateChanged")) {
      EXPECT_TRUE(eq.DefProc());
    }
  };
  for (const char *sml : {"s1f3w{}", "s1f15w", "s1f17w", "s1f13w{}"}) {
    ASSERT_TRUE(host.send(sml));
    settle();
    const std::vector<std::string> lines = equipment.take();
    EXPECT_EQ(std::ranges::count_if(lines, [](auto &line) { return line.starts_with("Sent"); }), 1)
        << sml;
  }
}

TEST_F(GemEvents, ARoleThatIsLoadedInsideAnEventCountsForTheNextMessage) {
  establish();
  equipment.onEvent = [this](const std::string &line) {
    if (line == "VIDChanged 3")
      equipment.model().SetHost(true);
  };
  EXPECT_EQ(ask("s2f15w{{<u4 3><u4 12>}}"), "S2F16 <b 0x00>");
  EXPECT_EQ(ask("s1f3w{}"), "S1F0") << "no question to a host";
}

// From the connection to its end, with every event in between.
void live(GemLink &link) {
  const auto ask = [&link](const char *sml) {
    if (link.host.control != nullptr && link.host.send(sml))
      link.settle(2);
  };
  link.equipment.model().data().communication.establishCommunications = false;
  link.equipment.control->SetT3(1);
  link.host.model().data().communication.establishCommunications = true;
  link.host.control->SetPhysicalConnection(true);
  link.settle(5);
  for (const char *sml : {"s1f3w{}", "s1f15w", "s1f17w", "s2f15w{{<u4 3><u4 12>}}",
                          "s5f3w{<b 0><u4 5>}", "s2f33w{<u4 1>{{<u4 9>{<u4 2>}}}}"})
    ask(sml);
  link.host.answers = false;
  if (link.equipment.control != nullptr)
    link.equipment.control->InvokeEvent(7);
  link.net.clock.advance(1000);
  link.settle(5);
  link.host.control->SetPhysicalConnection(false);
  link.settle(5);
  const auto listens = [&eq = link.equipment.control] {
    return eq != nullptr && eq->PhysicalConnection() && eq->Server();
  };
  if (!listens())
    return;
  // A partner who sends a wrong session ID, a wrong length and half a message, and answers nothing.
  RawClient partner(link.equipment.control->PortNumber());
  const auto send = [&](const std::string &hex, uint32_t milliseconds) {
    if (listens() && !partner.ended())
      partner.send(hex);
    link.settle(2);
    link.net.clock.advance(milliseconds);
    link.settle(2);
  };
  send(frame("ffff0000000100000001") + frame("ffff0000000500000003") +
           frame("ffff8101000000000001") + "00000000",
       0);
  if (listens())
    link.equipment.control->engine().SendEncoded(fromHex("ffff0000000500000009"));
  send("000000", 5000);
  send(frame("ffff0000000300000002"), 10'000);
}

using Act = void (*)(GemLink &link);

constexpr struct {
  const char *name;
  Act act;
} kGemActs[] = {
    {"destroys the control", [](GemLink &link) { link.equipment.control.reset(); }},
    {"closes the link",
     [](GemLink &link) { link.equipment.control->SetPhysicalConnection(false); }},
    {"loads the data", [](GemLink &link) { link.equipment.control->LoadData(); }},
    {"switches the model off",
     [](GemLink &link) { link.equipment.control->SetLogicalConnection(0); }},
    {"makes a fresh model", [](GemLink &link) { link.equipment.control->SetLogicalConnection(1); }},
    {"pumps the loop", [](GemLink &link) { link.settle(2); }},
};

// Lets the host application act once, inside the first event whose line begins so.
void arm(GemLink &link, const std::string &event, Act act, bool &acted) {
  link.equipment.onEvent = [&link, event, act, &acted](const std::string &line) {
    if (acted || !line.starts_with(event))
      return;
    acted = true;
    act(link);
  };
}

// Whatever befell the control: it can be set up and connected again.
void expectRevival(GemLink &link) {
  if (link.equipment.control == nullptr)
    return;
  CVeltoGemCtrl &eq = *link.equipment.control;
  eq.SetPhysicalConnection(false);
  eq.SetLogicalConnection(1);
  EXPECT_TRUE(eq.LoadData());
  eq.SetServer(true);
  eq.SetPortNumber(link.host.control->PortNumber());
  eq.SetPhysicalConnection(true);
  link.settle(1);
  link.host.answers = true;
  link.host.control->SetPhysicalConnection(true);
  link.settle(5);
  EXPECT_EQ(eq.CommunicationState(), 2);
  EXPECT_EQ(link.host.control->CommunicationState(), 2);
}

TEST(GemHost, MayDoAnythingInsideEveryEvent) {
  for (const char *event : {"Connected",
                            "Sent SelectRsp",
                            "Received LinktestReq",
                            "Sent LinktestRsp",
                            "Problem 6 ",
                            "Problem 1 ",
                            "Problem 3 ",
                            "Problem 4 ",
                            "Problem 5 ",
                            "ConnectionStateChanged 2",
                            "CommunicationStateChanged 1 0",
                            "Received S1F13W",
                            "CommunicationStateChanged 2 1",
                            "Sent S1F14",
                            "Received S1F3W",
                            "Sent S1F4",
                            "Received S1F15W",
                            "Sent S1F16",
                            "ControlStateChanged 2 4",
                            "Received S1F17W",
                            "Sent S1F18",
                            "ControlStateChanged 4 2",
                            "Received S2F15W",
                            "VIDChanged 3",
                            "Received S5F3W",
                            "Received S2F33W",
                            "Sent S6F11W",
                            "CommunicationStateChanged 1 2",
                            "Sent S9F9",
                            "Problem 12 Error : T3 time out.",
                            "Disconnected",
                            "CommunicationStateChanged 0 1"})
    for (const auto &row : kGemActs) {
      SCOPED_TRACE(std::string(row.name) + " inside " + event);
      GemLink link;
      bool acted = false;
      arm(link, event, row.act, acted);
      live(link);
      EXPECT_TRUE(acted);
      expectRevival(link);
    }
}

TEST(GemHost, MayDoAnythingInsideTheEventsOfItsOwnCalls) {
  const struct {
    const char *event;
    std::function<void(CVeltoGemCtrl &)> call;
  } rows[] = {
      {"CommunicationStateChanged 1 2", [](CVeltoGemCtrl &c) { c.SetCommunicationState(1); }},
      {"CommunicationStateChanged 0 2", [](CVeltoGemCtrl &c) { c.LoadData(); }},
      {"CommunicationStateChanged 1 0", [](CVeltoGemCtrl &c) { c.LoadData(); }},
      {"ControlStateChanged 3 4", [](CVeltoGemCtrl &c) { c.SetControlState(3); }},
      {"ControlStateChanged 0 4", [](CVeltoGemCtrl &c) { c.SetControlStateSwitch(false); }},
      {"Sent S6F11W", [](CVeltoGemCtrl &c) { c.InvokeEvent(7); }},
      {"Sent S5F1W", [](CVeltoGemCtrl &c) { c.InvokeAlarm(5, 0x80); }},
      {"Sent S1F1W",
       [](CVeltoGemCtrl &c) {
         c.SetWorkSpace(2);
         c.SetSML("s1f1w");
         c.Send();
       }},
      {"ConnectionStateChanged 0 2", [](CVeltoGemCtrl &c) { c.SetPhysicalConnection(false); }},
  };
  for (const auto &row : rows)
    for (const auto &act : kGemActs) {
      SCOPED_TRACE(std::string(act.name) + " inside " + row.event);
      GemLink link;
      link.establish();
      bool acted = false;
      arm(link, row.event, act.act, acted);
      row.call(*link.equipment.control);
      link.settle();
      EXPECT_TRUE(acted);
    }
}

} // namespace
} // namespace velto
