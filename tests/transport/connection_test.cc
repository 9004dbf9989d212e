#include "transport/tcp/connection.h"

#include "platform/socket_error.h"

#include <gtest/gtest.h>

#include "transport/network.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace velto {
namespace {

class ConnectionTest : public testing::Test {
protected:
  ConnectionTest() {
    listener->SetServerMode(true);
    listener->SetSink(&sink);
  }

  RawClient join() {
    const size_t before = listener->PeerCount();
    RawClient client(listener->LocalPort());
    EXPECT_TRUE(net.until([&] { return listener->PeerCount() > before; }));
    return client;
  }
  Handle<CHHsmsConnection> client(int32_t port) {
    auto connection = makeHandle<CHHsmsConnection>(net.loop);
    connection->SetIPAddress("127.0.0.1");
    connection->SetPortNumber(port);
    connection->SetSink(&sink);
    return connection;
  }

  Network net;
  RecordingSink sink;
  Handle<CHHsmsConnection> listener = makeHandle<CHHsmsConnection>(net.loop);
};

TEST_F(ConnectionTest, ListenerSendsToTheAddressedPeerOnly) {
  ASSERT_TRUE(listener->Open());
  std::vector<RawClient> clients;
  for (int i = 0; i < 3; ++i) {
    clients.push_back(join());
    EXPECT_EQ("127.0.0.1", listener->IPAddress());
    EXPECT_EQ(clients.back().port(), listener->PortNumber());
  }
  EXPECT_EQ((Lines{"connected", "connected", "connected"}), sink.take());
  listener->SetPortNumber(clients[1].port());
  EXPECT_EQ(2, listener->SendFrame(fromHex("abcd")));
  listener->SetIPAddress("127.0.0.2");
  EXPECT_EQ(0, listener->SendFrame(fromHex("ffff")));
  net.settle();
  EXPECT_EQ("", clients[0].readHex());
  EXPECT_EQ("abcd", clients[1].readHex());
  EXPECT_EQ("", clients[2].readHex());
}

TEST_F(ConnectionTest, RemoteCloseIsReportedAtOnceAndThePeerLeavesOnTheNextTick) {
  ASSERT_TRUE(listener->Open());
  RawClient remote = join();
  sink.take();
  const int before = sink.changes;
  EXPECT_EQ(std::nullopt, listener->NextPoll());
  remote.close();
  net.settle();
  EXPECT_EQ(Lines{"disconnected"}, sink.take());
  EXPECT_EQ(1U, listener->PeerCount());
  EXPECT_EQ(0U, listener->NextPoll());
  listener->Poll();
  EXPECT_EQ(0U, listener->PeerCount());
  EXPECT_GT(sink.changes, before);
  EXPECT_EQ(std::nullopt, listener->NextPoll());
}

TEST_F(ConnectionTest, LocalCloseReportsNothingAndIsFinal) {
  ASSERT_TRUE(listener->Open());
  RawClient remote = join();
  auto active = client(listener->LocalPort());
  ASSERT_TRUE(active->Open());
  EXPECT_FALSE(active->Open());
  net.settle();
  sink.take();
  active->Close();
  listener->Close();
  EXPECT_FALSE(active->Open());
  EXPECT_FALSE(listener->Open());
  net.settle();
  EXPECT_EQ(Lines{}, sink.take());
  EXPECT_TRUE(remote.ended());
}

TEST_F(ConnectionTest, OpenFailsAndMayBeTriedAgain) {
  ASSERT_TRUE(listener->Open());
  const int32_t port = listener->LocalPort();
  TcpSocket any;
  any.create(0, false);
  const int32_t freePort = any.localPort();
  any.close();
  struct Case {
    const char *name;
    std::function<void(CHHsmsConnection &)> prepare;
  };
  for (const Case &row :
       std::vector<Case>{{"remote port out of range", [](auto &c) { c.SetPortNumber(65536); }},
                         {"local port out of range", [](auto &c) { c.SetMyPortNumber(-1); }},
                         {"local port taken", [&](auto &c) { c.SetMyPortNumber(port); }},
                         {"unknown host", [](auto &c) { c.SetIPAddress("no.such.host.invalid"); }},
                         {"nobody listens", [](auto &c) { c.SetPortNumber(1); }},
                         {"its own port", [&](auto &c) {
                            c.SetMyPortNumber(freePort);
                            c.SetPortNumber(freePort);
                          }}}) {
    auto active = client(port);
    row.prepare(*active);
    EXPECT_FALSE(active->Open()) << row.name;
    EXPECT_FALSE(active->Created()) << row.name;
    active->SetIPAddress("127.0.0.1");
    active->SetPortNumber(port);
    active->SetMyPortNumber(0);
    EXPECT_TRUE(active->Open()) << row.name;
  }
  auto named = client(port);
  named->SetSink(nullptr);
  named->SetIPAddress("localhost");
  EXPECT_TRUE(named->Open());
}

TEST_F(ConnectionTest, StartOpenTellsTheOutcomeLater) {
  listener->Open();
  auto active = client(listener->LocalPort());
  auto refused = client(1);
  Lines outcome;
  ASSERT_TRUE(active->StartOpen([&](bool ok) { outcome.push_back(ok ? "yes" : "no"); }));
  EXPECT_TRUE(active->Opening());
  EXPECT_FALSE(active->StartOpen(nullptr));
  EXPECT_EQ(Lines{}, outcome);
  net.settle();
  EXPECT_EQ(Lines{"yes"}, outcome);
  EXPECT_TRUE(active->Connected());
  if (refused->StartOpen([&](bool ok) { outcome.push_back(ok ? "yes" : "no"); })) {
    net.settle();
    EXPECT_EQ((Lines{"yes", "no"}), outcome);
  }
  auto closed = client(listener->LocalPort());
  ASSERT_TRUE(closed->StartOpen([&](bool) { outcome.push_back("closed"); }));
  closed->Close();
  net.settle();
  EXPECT_NE("closed", outcome.back());
}

// A listener whose backlog is full leaves a connect pending.
TEST_F(ConnectionTest, AWaitForAConnectEndsWithTheObjectAndAtItsLimit) {
  TcpSocket full;
  full.create(0, true);
  full.listen(0);
  std::vector<RawClient> waiting;
  for (int i = 0; i < 4; ++i)
    waiting.emplace_back(full.localPort());
  auto active = client(full.localPort());
  for (const bool destroy : {false, true}) {
    net.loop.post([&] {
      EXPECT_TRUE(active->Opening());
      destroy ? active.reset() : active->Close();
    });
    EXPECT_FALSE(active->Open());
  }
  active = client(full.localPort());
  Lines outcome;
  ASSERT_TRUE(active->StartOpen([&](bool ok) { outcome.push_back(ok ? "yes" : "no"); }));
  for (const uint32_t step : {CHHsmsConnection::kOpenTimeout - 1, 1U}) {
    EXPECT_EQ(Lines{}, outcome);
    net.clock.advance(step);
    net.settle();
  }
  EXPECT_EQ(Lines{"no"}, outcome);
  EXPECT_FALSE(active->Opening());
}

TEST_F(ConnectionTest, OpenFailsWhenTheConnectionHasEndedMeanwhile) {
  TcpSocket server;
  server.create(0, true);
  server.listen(1);
  sink.onReport = [&](const std::string &line) {
    int error = 0;
    if (line == "connected" && server.accept(error))
      net.settle();
  };
  EXPECT_FALSE(client(server.localPort())->Open());
  EXPECT_EQ((Lines{"connected", "disconnected"}), sink.take());
}

// The system still holds the first connection when the second one starts.
TEST_F(ConnectionTest, AClientTakesItsFixedPortAgainAtOnce) {
  const auto other = makeHandle<CHHsmsConnection>(net.loop);
  other->SetServerMode(true);
  ASSERT_TRUE(listener->Open() && other->Open());
  TcpSocket any;
  any.create(0, false);
  const int32_t port = any.localPort();
  any.close();
  for (const int32_t remote : {listener->LocalPort(), other->LocalPort()}) {
    auto active = client(remote);
    active->SetMyPortNumber(port);
    EXPECT_TRUE(active->Open());
    active->Close();
  }
}

TEST_F(ConnectionTest, ABurstIsOneUnitOnTheNextTick) {
  ASSERT_TRUE(listener->Open());
  RawClient remote = join();
  sink.take();
  remote.send(Bytes(3000, 7));
  net.settle();
  EXPECT_EQ(3000, listener->PeerAt(0).BufferedLength());
  EXPECT_EQ(Lines{}, sink.take());
  EXPECT_EQ(0U, listener->NextPoll());
  listener->Poll();
  EXPECT_EQ(Lines{"received 3000"}, sink.take());
  listener->Poll();
  EXPECT_EQ(Lines{}, sink.take());
}

TEST_F(ConnectionTest, BufferCanBeReadAndPeeked) {
  ASSERT_TRUE(listener->Open());
  RawClient remote = join();
  CHHsmsConnection &peer = listener->PeerAt(0);
  remote.send("000001");
  net.settle();
  EXPECT_EQ(0U, peer.PeekLength());
  remote.send("00aabb");
  net.settle();
  EXPECT_EQ(256U, peer.PeekLength());
  std::array<uint8_t, 8> bytes{};
  EXPECT_EQ(0, peer.ReadBuffer(bytes.data(), -1, true));
  EXPECT_EQ(6, peer.ReadBuffer(bytes.data(), 8, false));
  EXPECT_EQ(4, peer.ReadBuffer(bytes.data(), 4, true));
  EXPECT_EQ(2, peer.ReadBuffer(bytes.data(), 8, false));
  EXPECT_EQ("aabb0100aabb0000", toHex(bytes));
  EXPECT_EQ(0, peer.ReadBuffer(nullptr, 1, false));
  EXPECT_EQ(0, peer.BufferedLength());
}

TEST_F(ConnectionTest, AFullBufferStopsReadingWithoutSpinningAndLosesNothing) {
  listener->SetMaxLength(1500);
  ASSERT_TRUE(listener->Open());
  RawClient remote = join();
  sink.take();
  remote.send(Bytes(3000, 1));
  remote.reset(); // even a broken connection must not keep the loop busy
  for (int round = 0; round < 2; ++round) {
    net.settle();
    EXPECT_EQ(1500, listener->PeerAt(0).BufferedLength());
    EXPECT_FALSE(net.loop.runOnce(0));
    listener->Poll();
    EXPECT_EQ(Lines{"received 1500"}, sink.take());
  }
  net.settle();
  EXPECT_EQ(Lines{"disconnected"}, sink.take());
}

TEST_F(ConnectionTest, WhatAPeerDoesNotReadIsQueuedUpToTheLimitAndArrivesInOrder) {
  listener->SetMaxQueued(1'000'000);
  ASSERT_TRUE(listener->Open());
  RawClient remote = join();
  Bytes expected;
  bool full = false;
  for (uint8_t i = 0; i < 200 && !full; ++i) {
    const Bytes part(100'000, i);
    full = listener->SendFrame(part) == 0;
    if (!full)
      expected.insert(expected.end(), part.begin(), part.end());
  }
  EXPECT_TRUE(full);
  Bytes got;
  net.until([&] {
    const Bytes more = remote.read();
    got.insert(got.end(), more.begin(), more.end());
    return got.size() >= expected.size();
  });
  EXPECT_TRUE(got == expected);
  EXPECT_FALSE(net.loop.runOnce(0));
  EXPECT_EQ(1, listener->SendFrame(Bytes(1)));
}

// Neither what is queued is lost, nor does unread input turn the end into a reset.
TEST_F(ConnectionTest, CloseSendsWhatIsQueuedWhenThereIsRoomForIt) {
  constexpr size_t kQueued = 100'000;
  listener->SetMaxQueued(kQueued);
  ASSERT_TRUE(listener->Open());
  RawClient remote = join();
  remote.send(Bytes(3000));
  size_t sent = 0;
  while (const int32_t taken = listener->SendFrame(Bytes(50'000)))
    sent += static_cast<size_t>(taken);
  size_t got = 0;
  for (const size_t wanted : {sent - kQueued, sent}) { // first what is not queued
    for (int i = 0; i < 100'000 && got < wanted; ++i)
      got += remote.read().size();
    listener->Close();
  }
  EXPECT_EQ(sent, got);
  for (int i = 0; i < 100'000 && !remote.ended(); ++i)
    remote.read();
  EXPECT_TRUE(remote.ended());
  EXPECT_FALSE(remote.wasReset());
}

TEST_F(ConnectionTest, WhatArrivedBeforeTheEndIsStillHandedOver) {
  ASSERT_TRUE(listener->Open());
  RawClient remote = join();
  auto active = client(listener->LocalPort());
  ASSERT_TRUE(active->Open());
  remote.send("bb");
  remote.close();
  ASSERT_TRUE(net.until([&] { return listener->PeerCount() == 2; }));
  net.settle();
  listener->SendFrame(fromHex("aa"));
  sink.take();
  listener->Poll();
  EXPECT_EQ(Lines{"received bb"}, sink.take());
  EXPECT_NE(active->LocalPort(), sink.lastPort);
  EXPECT_EQ(2U, listener->PeerCount());
  listener->Poll();
  EXPECT_EQ(1U, listener->PeerCount());
  listener->Close();
  net.settle();
  EXPECT_EQ(0U, active->NextPoll());
  active->Poll();
  EXPECT_EQ((Lines{"disconnected", "received aa"}), sink.take());
  EXPECT_EQ(std::nullopt, active->NextPoll());
}

TEST_F(ConnectionTest, SurplusPeersAreTurnedAway) {
  listener->SetMaxPeers(1);
  ASSERT_TRUE(listener->Open());
  RawClient first = join();
  RawClient second(listener->LocalPort());
  net.settle();
  EXPECT_EQ(1U, listener->PeerCount());
  EXPECT_TRUE(second.ended());
  EXPECT_FALSE(first.ended());
  listener->Poll();
  EXPECT_EQ(sink.take(),
            (Lines{"connected", "problem System 10061 127.0.0.1:" + std::to_string(second.port()) +
                                    " was turned away: 1 connections are served."}));
  EXPECT_EQ(listener->counters().turnedAway, 1U);
  first.close();
  net.settle();
  RawClient third = join(); // the first one does not count, although no tick has removed it yet
  EXPECT_FALSE(third.ended());
}

TEST_F(ConnectionTest, PeersThatComeAndGoFasterThanTheTicksDoNotPileUp) {
  listener->SetMaxPeers(2);
  ASSERT_TRUE(listener->Open());
  for (int i = 0; i < 8; ++i) {
    RawClient brief(listener->LocalPort());
    net.settle();
  }
  EXPECT_LE(listener->PeerCount(), 6U);
  EXPECT_FALSE(net.loop.runOnce(0));
  for (int tick = 0; tick < 8; ++tick) {
    listener->Poll();
    net.settle();
  }
  const Lines lines = sink.take();
  EXPECT_EQ(8, std::count(lines.begin(), lines.end(), "connected")) << "the others have waited";
  EXPECT_EQ(8, std::count(lines.begin(), lines.end(), "disconnected"));
  EXPECT_EQ(0U, listener->PeerCount());
}

/// Leaves the process `left` descriptors while it exists.
class DescriptorShortage {
public:
  explicit DescriptorShortage(size_t left) {
    getrlimit(RLIMIT_NOFILE, &limit_);
    const rlimit low{64, limit_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &low);
    for (int fd = dup(0); fd >= 0; fd = dup(0))
      taken_.push_back(fd);
    for (; left != 0; --left, taken_.pop_back())
      close(taken_.back());
  }
  ~DescriptorShortage() {
    for (const int fd : taken_)
      close(fd);
    setrlimit(RLIMIT_NOFILE, &limit_);
  }

private:
  rlimit limit_{};
  std::vector<int> taken_;
};

TEST_F(ConnectionTest, WithoutDescriptorsAConnectionIsTurnedAwayAndTheLoopSleeps) {
  listener->SetIPAddress("127.0.0.1");
  ASSERT_TRUE(listener->Open());
  RawClient remote(listener->LocalPort());
  bool busy = false;
  {
    const DescriptorShortage shortage(0);
    net.settle();
    busy = net.loop.runOnce(0);
  }
  EXPECT_FALSE(busy);
  EXPECT_EQ(0U, listener->PeerCount());
  EXPECT_TRUE(remote.ended());
  listener->Poll();
  EXPECT_EQ(sink.take(), Lines{"problem System 10024 127.0.0.1:" + std::to_string(remote.port()) +
                               " was turned away."});
  RawClient next = join();
}

TEST_F(ConnectionTest, WithoutEvenASpareDescriptorTheListenerRestsUntilTheNextTick) {
  listener->SetIPAddress("127.0.0.1");
  TcpSocket remote;
  remote.create(0, false);
  bool busy = false;
  {
    const DescriptorShortage shortage(1); // for the listener itself
    ASSERT_TRUE(listener->Open());
    remote.connect("127.0.0.1", static_cast<uint16_t>(listener->LocalPort()));
    net.settle();
    busy = net.loop.runOnce(0);
  }
  EXPECT_FALSE(busy);
  EXPECT_EQ(0U, listener->NextPoll());
  listener->Poll();
  net.settle();
  EXPECT_EQ(1U, listener->PeerCount());
}

TEST_F(ConnectionTest, AResetIsReportedOnTheNextTick) {
  TcpSocket server;
  server.create(0, true);
  server.listen(1);
  auto active = client(server.localPort());
  ASSERT_TRUE(active->Open());
  int error = 0;
  RawClient remote(std::move(server.accept(error)->socket));
  sink.take();
  remote.reset();
  net.settle();
  EXPECT_EQ(Lines{"disconnected"}, sink.take());
  EXPECT_EQ(0U, active->NextPoll());
  active->Poll();
  EXPECT_EQ(Lines{"problem System " + std::to_string(ECONNRESET) + " "}, sink.take());
  EXPECT_EQ(std::nullopt, active->NextPoll());
}

TEST_F(ConnectionTest, ReportsMayDestroyCloseOrPump) {
  const Lines reports{"connected", "received 01", "disconnected"};
  const Lines actions{"destroy", "close", "remove", "pump"};
  for (const auto &at : reports)
    for (const auto &action : actions) {
      SCOPED_TRACE(at + " " + action);
      listener = makeHandle<CHHsmsConnection>(net.loop);
      listener->SetServerMode(true);
      listener->SetSink(&sink);
      sink.onReport = [&](const std::string &line) {
        if (line != at)
          return;
        if (action == "destroy")
          listener.reset();
        else if (action == "close")
          listener->Close();
        else if (action == "remove")
          EXPECT_TRUE(listener->RemovePeer(&listener->PeerAt(0)));
        else if (net.loop.runOnce(0); listener)
          listener->Poll();
      };
      ASSERT_TRUE(listener->Open());
      RawClient remote(listener->LocalPort());
      net.settle();
      remote.send("01");
      net.settle();
      for (int i = 0; i < 3 && listener; ++i)
        listener->Poll();
      remote.close();
      net.settle();
      const Lines lines = sink.take();
      EXPECT_EQ(1, std::count(lines.begin(), lines.end(), at));
      sink.onReport = nullptr;
    }
}

} // namespace
} // namespace velto
