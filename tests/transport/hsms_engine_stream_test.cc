#include "transport/hsms_engine_fixture.h"

namespace velto {
namespace {

// How the engine cuts the byte stream into messages, and what a report may do meanwhile.

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
    EXPECT_EQ(0, std::count(lines.begin(), lines.end(), "problem T8 "));
    engine->Poll();
    EXPECT_EQ(row.remoteCloses || !row.delivered, engine->State() == LinkState::Down);
  }
}

// The remote end sends data as soon as it counts as selected; a report of the select pumps the
// loop.
TEST_F(HsmsEngineTest, WhatFollowsAControlMessageIsHandledAfterIt) {
  const std::string selectRsp = "ffff0000000200000001";
  struct Case {
    bool active;
    std::string message;
    std::string pumpAt;
    Lines lines;
  };
  for (const Case &row : std::vector<Case>{
           {true, selectRsp, "control " + selectRsp, {"control " + selectRsp, "state 12"}},
           {false,
            kSelectReq,
            "sent SelectRsp",
            {"control " + kSelectReq, "select? 0", "sent SelectRsp", "state 12"}}}) {
    SCOPED_TRACE(row.pumpAt);
    row.active ? openActive() : open();
    engine->Poll();
    owner.take();
    owner.onReport = [&](const std::string &line) {
      if (line != row.pumpAt)
        return;
      remote->send(frame(kS1F1));
      net->settle();
    };
    remote->send(frame(row.message));
    net->settle();
    owner.onReport = nullptr;
    Lines expected = row.lines;
    expected.push_back("data " + kS1F1);
    EXPECT_EQ(expected, owner.take());
  }
}

TEST_F(HsmsEngineTest, TwoEnginesTalkAndStartOpenDoesNotWait) {
  open();
  RecordingOwner other;
  const auto active = makeHandle<CHHsms>(net->loop, other);
  active->settings().portNumber = engine->LocalPort();
  Lines outcome;
  ASSERT_TRUE(active->StartOpen([&](bool ok) { outcome.push_back(ok ? "yes" : "no"); }));
  EXPECT_EQ(Lines{}, other.take());
  EXPECT_TRUE(net->until([&] { return active->State() == LinkState::Ready; }));
  EXPECT_EQ(Lines{"yes"}, outcome);
  owner.onReport = [&](const std::string &line) {
    if (line.starts_with("data"))
      engine->SendMessage(fromHex("0001010200000000" + line.substr(line.size() - 4)));
  };
  other.take();
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(active->SendMessage(fromHex(kS1F1)));
    net->settle();
  }
  EXPECT_EQ((Lines{"data 00010102000000000002", "data 00010102000000000003",
                   "data 00010102000000000004"}),
            other.take());
  owner.onReport = nullptr;
  engine->Close();
  EXPECT_EQ(0U, engine->NextPoll());
  engine->Poll();
  EXPECT_EQ(LinkState::Down, engine->State());
  net->settle();
  active->Poll();
  EXPECT_EQ("state 20", other.take().back());
}

TEST_F(HsmsEngineTest, ReportsMayDestroyCloseReopenOrPump) {
  const Lines reports{"connected",
                      "control " + kSelectReq,
                      "select? 0",
                      "sent SelectRsp",
                      "state 12",
                      "data " + kS1F1,
                      "problem InvalidSessionId ffff8101000000000001",
                      "problem LengthTooShort 00000000",
                      "problem T8 ",
                      "problem T6 ffff0000000500000001",
                      "problem T7 ",
                      "disconnected",
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
        EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "disconnected"));
      }
    }
}

} // namespace
} // namespace velto
