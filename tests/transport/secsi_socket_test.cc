#include "block_line.h"
#include "network.h"
#include "transport/secsi/secsi_socket.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

const std::string kMessage = "80008101800100000007";

struct SecsISockets : Network {
  SecsISockets() {
    sink.kind = ConnectionKind::SecsI;
    listener->SetServerMode(true);
    listener->SetSink(&sink);
  }
  // As the control's timer would.
  void tick() {
    settle();
    for (int i = 0; i < 4; ++i) {
      listener->Poll();
      settle();
    }
  }
  void open() { ASSERT_TRUE(listener->Open()); }
  void answer(RawClient &client, const std::string &hex) {
    client.send(hex);
    tick();
  }

  RecordingSink sink;
  Handle<CHSecsISocket> listener = makeHandle<CHSecsISocket>(loop);
};

TEST(SecsISocket, SendsToTheAddressedPeerAndReceives) {
  SecsISockets net;
  net.open();
  net.listener->SetOneOnOne(false);
  RawClient a(net.listener->LocalPort());
  net.tick();
  RawClient b(net.listener->LocalPort());
  net.tick();
  EXPECT_EQ((Lines{"connected", "connected"}), net.sink.take());

  net.listener->SetPortNumber(a.port());
  EXPECT_TRUE(net.listener->QueueHex("00008101000000000007"));
  net.tick();
  EXPECT_EQ("05", a.readHex());
  EXPECT_EQ("", b.readHex());
  net.answer(b, "05");
  EXPECT_EQ("04", b.readHex()) << "each peer has a state of its own";
  net.answer(a, "04");
  EXPECT_EQ(blockHex(kMessage), a.readHex());
  net.answer(a, "06");
  net.answer(b, blockHex("00008102800100000009"));
  EXPECT_EQ("06", b.readHex());
  EXPECT_EQ((Lines{"sent " + kMessage, "received 00008102800100000009"}), net.sink.take());
}

TEST(SecsISocket, ReportsAMessageThatNoPeerCanTake) {
  SecsISockets net;
  net.open();
  net.sink.address = localHostName();
  EXPECT_FALSE(net.listener->QueueHex("00008101000000000007"));
  EXPECT_EQ((Lines{"problem NoPeer "}), net.sink.take());
  const auto client = makeHandle<CHSecsISocket>(net.loop);
  EXPECT_FALSE(client->QueueHex("00008101000000000007")) << "not connected";
}

TEST(SecsISocket, OneOnOneLetsOthersWait) {
  SecsISockets net;
  net.open();
  RawClient first(net.listener->LocalPort());
  net.tick();
  RawClient second(net.listener->LocalPort());
  net.tick();
  EXPECT_EQ(1U, net.listener->PeerCount());
  EXPECT_FALSE(second.ended());
  EXPECT_EQ((Lines{"connected"}), net.sink.take());
  first.close();
  net.tick();
  EXPECT_EQ((Lines{"disconnected", "connected"}), net.sink.take());
  EXPECT_EQ(second.port(), net.listener->PeerAt(0).PortNumber());
  RawClient third(net.listener->LocalPort());
  net.tick();
  EXPECT_EQ(1U, net.listener->PeerCount());
  net.listener->SetOneOnOne(false);
  net.tick();
  EXPECT_EQ(2U, net.listener->PeerCount());
}

TEST(SecsISocket, ALostConnectionFailsWhatIsQueued) {
  SecsISockets net;
  net.open();
  RawClient client(net.listener->LocalPort());
  net.tick();
  net.listener->QueueHex("00008101000000000007");
  client.close();
  net.tick();
  EXPECT_EQ((Lines{"connected", "failed " + kMessage, "disconnected"}), net.sink.take());
}

TEST(SecsISocket, SettingsReachThePeers) {
  SecsISockets net;
  net.open();
  RawClient client(net.listener->LocalPort());
  net.tick();
  SecsISettings settings;
  settings.master = false;
  settings.t2 = 50;
  settings.retry = 0;
  net.listener->SetSettings(settings);
  net.listener->QueueHex("00008101000000000007");
  net.tick();
  net.clock.advance(50);
  net.tick();
  EXPECT_EQ((Lines{"connected", "failed 00008101800100000007"}), net.sink.take());
}

TEST(SecsISocket, TheSinkMayDestroyTheEngine) {
  for (const char *victim : {"connected", "received", "problem", "disconnected", "failed"}) {
    Network net;
    RecordingSink sink;
    sink.kind = ConnectionKind::SecsI;
    auto listener = makeHandle<CHSecsISocket>(net.loop);
    listener->SetServerMode(true);
    listener->SetSink(&sink);
    ASSERT_TRUE(listener->Open());
    sink.onReport = [&](const std::string &line) {
      if (line.starts_with(victim))
        listener.reset();
    };
    RawClient client(listener->LocalPort());
    net.settle();
    client.send("41" + ("05" + blockHex(kMessage)));
    net.settle();
    if (listener)
      listener->QueueHex("00008101000000000007");
    client.close();
    net.settle();
    EXPECT_EQ(nullptr, listener) << victim;
  }
}

} // namespace
} // namespace velto
