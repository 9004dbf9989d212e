// What a Gem control tells its host application, and what that may do meanwhile. What scripts can
// do of it is tested by those.
#include "controls/gem_pair.h"
#include "gem/data/data_file.h"

namespace velto {
namespace {

using testing::Contains;
using testing::ElementsAre;

class GemEvents : public GemPair {
protected:
  CVeltoGemCtrl &eq = *equipment.control;
};

TEST_P(GemEvents, AValueThatTheModelTimesByCountsAtOnce) {
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

// Of a listener that serves many, as only HSMS does.
class GemHsmsEvents : public GemEvents {};
INSTANTIATE_TEST_SUITE_P(Over, GemHsmsEvents, testing::Values(LinkProtocol::Hsms), linkName);

TEST_P(GemHsmsEvents, EveryConnectionThatEndsIsNamed) {
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

TEST_P(GemEvents, ARoleThatIsLoadedInsideAnEventCountsForTheNextMessage) {
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

INSTANTIATE_TEST_SUITE_P(Over, GemEvents, everyLink(), linkName);

} // namespace
} // namespace velto
