#include "controls/secsi_socket_ctrl.h"

#include "support/event_lines.h"
#include "support/temporary_directory.h"
#include "transport/block_line.h"
#include "transport/network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string kSocketPrimary = "00008101000000000007"; // S1F1W as the host gives it
const std::string kSocketSent = "80008101800100000007";    // and as it goes out

class SecsISocketControl : public testing::Test {
protected:
  SecsISocketControl() { renew(); }

  /// A fresh listener.
  void renew() {
    eq = std::make_unique<CVeltoSecsISocketCtrl>(ControlSite(net.loop));
    eq->SetServer(true);
    eq->SetMyPortNumber(freePort());
    eq->SetConnect(true);
    events = std::make_unique<EventLines>(*eq);
  }
  /// Lets what was sent arrive and be handled on ticks.
  void settle() {
    for (int i = 0; i < 3; ++i) {
      net.settle();
      net.clock.advance(1);
    }
    net.settle();
  }
  void pass(uint32_t ms) {
    net.clock.advance(ms);
    settle();
  }
  std::unique_ptr<CVeltoSecsISocketCtrl> join() {
    auto client = std::make_unique<CVeltoSecsISocketCtrl>(net.loop);
    client->SetMaster(false);
    client->SetPortNumber(eq->MyPortNumber());
    client->SetConnect(true);
    EXPECT_TRUE(client->Connect());
    settle();
    return client;
  }
  /// The far end says something; what answers.
  std::string answer(RawClient &client, const std::string &hex) {
    client.send(hex);
    settle();
    return client.readHex();
  }
  /// As events name it; while it is there.
  static std::string peerOf(const RawClient &client) {
    return "127.0.0.1 " + std::to_string(client.port());
  }

  Network net;
  TemporaryDirectory folder;
  std::unique_ptr<CVeltoSecsISocketCtrl> eq;
  std::unique_ptr<EventLines> events;
};

TEST_F(SecsISocketControl, TwoControlsExchangeMessages) {
  auto client = join();
  EventLines clientEvents(*client);
  const std::string atClient = " 127.0.0.1 " + std::to_string(eq->MyPortNumber()) + " ";
  const std::string atServer = " 127.0.0.1 " + std::to_string(eq->PortNumber()) + " ";
  EXPECT_THAT(events->take(), ElementsAre("Connected" + atServer.substr(0, atServer.size() - 1)));
  EXPECT_EQ(eq->window(), "Server\n  127.0.0.1 (" + std::to_string(eq->PortNumber()) + ")\n");
  EXPECT_EQ(client->window(), "Client\n  127.0.0.1 (" + std::to_string(eq->MyPortNumber()) + ")\n");

  const std::string data = repeated("5A", 700);
  EXPECT_TRUE(client->Send("00000705123400000009" + data)) << "three blocks, against contention";
  EXPECT_TRUE(eq->Send(kSocketPrimary));
  settle();
  const std::string arrived = "00000705800300000009" + repeated("5a", 700);
  EXPECT_THAT(events->take(), testing::UnorderedElementsAre("Received" + atServer + arrived,
                                                            "Sent" + atServer + kSocketSent));
  EXPECT_THAT(clientEvents.take(),
              testing::UnorderedElementsAre("Received" + atClient + kSocketSent,
                                            "Sent" + atClient + arrived));

  for (CVeltoSecsISocketCtrl *control : {eq.get(), client.get()})
    control->SetMSEC(true);
  EXPECT_TRUE(eq->Send("0000010200050000000A\x07"
                       "A"));
  settle();
  const std::string text = "0000010200050000000a\x07"
                           "A";
  EXPECT_THAT(events->take(), ElementsAre("Sent" + atServer + text));
  EXPECT_THAT(clientEvents.take(), ElementsAre("Received" + atClient + text));
}

TEST_F(SecsISocketControl, TheAddressedPeerGetsWhatIsSent) {
  EXPECT_FALSE(eq->Send(kSocketPrimary));
  EXPECT_THAT(events->take(), ElementsAre("Problem 127.0.0.1 0 14 "));
  EXPECT_FALSE(CVeltoSecsISocketCtrl(net.loop).Send(kSocketPrimary)) << "not connected";
  eq->SetOneOnOne(false);
  RawClient first(eq->MyPortNumber());
  settle();
  RawClient second(eq->MyPortNumber());
  settle();
  EXPECT_EQ(eq->PortNumber(), second.port()) << "the newest peer is addressed";
  eq->SetPortNumber(first.port());
  EXPECT_FALSE(eq->Send(kSocketPrimary.substr(1))) << "shorter than a header";
  EXPECT_TRUE(eq->Send(kSocketPrimary));
  settle();
  EXPECT_EQ(first.readHex(), "05");
  EXPECT_EQ(second.readHex(), "");
  events->take();
  EXPECT_EQ(answer(second, "05"), "04") << "each peer has a state of its own";
  EXPECT_EQ(answer(first, "04"), blockHex(kSocketSent));
  answer(first, "06");
  EXPECT_EQ(answer(second, blockHex("00008102800100000009")), "06");
  EXPECT_THAT(events->take(), ElementsAre("Sent " + peerOf(first) + " " + kSocketSent,
                                          "Received " + peerOf(second) + " 00008102800100000009"));
  EXPECT_FALSE(eq->Disconnect("127.0.0.1", 1));
  EXPECT_TRUE(eq->Disconnect("127.0.0.1", first.port()));
  settle();
  EXPECT_TRUE(first.ended());
  EXPECT_EQ(eq->window(), "Server\n  127.0.0.1 (" + std::to_string(second.port()) + ")\n");
}

TEST_F(SecsISocketControl, OneOnOneLetsOthersWait) {
  RawClient first(eq->MyPortNumber());
  settle();
  RawClient second(eq->MyPortNumber());
  settle();
  EXPECT_FALSE(second.ended());
  EXPECT_EQ(answer(second, "05"), "") << "not served";
  const std::string firstPeer = peerOf(first);
  EXPECT_THAT(events->take(), ElementsAre("Connected " + firstPeer));
  first.close();
  settle();
  EXPECT_EQ(second.readHex(), "04") << "its request was kept";
  EXPECT_THAT(events->take(),
              ElementsAre("Disconnected " + firstPeer, "Connected " + peerOf(second)));
  eq->SetConnect(true);
  RawClient third(eq->MyPortNumber());
  RawClient fourth(eq->MyPortNumber());
  settle();
  EXPECT_EQ(events->size(), 1U) << "a fresh engine keeps the setting";
  eq->SetOneOnOne(false);
  settle();
  EXPECT_EQ(events->size(), 2U) << "nobody waits any more";
}

TEST_F(SecsISocketControl, FindsTimeOutsAndFailsTheQueue) {
  eq->SetRetry(1);
  RawClient client(eq->MyPortNumber());
  settle();
  events->take();
  eq->SetT2(50);
  eq->Send(kSocketPrimary);
  eq->Send("00008111000000000008");
  settle();
  pass(50);
  EXPECT_EQ(client.readHex(), "0505");
  pass(50);
  const std::string problem = "Problem " + peerOf(client);
  EXPECT_THAT(events->take(), ElementsAre(problem + " 10 ", problem + " 8 " + kSocketSent,
                                          problem + " 8 80008111800100000008"));
  eq->SetT2(10'000);
  eq->SetDeviceID(5);
  eq->Send(kSocketPrimary);
  settle();
  EXPECT_EQ(answer(client, "04"), "05" + blockHex("80058101800100000007"));
  answer(client, "06");
  eq->SetT3(200);
  pass(200);
  EXPECT_THAT(events->take(), ElementsAre("Sent " + peerOf(client) + " 80058101800100000007",
                                          problem + " 12 80058101800100000007"));
}

TEST_F(SecsISocketControl, TheQueueGoesOnWhileAHandlerPumpsTheLoop) {
  RawClient client(eq->MyPortNumber());
  settle();
  eq->Send(kSocketPrimary);
  eq->Send(kSocketPrimary);
  settle();
  EXPECT_EQ(answer(client, "04"), "05" + blockHex(kSocketSent));
  std::string inside;
  events->onEvent = [&](const std::string &name) {
    if (name == "Sent") {
      settle();
      inside = client.readHex();
    }
  };
  answer(client, "06");
  EXPECT_EQ(inside, "05");
}

// Most hosts connect anew inside Disconnected, which replaces the engine: by then everything that
// was queued has been reported.
TEST_F(SecsISocketControl, ALostConnectionFailsTheQueueBeforeItIsReported) {
  RawClient client(eq->MyPortNumber());
  settle();
  events->take();
  eq->Send(kSocketPrimary);
  eq->Send("00008111000000000008");
  events->onEvent = [&](const std::string &name) {
    if (name == "Disconnected")
      eq->SetConnect(true);
  };
  const std::string peer = peerOf(client);
  client.close();
  settle();
  const std::string problem = "Problem " + peer;
  EXPECT_THAT(events->take(),
              ElementsAre(problem + " 8 " + kSocketSent, problem + " 8 80008111800100000008",
                          "Disconnected " + peer));
  EXPECT_TRUE(eq->Connect());
}

TEST_F(SecsISocketControl, WritesItsLog) {
  eq->SetIniSection("Etcher");
  eq->SetLogFileName(folder / "line");
  eq->SetLog(true);
  RawClient client(eq->MyPortNumber());
  settle();
  eq->Send(kSocketPrimary);
  settle();
  answer(client, "04");
  answer(client, "06");
  answer(client, "05");
  answer(client, blockHex("00000102800000000007"));
  answer(client, "41");
  const std::string end =
      "\r\nIP Address  : 127.0.0.1\r\nPort Number : " + std::to_string(client.port()) + "\r\n\r\n";
  client.close();
  settle();
  eq->SetLogVerbose(true);
  const std::string log = systemFiles().read(folder / "line.log").value_or("");
  size_t at = 0;
  for (const std::string &record :
       {"Connected with  Etcher" + end, std::string("Sending to Etcher\r\nS1F1W\r\n\r\n"),
        std::string("Received from Etcher\r\nS1F2\r\n\r\n"), "Error(1)" + end,
        "Disconnected with Etcher" + end}) {
    const size_t found = log.find("\r\n" + record, at);
    EXPECT_NE(found, std::string::npos) << record << " in " << log;
    at = found;
  }
  RawClient verbose(eq->MyPortNumber());
  settle();
  answer(verbose, "05");
  EXPECT_THAT(systemFiles().read(folder / "line.log").value_or(""), HasSubstr(" Sent EOT\r\n"));
}

} // namespace
} // namespace velto
