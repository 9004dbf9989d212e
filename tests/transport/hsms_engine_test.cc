#include "transport/hsms_engine.h"

#include <gtest/gtest.h>

#include "transport/network.h"

namespace velto {
namespace {

const std::string kS1F1 = "00018101000000000007";
const std::string kSelectReq = "ffff0000000100000011";
const std::string kSelectRsp0 = "ffff0000000200000011";
const std::string kDeselectReq = "ffff0000000300000012";
const std::string kLinktestReq = "ffff0000000500000013";
const std::string kSeparateReq = "ffff0000000900000014";

// Keeps what an engine reports as lines of text, and lets a test act inside the report.
class RecordingOwner final : public CHHsmsOwner {
public:
  uint8_t OnSelectRequest(const std::string &, int32_t, uint8_t proposed) override {
    record("select? " + std::to_string(proposed));
    return selectStatus.value_or(proposed);
  }
  void OnConnected(const std::string &, int32_t) override { record("connected"); }
  void OnDataReceived(const std::string &, int32_t, ByteView message, bool notSelected) override {
    record("data " + toHex(message) + (notSelected ? " not selected" : ""));
  }
  void OnControlReceived(const std::string &, int32_t, ByteView message) override {
    record("control " + toHex(message));
  }
  void OnMessageSent(const std::string &, int32_t, const CHSecsHeader &header,
                     ByteView body) override {
    record("sent " + HeaderText(header, HeaderTextMode::Name) + toHex(body));
  }
  void OnProblem(const std::string &, int32_t, int code, ByteView data) override {
    record("problem " + std::to_string(code) + " " + toHex(data));
  }
  void OnStateChanged(HsmsState newState, HsmsState oldState) override {
    record("state " + std::to_string(int(oldState)) + std::to_string(int(newState)));
  }

  Lines take() { return std::exchange(lines_, {}); }

  std::optional<uint8_t> selectStatus;
  std::function<void(const std::string &line)> onReport;

private:
  void record(const std::string &line) {
    lines_.push_back(line);
    if (onReport)
      onReport(line);
  }
  Lines lines_;
};

class HsmsEngineTest : public testing::Test {
protected:
  void open(HsmsSessionMode mode = HsmsSessionMode::Single, uint32_t ticks = 1000) {
    engine.reset();
    net = std::make_unique<Network>(ticks);
    engine = std::make_unique<CHHsms>(net->loop, owner);
    engine->settings().server = true;
    engine->settings().maxLength = 100;
    engine->settings().sessionMode = mode;
    engine->SetWake([this] { ++wakes; });
    ASSERT_TRUE(engine->Open());
    remote = join();
  }
  void openSelected(HsmsSessionMode mode = HsmsSessionMode::Single) {
    open(mode);
    engine->Poll();
    exchange(kSelectReq);
    EXPECT_EQ(HsmsState::Selected, engine->State());
    owner.take();
  }
  // An engine that connects to a plain socket, which takes the connection.
  void openActive(bool sendSelectRequest = true) {
    engine.reset();
    net = std::make_unique<Network>();
    ASSERT_EQ(0, server.create(0, true));
    ASSERT_EQ(0, server.listen(5));
    engine = std::make_unique<CHHsms>(net->loop, owner);
    engine->settings().portNumber = server.localPort();
    engine->settings().sendSelectRequest = sendSelectRequest;
    ASSERT_TRUE(engine->Open());
    int error = 0;
    remote = std::make_unique<RawClient>(std::move(server.accept(error)->socket));
  }
  std::unique_ptr<RawClient> join() {
    const size_t before = engine->PeerCount();
    auto client = std::make_unique<RawClient>(engine->LocalPort());
    EXPECT_TRUE(net->until([&] { return !engine || engine->PeerCount() > before || closed; }));
    return client;
  }
  void TearDown() override { engine.reset(); }

  /// Sends a message to the engine and returns what comes back.
  std::string exchange(const std::string &message) {
    remote->send(frame(message));
    net->settle();
    return remote->readHex();
  }
  Lines poll() {
    engine->Poll();
    return owner.take();
  }
  Lines pollWhenDue(uint32_t expected) {
    EXPECT_EQ(expected, engine->NextPoll());
    net->clock.advance(expected - 1);
    EXPECT_EQ(Lines{}, poll());
    net->clock.advance(1);
    EXPECT_EQ(0U, engine->NextPoll());
    return poll();
  }

  std::unique_ptr<Network> net;
  RecordingOwner owner;
  std::unique_ptr<CHHsms> engine;
  std::unique_ptr<RawClient> remote;
  TcpSocket server;
  int wakes = 0;
  bool closed = false; // by a report
};

TEST_F(HsmsEngineTest, ActiveEntitySelectsAfterConnecting) {
  openActive();
  EXPECT_EQ((Lines{"connected", "sent SelectReq"}), owner.take());
  EXPECT_EQ(frame("ffff0000000100000001"), remote->readHex());
  EXPECT_EQ(0U, engine->NextPoll());
  EXPECT_EQ(Lines{"state 01"}, poll());
  EXPECT_EQ("", exchange("ffff0000000200000001"));
  EXPECT_EQ((Lines{"control ffff0000000200000001", "state 12"}), owner.take());
  EXPECT_EQ(std::nullopt, engine->NextPoll());
  EXPECT_FALSE(engine->Open());
  remote->close();
  net->settle();
  EXPECT_EQ(0U, engine->NextPoll());
  EXPECT_EQ(Lines{"state 20"}, poll());
  EXPECT_EQ(std::nullopt, engine->NextPoll());
  EXPECT_TRUE(engine->Open()); // again, with a fresh connection
  EXPECT_EQ((Lines{"connected", "sent SelectReq"}), owner.take());
}

TEST_F(HsmsEngineTest, ResponsesCountByTheirStatus) {
  struct Case {
    std::string request;
    std::string response;
    HsmsState after;
  };
  for (const Case &row :
       std::vector<Case>{{kSelectReq, "ffff0000000200000001", HsmsState::Selected},
                         {kSelectReq, "ffff0001000200000001", HsmsState::Selected},
                         {kSelectReq, "ffff0002000200000001", HsmsState::NotSelected},
                         {kDeselectReq, "ffff0000000400000001", HsmsState::NotSelected},
                         {kDeselectReq, "ffff0001000400000001", HsmsState::NotSelected},
                         {kDeselectReq, "ffff0002000400000001", HsmsState::Selected}}) {
    SCOPED_TRACE(row.response);
    openActive(false);
    EXPECT_EQ(Lines{"connected"}, owner.take());
    engine->Poll();
    EXPECT_EQ("", remote->readHex());
    if (row.request == kDeselectReq)
      exchange(kSelectReq);
    EXPECT_TRUE(engine->SendMessage(fromHex(row.request)));
    remote->read();
    EXPECT_EQ("", exchange(row.response));
    EXPECT_EQ(row.after, engine->State());
    owner.take();
  }
}

TEST_F(HsmsEngineTest, TimersCountAcrossTheWrapOfTheTicks) {
  for (const uint32_t start : {0U, 0xFFFFF000U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(start);
    open(HsmsSessionMode::Single, start);
    engine->Poll();
    engine->SendMessage(fromHex(kLinktestReq));
    net->clock.advance(1000);
    remote->send("000000");
    net->settle();
    owner.take();
    EXPECT_EQ(Lines{"problem 4 ffff0000000500000001"}, pollWhenDue(4000));
    EXPECT_EQ(Lines{"problem 3 "}, pollWhenDue(1000));
    EXPECT_EQ((Lines{"problem 5 ", "state 10"}), pollWhenDue(4000));
  }
}

TEST_F(HsmsEngineTest, HeadersAreChecked) {
  struct Case {
    std::string message;
    std::string problem; // code; empty: none
    std::string answer;
  };
  for (const Case &row :
       std::vector<Case>{{"ffff8101000000000001", "6", ""},
                         {"00018101010000000001", "", "ffff0102000700000001"}, // PType
                         {"ffff8101010000000001", "6", ""}, // the first check counts
                         {"00010000000800000001", "", "ffff0801000700000001"}, // SType
                         {"00010000000a00000001", "", "ffff0a01000700000001"},
                         {"0001000001ff00000001", "", "ffff0102000700000001"},
                         {"ffff00000001000000010101", "8", ""},
                         {"ffff0001000100000001", "10", ""},
                         {"ffff0001000300000001", "10", ""},
                         {"ffff0001000900000001", "10", ""},
                         {"0000000000050000000a", "6", ""},
                         {"ffff0001000500000001", "10", ""},
                         {"ffff0001000600000001", "10", ""},
                         {"ffff0100000100000001", "11", ""},
                         {"ffff0100000600000001", "11", ""},
                         {"ffff0100000900000001", "11", ""},
                         {"00010000000100000001", "6", ""}, // single session
                         {"00010401000700000001", "6", ""},
                         {"ffff0401000700000001", "", ""}}) {
    SCOPED_TRACE(row.message);
    openSelected();
    EXPECT_EQ(row.answer.empty() ? "" : frame(row.answer), exchange(row.message));
    const Lines lines = owner.take();
    const std::string problem = "problem " + row.problem + " " + row.message;
    if (!row.problem.empty())
      EXPECT_EQ(Lines{problem}, lines);
    else
      EXPECT_EQ(row.answer.empty() ? "control " + row.message : "sent RejectReq", lines[0]);
    EXPECT_EQ(HsmsState::Selected, engine->State());
  }
}

TEST_F(HsmsEngineTest, InvalidHeadersAreReportedWhenTheyAreNotRejected) {
  openSelected();
  engine->settings().rejectInvalidHeaders = false;
  EXPECT_EQ("", exchange("00018101010000000001"));
  EXPECT_EQ("", exchange("00010000000800000001"));
  EXPECT_EQ((Lines{"problem 7 00018101010000000001", "problem 9 00010000000800000001"}),
            owner.take());
}

TEST_F(HsmsEngineTest, ControlMessagesAreAnswered) {
  using Mode = HsmsSessionMode;
  struct Case {
    const char *name;
    Mode mode;
    bool selected;
    std::string message;
    std::string answer;
    HsmsState after;
  };
  const auto notSelected = HsmsState::NotSelected;
  const auto selected = HsmsState::Selected;
  for (const Case &row : std::vector<Case>{
           {"select", Mode::Single, false, kSelectReq, "ffff0000000200000011", selected},
           {"select again", Mode::Single, true, "ffff0000000100000021", "ffff0001000200000021",
            selected},
           {"session ID", Mode::General, false, "00050000000100000011", kSelectRsp0, selected},
           {"deselect", Mode::Single, true, kDeselectReq, "ffff0000000400000012", notSelected},
           {"deselect early", Mode::Single, false, kDeselectReq, "ffff0001000400000012",
            notSelected},
           {"linktest", Mode::Single, true, kLinktestReq, "ffff0000000600000013", selected},
           {"linktest early", Mode::Single, false, kLinktestReq, "ffff0504000700000013",
            notSelected},
           {"linktest early", Mode::Generic, false, kLinktestReq, "ffff0000000600000013",
            notSelected},
           {"linktest early", Mode::General, false, kLinktestReq, "ffff0000000600000013",
            notSelected},
           {"linktest, unknown mode", Mode{3}, true, kLinktestReq, "", selected},
           {"stray select response", Mode::Single, false, "ffff0000000200000099",
            "ffff0203000700000099", notSelected},
           {"stray deselect response", Mode::Single, true, "ffff0000000400000099",
            "ffff0403000700000099", selected},
           {"stray linktest response", Mode::Single, true, "ffff0000000600000099",
            "ffff0603000700000099", selected},
           {"reject", Mode::Single, true, "ffff0504000700000099", "", selected},
           {"data", Mode::Single, true, kS1F1, "", selected},
           {"data early", Mode::Single, false, kS1F1, "ffff0004000700000007", notSelected},
           {"separate", Mode::Single, true, kSeparateReq, "", HsmsState::NotConnected}}) {
    SCOPED_TRACE(row.name);
    row.selected ? openSelected(row.mode) : open(row.mode);
    EXPECT_EQ(row.answer.empty() ? "" : frame(row.answer), exchange(row.message));
    engine->Poll();
    EXPECT_EQ(row.after, engine->State());
    EXPECT_EQ(row.after == HsmsState::NotConnected, remote->ended());
    owner.take();
  }
}

TEST_F(HsmsEngineTest, OwnerDecidesOnTheSelectStatus) {
  open();
  owner.selectStatus = 2;
  EXPECT_EQ(frame("ffff0002000200000011"), exchange(kSelectReq));
  EXPECT_EQ((Lines{"connected", "control " + kSelectReq, "select? 0", "sent SelectRsp"}),
            owner.take());
  owner.selectStatus = 0;
  EXPECT_EQ(frame("ffff0000000200000012"), exchange("ffff0000000100000012"));
  EXPECT_EQ("state 02", owner.take().back()); // no tick has told state 1
}

TEST_F(HsmsEngineTest, EachPeerIsSelectedForItself) {
  openSelected();
  const auto first = std::move(remote);
  remote = join();
  owner.take();
  EXPECT_EQ(frame("ffff0003000200000011"), exchange(kSelectReq));
  EXPECT_EQ(frame("ffff0004000700000007"), exchange(kS1F1));
  EXPECT_EQ(HsmsState::Selected, engine->State());
  EXPECT_EQ("data " + kS1F1 + " not selected", owner.take()[3]);
  // Only the second one runs into T7.
  EXPECT_EQ(Lines{"problem 5 "}, pollWhenDue(10000));
  EXPECT_EQ(Lines{}, poll());
  EXPECT_TRUE(remote->ended());
  EXPECT_FALSE(first->ended());
  EXPECT_EQ(1U, engine->PeerCount());
  EXPECT_FALSE(engine->SendMessage(fromHex(kS1F1))); // the addressed peer is gone
  EXPECT_TRUE(engine->SendMessage("127.0.0.1", first->port(), fromHex(kS1F1)));
  EXPECT_FALSE(engine->SendMessage("127.0.0.1", 1, fromHex(kS1F1)));
}

TEST_F(HsmsEngineTest, SentHeadersAreCompleted) {
  struct Case {
    std::string given;
    std::string sent;
  };
  openSelected();
  for (const Case &row : std::vector<Case>{{"1234810105000000000001ff", "1234810100000000000101ff"},
                                           {"00010102000000001234", "00010102000000001234"},
                                           {"0001810101080000000a", "00018101000000000002"},
                                           {"00010101000100000000", "ffff0000000100000003"},
                                           {"00010102000200000009", "ffff0002000200000009"},
                                           {"00010102000300000009", "ffff0000000300000004"},
                                           {"00010102000400000009", "ffff0002000400000009"},
                                           {"00010102000500000009", "ffff0000000500000005"},
                                           {"00010102000600000009", "ffff0000000600000009"},
                                           {"00010504000700000009", "ffff0504000700000009"},
                                           {"00010102000900000009", "ffff0000000900000006"}}) {
    EXPECT_TRUE(engine->SendMessage(fromHex(row.given)));
    EXPECT_EQ(frame(row.sent), remote->readHex()) << row.given;
  }
  EXPECT_FALSE(engine->SendMessage(fromHex("000181010000000000")));
  EXPECT_EQ("sent S1F1W01ff", owner.take()[0]);
}

TEST_F(HsmsEngineTest, ControlTransactionsTimeOutOneATick) {
  openSelected();
  engine->SendMessage(fromHex(kLinktestReq));
  engine->SendMessage(fromHex(kDeselectReq));
  engine->SendMessage(fromHex(kLinktestReq));
  EXPECT_GE(wakes, 3);
  remote->read();
  owner.take();
  EXPECT_EQ("", exchange("ffff0000000600000003")); // answers the last one
  owner.take();
  EXPECT_EQ(Lines{"problem 4 ffff0000000500000001"}, pollWhenDue(5000));
  EXPECT_EQ(0U, engine->NextPoll());
  EXPECT_EQ(Lines{"problem 4 ffff0000000300000002"}, poll());
  EXPECT_EQ(std::nullopt, engine->NextPoll());
}

TEST_F(HsmsEngineTest, DeselectedConnectionRunsIntoT7) {
  openSelected();
  net->clock.advance(20000);
  engine->SendMessage(fromHex(kDeselectReq));
  EXPECT_EQ("", exchange("ffff0001000400000001").substr(28)); // only the request itself
  EXPECT_EQ("state 21", owner.take().back());
  EXPECT_EQ((Lines{"problem 5 ", "state 10"}), pollWhenDue(10000));
  EXPECT_TRUE(remote->ended());
}

TEST_F(HsmsEngineTest, AClientDisconnectsAfterT7) {
  openActive();
  engine->settings().t6 = 0;
  engine->Poll();
  owner.take();
  EXPECT_EQ((Lines{"problem 5 ", "state 10"}), pollWhenDue(10000));
  EXPECT_TRUE(remote->ended());
  EXPECT_EQ(std::nullopt, engine->NextPoll());
}

TEST_F(HsmsEngineTest, LengthsAndT8AreChecked) {
  const std::string max = kS1F1 + std::string(180, '0');
  struct Case {
    const char *name;
    std::string arrival;
    std::string report;
    std::string afterT8;
  };
  for (const Case &row :
       std::vector<Case>{{"zero", "00000000", "problem 1 00000000", ""},
                         {"shorter than a header", "00000002ffff", "problem 1 00000002", ""},
                         {"the maximum", frame(max), "data " + max, ""},
                         {"above the maximum", "00000065", "problem 2 00000065", ""},
                         {"huge", "ffffffff" + kS1F1, "problem 2 ffffffff", ""},
                         {"unfinished", frame(kS1F1).substr(0, 20), "", "problem 3 "},
                         {"unfinished length", "000000", "", "problem 3 "}}) {
    SCOPED_TRACE(row.name);
    openSelected();
    wakes = 0;
    remote->send(row.arrival);
    net->settle();
    EXPECT_EQ(row.report.empty() ? Lines{} : Lines{row.report}, owner.take());
    if (!row.afterT8.empty()) {
      EXPECT_EQ(1, wakes);
      net->clock.advance(3000);
      remote->send("00"); // growth restarts T8
      net->settle();
      if (owner.take().empty()) {
        EXPECT_EQ(Lines{row.afterT8}, pollWhenDue(5000));
      }
    }
    EXPECT_EQ("", exchange("00010103000000000000"));
    EXPECT_EQ(Lines{"data 00010103000000000000"}, owner.take());
  }
}

TEST_F(HsmsEngineTest, FramesAreHandledTheMomentTheyAreWhole) {
  openSelected();
  const std::string one = "00010103000000000001";
  const std::string two = "0001010300000000000241026869";
  const std::string both = frame(one) + frame(two);
  for (const size_t cut : {2UL, 8UL, 26UL, 28UL, 30UL, 48UL}) {
    SCOPED_TRACE(cut);
    remote->send(both.substr(0, cut));
    net->settle();
    remote->send(both.substr(cut));
    net->settle();
    EXPECT_EQ((Lines{"data " + one, "data " + two}), owner.take());
  }
}

TEST_F(HsmsEngineTest, DuplicatesAreDroppedUntilTheNextConnection) {
  openSelected();
  const Lines once{"data " + kS1F1};
  exchange(kS1F1);
  exchange(kS1F1);
  EXPECT_EQ(once, owner.take());
  EXPECT_NE("", exchange("00010000000800000001"));
  EXPECT_EQ("", exchange("00010000000800000001")); // one answer to an invalid message, too
  owner.take();
  exchange(kS1F1);
  EXPECT_EQ(once, owner.take());
  engine->settings().discardDuplicates = false;
  exchange(kS1F1);
  EXPECT_EQ(once, owner.take());
  engine->settings().discardDuplicates = true;
  remote = join();
  owner.take();
  exchange(kS1F1);
  EXPECT_EQ("data " + kS1F1 + " not selected", owner.take()[0]);
}

// The report of the first message pumps the loop, for long or until the connection has ended.
TEST_F(HsmsEngineTest, WholeMessagesOutlastWhatHappensInAReport) {
  const std::string second = "00010103000000000002";
  struct Case {
    const char *name;
    bool selected;
    std::string first;
    bool remoteCloses;
    uint32_t pump; // ms
    bool delivered;
  };
  for (const Case &row : std::vector<Case>{{"long", true, kS1F1, false, 9000, true},
                                           {"remote close", true, kS1F1, true, 0, true},
                                           {"separate", true, kSeparateReq, false, 0, false},
                                           {"T7", false, kS1F1, false, 10000, false}}) {
    SCOPED_TRACE(row.name);
    row.selected ? openSelected() : open();
    owner.onReport = [&](const std::string &line) {
      if (line.find(" " + row.first) == std::string::npos)
        return;
      if (row.remoteCloses)
        remote->close();
      net->settle();
      net->clock.advance(row.pump);
      for (int i = 0; i < 3; ++i)
        engine->Poll();
    };
    remote->send(frame(row.first) + frame(second) + "0000000a00");
    net->settle();
    owner.onReport = nullptr;
    const Lines lines = owner.take();
    EXPECT_EQ(row.delivered ? 1 : 0, std::count(lines.begin(), lines.end(), "data " + second));
    EXPECT_EQ(0, std::count(lines.begin(), lines.end(), "problem 3 "));
    engine->Poll();
    EXPECT_EQ(row.remoteCloses || !row.delivered, engine->State() == HsmsState::NotConnected);
  }
}

TEST_F(HsmsEngineTest, TwoEnginesTalkAndStartOpenDoesNotWait) {
  open();
  RecordingOwner other;
  CHHsms active(net->loop, other);
  active.settings().portNumber = engine->LocalPort();
  Lines outcome;
  ASSERT_TRUE(active.StartOpen([&](bool ok) { outcome.push_back(ok ? "yes" : "no"); }));
  EXPECT_EQ(Lines{}, other.take());
  EXPECT_TRUE(net->until([&] { return active.State() == HsmsState::Selected; }));
  EXPECT_EQ(Lines{"yes"}, outcome);
  owner.onReport = [&](const std::string &line) {
    if (line.starts_with("data"))
      engine->SendMessage(fromHex("0001010200000000" + line.substr(line.size() - 4)));
  };
  other.take();
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(active.SendMessage(fromHex(kS1F1)));
    net->settle();
  }
  EXPECT_EQ((Lines{"sent S1F1W", "data 00010102000000000002", "sent S1F1W",
                   "data 00010102000000000003", "sent S1F1W", "data 00010102000000000004"}),
            other.take());
  owner.onReport = nullptr;
  engine->Close();
  EXPECT_EQ(0U, engine->NextPoll());
  engine->Poll();
  EXPECT_EQ(HsmsState::NotConnected, engine->State());
  net->settle();
  active.Poll();
  EXPECT_EQ("state 20", other.take().back());
}

TEST_F(HsmsEngineTest, ReportsMayDestroyCloseReopenOrPump) {
  const Lines reports{"connected",
                      "control " + kSelectReq,
                      "select? 0",
                      "sent SelectRsp",
                      "state 12",
                      "data " + kS1F1,
                      "problem 6 ffff8101000000000001",
                      "problem 1 00000000",
                      "problem 3 ",
                      "problem 4 ffff0000000500000001",
                      "problem 5 ",
                      "state 01",
                      "state 10"};
  for (const auto &at : reports)
    for (const std::string action : {"destroy", "close", "reopen", "pump"}) {
      SCOPED_TRACE(at + " " + action);
      int count = 0;
      closed = false;
      owner.onReport = [&](const std::string &line) {
        if (line != at || count++ != 0)
          return;
        if (action == "destroy") {
          engine.reset();
        } else if (action == "pump") {
          net->loop.runOnce(0);
          engine->Poll();
        } else {
          engine->Close();
          closed = true;
          if (action == "reopen") {
            EXPECT_TRUE(engine->Open());
          }
        }
      };
      open();
      const auto tick = [&](uint32_t ms) {
        net->settle();
        net->clock.advance(ms);
        for (int i = 0; i < 4 && engine; ++i)
          engine->Poll();
      };
      tick(0);
      const std::string data2 = "00018103000000000008";
      if (engine && engine->PeerCount() != 0) {
        remote->send(frame(kSelectReq) + frame(kS1F1) + frame(data2) +
                     frame("ffff8101000000000001") + "00000000");
        tick(0);
      }
      if (engine && engine->PeerCount() != 0) {
        engine->SendMessage(fromHex(kLinktestReq));
        remote->send("000000");
        tick(5000);
      }
      if (engine && engine->PeerCount() != 0) {
        remote->send(frame(kDeselectReq));
        tick(0);
        tick(10000);
      }
      owner.onReport = nullptr;
      EXPECT_GE(count, 1);
      const Lines lines = owner.take();
      if (action == "pump") {
        const auto first = std::find(lines.begin(), lines.end(), "data " + kS1F1);
        const auto second = std::find(lines.begin(), lines.end(), "data " + data2);
        EXPECT_LT(first, second);
        EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "data " + kS1F1));
        EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "data " + data2));
      }
    }
}

TEST(GemErrorTest, TextsCoverEveryCode) {
  EXPECT_STREQ("Length is less than 10 bytes.", gemErrorText(ErrorGemHsmsLengthTooShort));
  EXPECT_STREQ("Unknow S-type.", gemErrorText(ErrorGemHsmsInvalidSType));
  EXPECT_STREQ("T5 time out.", gemErrorText(ErrorGemHsmsT5Timeout));
  for (const int code : {-1, 0, 14})
    EXPECT_STREQ("Unknown Error", gemErrorText(code));
}

} // namespace
} // namespace velto
