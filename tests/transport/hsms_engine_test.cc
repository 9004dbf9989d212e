#include "transport/hsms_engine_fixture.h"

namespace velto {
namespace {

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
  EXPECT_EQ((Lines{"disconnected", "state 20"}), poll());
  EXPECT_EQ(std::nullopt, engine->NextPoll());
  EXPECT_TRUE(engine->Open()); // again, with a fresh connection
  EXPECT_EQ((Lines{"connected", "sent SelectReq"}), owner.take());
}

TEST_F(HsmsEngineTest, ResponsesCountByTheirStatus) {
  struct Case {
    std::string request;
    std::string response;
    LinkState after;
  };
  for (const Case &row :
       std::vector<Case>{{kSelectReq, "ffff0000000200000001", LinkState::Ready},
                         {kSelectReq, "ffff0001000200000001", LinkState::Ready},
                         {kSelectReq, "ffff0002000200000001", LinkState::Up},
                         {kDeselectReq, "ffff0000000400000001", LinkState::Up},
                         {kDeselectReq, "ffff0001000400000001", LinkState::Up},
                         {kDeselectReq, "ffff0002000400000001", LinkState::Ready}}) {
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
    EXPECT_EQ(Lines{"problem T6 ffff0000000500000001"}, pollWhenDue(4000));
    EXPECT_EQ(Lines{"problem T8 "}, pollWhenDue(1000));
    EXPECT_EQ((Lines{"problem T7 ", "disconnected", "state 10"}), pollWhenDue(4000));
  }
}

TEST_F(HsmsEngineTest, HeadersAreChecked) {
  struct Case {
    std::string message;
    std::string problem; // empty: none
    std::string answer;
  };
  for (const Case &row :
       std::vector<Case>{{"ffff8101000000000001", "InvalidSessionId", ""},
                         {"00018101010000000001", "", "ffff0102000700000001"}, // PType
                         {"ffff8101010000000001", "InvalidSessionId", ""}, // the first check counts
                         {"00010000000800000001", "", "ffff0801000700000001"}, // SType
                         {"00010000000a00000001", "", "ffff0a01000700000001"},
                         {"0001000001ff00000001", "", "ffff0102000700000001"},
                         {"ffff00000001000000010101", "ControlMessageTooLong", ""},
                         {"ffff0001000100000001", "InvalidFunction", ""},
                         {"ffff0001000300000001", "InvalidFunction", ""},
                         {"ffff0001000900000001", "InvalidFunction", ""},
                         {"0000000000050000000a", "InvalidSessionId", ""},
                         {"ffff0001000500000001", "InvalidFunction", ""},
                         {"ffff0001000600000001", "InvalidFunction", ""},
                         {"ffff0100000100000001", "InvalidRejectReason", ""},
                         {"ffff0100000600000001", "InvalidRejectReason", ""},
                         {"ffff0100000900000001", "InvalidRejectReason", ""},
                         {"00010000000100000001", "InvalidSessionId", ""}, // single session
                         {"00010401000700000001", "InvalidSessionId", ""},
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
    EXPECT_EQ(LinkState::Ready, engine->State());
  }
}

TEST_F(HsmsEngineTest, InvalidHeadersAreReportedWhenTheyAreNotRejected) {
  openSelected();
  engine->settings().rejectInvalidHeaders = false;
  EXPECT_EQ("", exchange("00018101010000000001"));
  EXPECT_EQ("", exchange("00010000000800000001"));
  EXPECT_EQ((Lines{"problem InvalidPType 00018101010000000001",
                   "problem InvalidSType 00010000000800000001"}),
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
    LinkState after;
  };
  const auto notSelected = LinkState::Up;
  const auto selected = LinkState::Ready;
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
           {"separate", Mode::Single, true, kSeparateReq, "", LinkState::Down}}) {
    SCOPED_TRACE(row.name);
    row.selected ? openSelected(row.mode) : open(row.mode);
    EXPECT_EQ(row.answer.empty() ? "" : frame(row.answer), exchange(row.message));
    engine->Poll();
    EXPECT_EQ(row.after, engine->State());
    EXPECT_EQ(row.after == LinkState::Down, remote->ended());
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
  EXPECT_EQ(LinkState::Ready, engine->State());
  EXPECT_EQ("data " + kS1F1 + " not selected", owner.take()[3]);
  // Only the second one runs into T7.
  EXPECT_EQ((Lines{"problem T7 ", "disconnected"}), pollWhenDue(10000));
  EXPECT_EQ(Lines{}, poll());
  EXPECT_TRUE(remote->ended());
  EXPECT_FALSE(first->ended());
  EXPECT_EQ(1U, engine->PeerCount());
  EXPECT_FALSE(engine->SendMessage(fromHex(kS1F1))); // the addressed peer is gone
  EXPECT_TRUE(engine->SendMessage("127.0.0.1", first->port(), fromHex(kS1F1)));
  EXPECT_FALSE(engine->SendMessage("127.0.0.1", 1, fromHex(kS1F1)));
}

TEST_F(HsmsEngineTest, ASelectionEndsBeforeTheNextOneBegins) {
  openSelected();
  exchange(kSeparateReq);
  remote = join();
  EXPECT_EQ(frame(kSelectRsp0), exchange(kSelectReq)) << "no tick since the one before has ended";
  const Lines lines = owner.take();
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ("state 21", lines[lines.size() - 2]);
  EXPECT_EQ("state 12", lines.back());
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
  EXPECT_EQ(Lines{}, owner.take()) << "the owner knows what it sends";
}

TEST_F(HsmsEngineTest, ControlTransactionsTimeOutOneATick) {
  openSelected();
  engine->SendMessage(fromHex(kLinktestReq));
  engine->SendMessage(fromHex(kDeselectReq));
  engine->SendMessage(fromHex(kLinktestReq));
  remote->read();
  owner.take();
  EXPECT_EQ("", exchange("ffff0000000600000003")); // answers the last one
  owner.take();
  EXPECT_EQ(Lines{"problem T6 ffff0000000500000001"}, pollWhenDue(5000));
  EXPECT_EQ(0U, engine->NextPoll());
  EXPECT_EQ(Lines{"problem T6 ffff0000000300000002"}, poll());
  EXPECT_EQ(std::nullopt, engine->NextPoll());
}

TEST_F(HsmsEngineTest, DeselectedConnectionRunsIntoT7) {
  openSelected();
  net->clock.advance(20000);
  engine->SendMessage(fromHex(kDeselectReq));
  EXPECT_EQ("", exchange("ffff0001000400000001").substr(28)); // only the request itself
  EXPECT_EQ("state 21", owner.take().back());
  EXPECT_EQ((Lines{"problem T7 ", "disconnected", "state 10"}), pollWhenDue(10000));
  EXPECT_TRUE(remote->ended());
}

TEST_F(HsmsEngineTest, AClientDisconnectsAfterT7) {
  openActive();
  engine->settings().t6 = 0;
  engine->Poll();
  owner.take();
  EXPECT_EQ((Lines{"problem T7 ", "disconnected", "state 10"}), pollWhenDue(10000));
  EXPECT_TRUE(remote->ended());
  EXPECT_EQ(std::nullopt, engine->NextPoll());
}

} // namespace
} // namespace velto
