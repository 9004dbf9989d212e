#include "base/text.h"
#include "transport/hsms_engine_fixture.h"

#include <netinet/in.h>
#include <netinet/tcp.h>

// How an engine notices partners that are dead, lost or hostile, and what it never takes from them.

namespace velto {
namespace {

constexpr int32_t kInterval = 30'000; // ms between linktests
const std::string kLinktest = "ffff00000005";
const std::string kStatus3 = "ffff0003000200000011"; // Select.rsp: another connection is selected

class HsmsEngineDeath : public HsmsEngineTest {
protected:
  /// A selected link that is tested when it is idle.
  void openTested() {
    openSelected();
    engine->settings().linktestInterval = kInterval;
    engine->settingsChanged();
  }
  /// One tick after that time.
  Lines after(uint32_t milliseconds) {
    net->clock.advance(milliseconds);
    return poll();
  }
  std::string arrived() {
    net->settle();
    return remote->readHex();
  }
};

// A message above the limit costs one report and no memory; what follows it is read as it stands.
TEST_F(HsmsEngineDeath, AMessageAboveTheLimitIsSkippedToItsEnd) {
  for (const size_t pieces : {1U, 3U, 40U}) {
    openSelected();
    std::string bytes = "00000101"; // 257 bytes, of which the first are a frame of their own
    bytes += frame("ffff8701000000000008") + std::string((257 - 14) * 2, 'a');
    bytes += frame(kLinktestReq);
    const size_t size = (bytes.size() / pieces / 2 + 1) * 2;
    for (size_t at = 0; at < bytes.size(); at += size) {
      remote->send(bytes.substr(at, size));
      net->settle();
    }
    EXPECT_EQ(remote->readHex(), frame("ffff0000000600000013"));
    EXPECT_EQ(owner.take(), (Lines{"problem LengthTooLong 00000101", "control " + kLinktestReq,
                                   "sent LinktestRsp"}));
  }
  openSelected();
  remote->send("00000101aa");
  net->settle();
  owner.take();
  EXPECT_EQ(pollWhenDue(5000), (Lines{"problem T8 ", "disconnected", "state 20"}))
      << "nobody could tell the rest of it from frames";
}

TEST_F(HsmsEngineDeath, ALengthThatNobodyMeansEndsTheConnection) {
  for (const auto &[length, ends] : std::vector<std::pair<std::string, bool>>{
           {"10000000", false}, {"10000001", true}, {"ffffffff", true}}) {
    openSelected();
    remote->send(length + kS1F1);
    net->settle();
    Lines expected{"problem LengthTooLong " + length};
    if (ends)
      expected.push_back("disconnected");
    EXPECT_EQ(owner.take(), expected);
    EXPECT_EQ(remote->ended(), ends);
  }
}

TEST_F(HsmsEngineDeath, T8OfZeroWaitsForever) {
  openSelected();
  engine->settings().t8 = 0;
  engine->settingsChanged();
  remote->send(frame(kS1F1).substr(0, 20));
  net->settle();
  EXPECT_EQ(after(1'000'000), Lines{});
  remote->send(frame(kS1F1).substr(20));
  net->settle();
  EXPECT_EQ(owner.take(), Lines{"data " + kS1F1});
}

TEST_F(HsmsEngineDeath, AnIdleLinkIsTestedAndADeadOneClosed) {
  openTested();
  EXPECT_EQ(after(kInterval - 1), Lines{});
  EXPECT_EQ(exchange(kS1F1), "") << "traffic of either side starts the silence anew";
  owner.take();
  EXPECT_EQ(pollWhenDue(kInterval), Lines{"sent LinktestReq"});
  const std::string request = arrived();
  ASSERT_EQ(request.substr(8, 12), kLinktest);
  exchange("ffff00000006" + request.substr(20));
  owner.take();
  EXPECT_EQ(pollWhenDue(kInterval), Lines{"sent LinktestReq"});
  const Lines died = pollWhenDue(5000);
  ASSERT_EQ(died.size(), 3U);
  EXPECT_EQ(died[0].substr(0, 22), "problem T6 ffff0000000");
  EXPECT_EQ(died[1], "disconnected");
  EXPECT_EQ(died[2], "state 20");
  arrived();
  EXPECT_TRUE(remote->ended());
}

TEST_F(HsmsEngineDeath, NoLinktestWhileAReplyIsDueOrTheIntervalIsOff) {
  openTested();
  owner.owesReply = true;
  EXPECT_EQ(after(10 * kInterval), Lines{});
  owner.owesReply = false;
  EXPECT_EQ(poll(), Lines{"sent LinktestReq"});

  openSelected();
  EXPECT_EQ(engine->NextPoll(), std::nullopt);
}

TEST_F(HsmsEngineDeath, ADeadLinkIsFoundWithoutT6Too) {
  openTested();
  engine->settings().t6 = 0;
  EXPECT_EQ(after(kInterval), Lines{"sent LinktestReq"});
  EXPECT_EQ(pollWhenDue(5000).size(), 3U);
}

// Its end is its only problem, however many answers it did not wait for.
TEST_F(HsmsEngineDeath, APartnerThatLeavesIsNotTakenForOneThatDoesNotRead) {
  openSelected();
  remote->send(frame(kLinktestReq) + frame(kLinktestReq) + frame(kLinktestReq));
  remote->reset();
  net->settle();
  Lines problems;
  for (int i = 0; i < 4; ++i) {
    for (const std::string &line : poll())
      if (line.starts_with("problem"))
        problems.push_back(line);
  }
  EXPECT_LE(problems.size(), 1U);
  for (const std::string &line : problems)
    EXPECT_EQ(line, "problem System 104 ");
}

// Who comes back after a power cut finds the session taken by its own dead connection.
TEST_F(HsmsEngineDeath, AReturningHostGetsInWhenTheOneBeforeIsDead) {
  for (const bool alive : {false, true}) {
    SCOPED_TRACE(alive);
    openTested();
    const auto returning = join();
    owner.take();
    returning->send(frame(kSelectReq));
    const std::string probe = arrived();
    ASSERT_EQ(probe.substr(8, 12), kLinktest);
    EXPECT_EQ(returning->readHex(), frame(kStatus3));
    returning->send(frame(kSelectReq.substr(0, 18) + "12"));
    EXPECT_EQ(arrived(), "") << "one probe at a time";
    returning->readHex();
    if (alive)
      exchange("ffff00000006" + probe.substr(20));
    owner.take();
    after(5000);
    net->settle();
    returning->send(frame(kSelectReq.substr(0, 18) + "13"));
    net->settle();
    EXPECT_EQ(returning->readHex().substr(8, 8), alive ? "ffff0003" : "ffff0000");
  }
}

TEST_F(HsmsEngineDeath, ARejectEndsTheRequestThatItNames) {
  openActive();
  net->settle();
  const std::string select = remote->readHex();
  owner.take();
  exchange("ffff01040007" + select.substr(20));
  poll();
  EXPECT_EQ(engine->NextPoll(), 10'000U) << "T7, no longer T6";
  exchange("ffff0003000700000099");
  EXPECT_EQ(owner.take(), (Lines{"control ffff0003000700000099", "rejected 153"}));
  exchange("0000000400070000009a"); // with the session of what it rejects
  EXPECT_EQ(owner.take(), (Lines{"problem InvalidSessionId 0000000400070000009a", "rejected 154"}));
}

// What peers may hold that nobody has let in.
TEST_F(HsmsEngineDeath, StrangersHoldLittle) {
  open(HsmsSessionMode::Single);
  engine->settings().maxLength = 10'000'000;
  engine->Close();
  ASSERT_TRUE(engine->Open());
  remote = join();
  owner.take();
  const std::string big(2 * 70'000, '0');
  remote->send("0001117a" + kS1F1 + big);
  net->settle();
  EXPECT_EQ(remote->readHex(), frame("ffff0004000700000007"));
  const Lines lines = owner.take();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "problem LengthTooLong 0001117a");
  EXPECT_EQ(exchange(kSelectReq), frame(kSelectRsp0));
  owner.take();
  remote->send("0001117a" + kS1F1 + big);
  net->settle();
  EXPECT_EQ(owner.take(), Lines{"data " + kS1F1 + big}) << "selected: as long as the limit allows";
}

// What is received and what is not read count together, for each and for all of a listener.
TEST_F(HsmsEngineDeath, StrangersThatDoNotReadHoldLittleTogether) {
  const Lines ended{"problem System 10055 ", "disconnected"};
  struct Case {
    size_t others;   // who hold 60,000 bytes each of a message that has not arrived whole
    uint64_t unread; // bytes of answers
    size_t part;     // bytes of a message behind the requests
    Lines lines;
  };
  for (const Case &row : std::initializer_list<Case>{
           {0, 60'000, 3'000, {}}, {0, 60'000, 6'000, ended}, {279, 45'000, 0, ended}}) {
    SCOPED_TRACE(row.part);
    const std::string part = "0000ea60" + std::string(2 * (60'000 - 4), '0');
    open();
    engine->settings().keepAlive = {0, 0, 0, 0}; // no time of the system's own
    engine->settings().maxLength = 100'000;
    engine->Close();
    ASSERT_TRUE(engine->Open());
    std::vector<std::unique_ptr<RawClient>> others;
    while (others.size() < row.others) {
      others.push_back(join());
      others.back()->send(part);
    }
    net->settle();
    // Small segments and a small window: the system takes little in place of the engine.
    TcpSocket narrow;
    narrow.create(0, false);
    const std::pair<int, int> options[] = {{IPPROTO_TCP, TCP_MAXSEG}, {SOL_SOCKET, SO_RCVBUF}};
    for (const auto &[level, name] : options) {
      const int size = 1024;
      setsockopt(narrow.fd(), level, name, &size, sizeof size);
    }
    narrow.connect("127.0.0.1", static_cast<uint16_t>(engine->LocalPort()));
    remote = std::make_unique<RawClient>(std::move(narrow));
    net->settle();
    owner.quiet = true;
    owner.take();
    bool told = false;
    owner.onReport = [&told](const std::string &) { told = true; };
    for (int turn = 0; !told && engine->counters().queuePeak < row.unread; ++turn) {
      std::string requests;
      for (int i = 0; i < 100; ++i)
        requests += frame(kLinktestReq.substr(0, 12) + formatText("%04x%04x", turn, i));
      remote->sendSome(fromHex(requests));
      net->loop.runOnce(1);
    }
    remote->sendSome(fromHex(part.substr(0, 2 * row.part)));
    net->settle();
    owner.onReport = nullptr;
    EXPECT_EQ(owner.take(), row.lines);
    owner.quiet = false;
  }
}

TEST_F(HsmsEngineDeath, WhyALinkDoesNotOpenIsTold) {
  open();
  const int32_t taken = engine->LocalPort();
  struct Case {
    const char *name;
    bool server;
    int32_t port;
    int32_t ownPort;
    const char *address;
    const char *problem;
  };
  for (const Case &row : std::initializer_list<Case>{
           {"port in use", true, 0, taken, "", "problem System 10048 "},
           {"impossible port", false, 70'000, 0, "127.0.0.1", "problem System 10022 "},
           {"own port in use", false, 1, taken, "127.0.0.1", "problem System 10048 "},
           {"unknown host", false, 1, 0, "no.such.host.invalid", "problem System 10049 "},
           {"refused", false, 1, 0, "127.0.0.1", nullptr}}) {
    SCOPED_TRACE(row.name);
    RecordingOwner other;
    auto second = makeHandle<CHHsms>(net->loop, other);
    second->settings().server = row.server;
    second->settings().portNumber = row.port;
    second->settings().myPortNumber = row.ownPort;
    second->settings().ipAddress = row.address;
    std::optional<bool> outcome;
    if (!second->StartOpen([&outcome](bool opened) { outcome = opened; }))
      outcome = false;
    EXPECT_TRUE(net->until([&outcome] { return outcome.has_value(); }));
    EXPECT_FALSE(*outcome);
    second->Poll();
    EXPECT_EQ(other.take(), row.problem == nullptr ? Lines{} : Lines{row.problem});
  }
}

TEST_F(HsmsEngineDeath, AResetIsTold) {
  openSelected();
  remote->reset();
  net->settle();
  Lines lines = owner.take();
  for (int i = 0; i < 3; ++i)
    for (const std::string &line : poll())
      lines.push_back(line);
  EXPECT_EQ(lines, (Lines{"disconnected", "state 20", "problem System 104 "}));
}

TEST_F(HsmsEngineDeath, ABurstOfConnectionsIsServedAtOnce) {
  open();
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 100; ++i)
    clients.push_back(std::make_unique<RawClient>(engine->LocalPort()));
  for (int turn = 0; turn < 3; ++turn)
    net->loop.runOnce(0);
  EXPECT_EQ(engine->PeerCount(), 101U);
}

} // namespace
} // namespace velto
