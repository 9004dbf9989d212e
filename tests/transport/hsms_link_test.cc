#include "transport/hsms/hsms_link.h"

#include "transport/hsms/hsms_frame.h"

#include <gtest/gtest.h>

#include "transport/network.h"

namespace velto {
namespace {

const std::string kS1F1 = "00018101000000000001";
const std::string kS1F2 = "00010102000000000001";
const std::string kSelectReq = "ffff0000000100000002";
const std::string kSelectRsp = "ffff0000000200000002";
const std::string kLinktestReq = "ffff0000000500000003";
const std::string kLinktestRsp = "ffff0000000600000003";

class HsmsLinkTest : public testing::Test {
protected:
  void open(uint32_t ticks = 1000) {
    link.reset();
    net = std::make_unique<Network>(ticks);
    link = makeHandle<CHHsmsLink>(net->loop);
    link->SetServerMode(true);
    link->SetSink(&sink);
    sink.kind = ConnectionKind::Hsms;
    link->SetMaxLength(20);
    ASSERT_TRUE(link->Open());
    remote = join();
    sink.take();
  }
  std::unique_ptr<RawClient> join() {
    const size_t before = link->PeerCount();
    auto client = std::make_unique<RawClient>(link->LocalPort());
    EXPECT_TRUE(net->until([&] { return link->PeerCount() > before; }));
    return client;
  }
  void TearDown() override { link.reset(); }
  void setTime(uint32_t HsmsTimes::*timer, uint32_t ms) {
    HsmsTimes times = link->times();
    times.*timer = ms;
    link->SetTimes(times);
  }

  void arrive(const std::string &hex) {
    remote->send(hex);
    net->settle();
  }
  Lines poll() {
    link->Poll();
    return sink.take();
  }
  /// Advances to the deadline that the link gives, having checked that nothing happens before it.
  Lines pollWhenDue(uint32_t expected) {
    EXPECT_EQ(expected, link->NextPoll());
    net->clock.advance(expected - 1);
    EXPECT_EQ(Lines{}, poll());
    EXPECT_EQ(1U, link->NextPoll());
    net->clock.advance(1);
    EXPECT_EQ(0U, link->NextPoll());
    return poll();
  }

  std::unique_ptr<Network> net;
  RecordingSink sink;
  Handle<CHHsmsLink> link;
  std::unique_ptr<RawClient> remote;
};

TEST_F(HsmsLinkTest, FramesAreDeliveredOneATick) {
  open();
  const std::string both = frame(kS1F1) + frame(kS1F2);
  for (const size_t cut : {2UL, 8UL, 10UL, 26UL, 30UL, 36UL, 54UL}) {
    SCOPED_TRACE(cut);
    arrive(both.substr(0, cut));
    Lines got = poll();
    arrive(both.substr(cut));
    for (int tick = 0; tick < 3; ++tick) {
      const Lines more = poll();
      net->settle();
      EXPECT_LE(more.size(), 1U);
      got.insert(got.end(), more.begin(), more.end());
    }
    EXPECT_EQ((Lines{"received " + kS1F1, "received " + kS1F2}), got);
  }
}

TEST_F(HsmsLinkTest, LengthsAreChecked) {
  const std::string max(2 * 20, '0');
  struct Case {
    const char *name;
    std::string arrival;
    std::string atOnce;
    std::string afterT8;
  };
  for (const Case &row :
       std::vector<Case>{{"zero", "00000000",
                          "problem LengthTooLong Receive completed but buffer is "
                          "full.\nm_nLength=0, m_nMaxLength=20",
                          ""},
                         {"shorter than a header", frame("0102"), "received 0102", ""},
                         {"exactly the maximum", frame(max), "received " + max, ""},
                         {"above the maximum", "00000015" + max, "",
                          "problem LengthTooLong Receive not completed and buffer is "
                          "full.\nm_nLength=21, m_nMaxLength=20"},
                         {"huge", "ffffffff" + max + max, "",
                          "problem LengthTooLong Receive not completed and buffer is "
                          "full.\nm_nLength=-1, m_nMaxLength=20"},
                         {"unfinished", "0000000a0102", "", "problem T8 "},
                         {"unfinished length", "000000", "", ""}}) {
    SCOPED_TRACE(row.name);
    open();
    link->SetSelected(true);
    arrive(row.arrival);
    EXPECT_EQ(row.atOnce.empty() ? Lines{} : Lines{row.atOnce}, poll());
    if (!row.afterT8.empty()) {
      EXPECT_EQ(Lines{row.afterT8}, pollWhenDue(5000));
    }
    net->settle();
    EXPECT_FALSE(net->loop.runOnce(0)); // sleeps, whatever is left in the socket
  }
}

TEST_F(HsmsLinkTest, T8CountsFromTheLastArrival) {
  open(0xFFFFF000); // the tick count wraps on the way
  link->SetSelected(true);
  arrive("0000000a01");
  net->clock.advance(4999);
  arrive("02");
  EXPECT_EQ(Lines{"problem T8 "}, pollWhenDue(5000));
  EXPECT_EQ(std::nullopt, link->NextPoll());
  arrive(frame(kS1F1));
  EXPECT_EQ(Lines{"received " + kS1F1}, poll());
}

TEST_F(HsmsLinkTest, T7IsReportedAgainAndAgainWhileNotSelected) {
  open();
  EXPECT_EQ(Lines{"problem T7 "}, pollWhenDue(10000));
  EXPECT_EQ(Lines{"problem T7 "}, pollWhenDue(10000));
  arrive(frame(kSelectReq)); // in time for the next one
  net->clock.advance(10000);
  EXPECT_EQ(poll(), Lines{"received " + kSelectReq});
  EXPECT_EQ(std::nullopt, link->NextPoll());
  net->clock.advance(50000);
  link->SetSelected(false);
  EXPECT_EQ(Lines{"problem T7 "}, pollWhenDue(10000));
  EXPECT_FALSE(remote->ended());
}

TEST_F(HsmsLinkTest, ChangedTimesOfAListenerCountForItsPeersAtOnce) {
  struct Case {
    uint32_t HsmsTimes::*timer;
    bool selected;
    std::string arrived;
    std::string report;
  };
  for (const Case &row : std::vector<Case>{{&HsmsTimes::t3, true, "", "problem T3 " + kS1F1},
                                           {&HsmsTimes::t6, true, "", "problem T6 " + kLinktestReq},
                                           {&HsmsTimes::t7, false, "", "problem T7 "},
                                           {&HsmsTimes::t8, true, "0000000a01", "problem T8 "}}) {
    SCOPED_TRACE(row.report);
    open();
    link->SetSelected(row.selected);
    for (const std::string &request : {kS1F1, kLinktestReq})
      EXPECT_GT(link->SendFrame(fromHex(frame(request))), 0);
    arrive(row.arrived);
    net->clock.advance(1);
    net->settle();
    setTime(row.timer, 300);
    net->clock.advance(300);
    net->settle();
    EXPECT_EQ(sink.take(), Lines{row.report});
  }
}

TEST_F(HsmsLinkTest, RequestsTimeOutOneATick) {
  struct Case {
    std::string message;
    uint32_t t6;
    uint32_t due;
    std::string report;
  };
  const auto timeout = [](const char *code, const std::string &message) {
    return std::string("problem ") + code + " " + message;
  };
  for (const Case &row :
       std::vector<Case>{{kS1F1, 5000, 45000, timeout("T3", kS1F1)},
                         {kLinktestReq, 5000, 5000, timeout("T6", kLinktestReq)},
                         {kLinktestReq, 0, 45000, timeout("T3", kLinktestReq)},
                         {kLinktestReq, 60000, 45000, timeout("T3", kLinktestReq)},
                         {kS1F2, 5000, 0, ""},                  // a reply
                         {"00010101000000000001", 5000, 0, ""}, // no W-bit
                         {"00018102000000000001", 5000, 0, ""}, // even function
                         {kSelectRsp, 5000, 0, ""},
                         {"0102", 5000, 0, ""}}) {
    SCOPED_TRACE(row.message);
    open();
    setTime(&HsmsTimes::t6, row.t6);
    link->SetSelected(true);
    const std::string out = frame(row.message);
    for (int i = 0; i < 2; ++i)
      EXPECT_EQ(int32_t(out.size() / 2), link->SendFrame(fromHex(out)));
    EXPECT_EQ(out + out, remote->readHex());
    EXPECT_EQ(row.report.empty() ? 0U : 2U, link->OpenTransactionCount());
    if (row.report.empty()) {
      EXPECT_EQ(std::nullopt, link->NextPoll());
      continue;
    }
    EXPECT_EQ(Lines{row.report}, pollWhenDue(row.due));
    EXPECT_EQ(0U, link->NextPoll());
    EXPECT_EQ(Lines{row.report}, poll());
    EXPECT_EQ(0U, link->OpenTransactionCount());
  }
}

// Of a host that was busy. What arrives after the time-out does not put it off any further.
TEST_F(HsmsLinkTest, WhatHasArrivedIsHandedOverBeforeTimeOuts) {
  struct Case {
    const char *name;
    bool selected;
    std::string sent;
    std::string arrived;
    Lines reports;
  };
  const Lines both{"received " + kS1F2, "received " + kLinktestRsp};
  for (const Case &row : std::vector<Case>{
           {"T3", true, kS1F1, frame(kS1F2) + frame(kLinktestRsp), both},
           {"T6", true, kLinktestReq, frame(kS1F2) + frame(kLinktestRsp), both},
           {"T7", false, kS1F2, frame(kSelectReq), {"received " + kSelectReq}},
           {"T3 and a part", true, kS1F1, frame(kS1F2) + "0000000a00", {both[0], "problem T8 "}},
           {"no answer",
            true,
            kS1F1,
            frame(kLinktestRsp),
            {both[1], "problem T3 " + kS1F1, "received " + kSelectReq}}}) {
    SCOPED_TRACE(row.name);
    open();
    link->PeerAt(0).SetMaxLength(100);
    link->SetSelected(row.selected);
    link->SendFrame(fromHex(frame(row.sent)));
    arrive(row.arrived);
    net->clock.advance(60000);
    Lines reports = poll();
    if (row.reports.size() == 3)
      arrive(frame(kSelectReq));
    for (int tick = 0; tick < 3; ++tick) {
      const Lines more = poll();
      reports.insert(reports.end(), more.begin(), more.end());
    }
    EXPECT_EQ(reports, row.reports);
  }
}

TEST_F(HsmsLinkTest, TransactionsThatAreDueTogetherTimeOutInTheOrderOfSending) {
  const std::string data = "problem T3 " + kS1F1;
  const std::string control = "problem T6 " + kLinktestReq;
  for (const bool dataFirst : {false, true})
    for (const uint32_t pause : {0U, 5U}) {
      open();
      link->SetSelected(true);
      setTime(&HsmsTimes::t3, 5000);
      link->SendFrame(fromHex(frame(dataFirst ? kS1F1 : kLinktestReq)));
      net->clock.advance(pause);
      link->SendFrame(fromHex(frame(dataFirst ? kLinktestReq : kS1F1)));
      EXPECT_EQ(5000 - pause, link->NextPoll());
      net->clock.advance(5000);
      EXPECT_EQ(Lines{dataFirst ? data : control}, poll());
      EXPECT_EQ(Lines{dataFirst ? control : data}, poll());
    }
}

TEST_F(HsmsLinkTest, ARequestThatCannotBeSentOpensNoTransaction) {
  const auto fillQueue = [&] {
    link->PeerAt(0).SetMaxQueued(10);
    while (link->SendFrame(Bytes(100'000)) != 0)
      continue;
  };
  for (const std::function<void()> &prepare : std::vector<std::function<void()>>{
           fillQueue, [&] { link->SetPortNumber(1); }, [&] { remote->reset(); },
           [&] { link->PeerAt(0).Close(); }}) {
    open();
    prepare();
    EXPECT_EQ(0, link->SendFrame(fromHex(frame(kS1F1))));
    EXPECT_EQ(0U, link->OpenTransactionCount());
  }
}

TEST_F(HsmsLinkTest, AnswersCloseTheirTransaction) {
  const std::string s9f7 = "00010907000000000009";
  struct Case {
    const char *name;
    std::string sent;
    std::string received;
    uint32_t t6;
    bool closed;
  };
  for (const Case &row : std::vector<Case>{
           {"reply", kS1F1, kS1F2, 5000, true},
           {"abort", kS1F1, "00010100000000000001", 5000, true},
           {"other stream", kS1F1, "00010202000000000001", 5000, false},
           {"other function", kS1F1, "00010104000000000001", 5000, false},
           {"other system bytes", kS1F1, "00010102000000000002", 5000, false},
           {"control message instead of a reply", kS1F1, "00010102000200000001", 5000, false},
           {"response", kLinktestReq, kLinktestRsp, 5000, true},
           {"wrong response", kLinktestReq, "ffff0000000200000003", 5000, false},
           {"response without T6", kLinktestReq, kLinktestRsp, 0, true},
           {"reply without T6", kS1F1, kS1F2, 0, true},
           {"error", kS1F1, s9f7 + "210a" + kS1F1, 5000, true},
           {"error, long form", kS1F1, s9f7 + "2200" + "0a" + kS1F1, 5000, true},
           {"error, longest form", kS1F1, s9f7 + "230000" + "0a" + kS1F1, 5000, true},
           {"error on another", kS1F1, s9f7 + "210a" + kS1F2, 5000, false},
           {"error, more than ten bytes", kS1F1, s9f7 + "210c" + kS1F1 + "0000", 5000, true},
           {"error, more but cut", kS1F1, s9f7 + "210c" + kS1F1, 5000, false},
           {"error, short item", kS1F1, s9f7 + "2109" + kS1F1, 5000, false},
           {"error, cut", kS1F1, s9f7 + "210a" + kS1F1.substr(2), 5000, false},
           {"error, list", kS1F1, s9f7 + "010a" + kS1F1, 5000, false},
           {"error, no body", kS1F1, s9f7, 5000, false}}) {
    SCOPED_TRACE(row.name);
    open();
    link->SetMaxLength(100);
    link->PeerAt(0).SetMaxLength(100);
    setTime(&HsmsTimes::t6, row.t6);
    link->SendFrame(fromHex(frame(row.sent)));
    arrive(frame(row.received));
    EXPECT_EQ(1U, poll().size());
    EXPECT_EQ(row.closed ? 0U : 1U, link->OpenTransactionCount());
  }
}

TEST_F(HsmsLinkTest, SelectMessagesSelectThePeerThatSentThem) {
  struct Case {
    std::string received;
    bool selects;
  };
  for (const Case &row : std::vector<Case>{{kSelectReq, true},
                                           {kSelectRsp, true},
                                           {"ffff0001000200000002", true},
                                           {"ffff0002000200000002", false},
                                           {"ffff0000010100000002", false}, // PType
                                           {kLinktestReq, false},
                                           {kS1F1, false}}) {
    SCOPED_TRACE(row.received);
    open();
    const int32_t first = remote->port();
    const auto second = join();
    bool selectedInReport = false;
    sink.onReport = [&](const std::string &) {
      selectedInReport = link->Selected("127.0.0.1", first);
    };
    arrive(frame(row.received));
    poll();
    sink.onReport = nullptr;
    EXPECT_EQ(row.selects, selectedInReport);
    EXPECT_EQ(first, sink.lastPort);
    EXPECT_EQ(row.selects, link->Selected("127.0.0.1", first));
    EXPECT_FALSE(link->Selected()); // the addressed peer is the second one
    link->SetPortNumber(first);
    EXPECT_EQ(row.selects, link->Selected());
    link->SetSelected(false);
    EXPECT_FALSE(link->Selected());
    EXPECT_FALSE(link->Selected("127.0.0.1", 1));
  }
}

TEST_F(HsmsLinkTest, AClientTellsOfADroppedConnectionAndStillDeliversWholeFrames) {
  open();
  const auto client = makeHandle<CHHsmsLink>(net->loop);
  client->SetIPAddress("127.0.0.1");
  client->SetPortNumber(link->LocalPort());
  client->SetSink(&sink);
  client->SetSelected(true);
  ASSERT_TRUE(client->Open());
  EXPECT_FALSE(client->Selected()); // a new connection never is
  net->settle();
  link->SendFrame(fromHex(frame(kSelectReq)));
  link->Close();
  net->settle();
  EXPECT_FALSE(client->Connected());
  sink.take();
  client->Poll();
  EXPECT_EQ(Lines{"received " + kSelectReq}, sink.take());
  EXPECT_TRUE(client->Selected());
  EXPECT_EQ(0, client->SendFrame(fromHex(frame(kS1F1))));
  EXPECT_EQ(0U, client->OpenTransactionCount());
}

TEST_F(HsmsLinkTest, APeerThatEndedStaysUntilItsWholeFramesAreDelivered) {
  const std::string separateReq = "ffff0000000900000014";
  open();
  const auto second = join();
  link->PeerAt(0).SetMaxLength(100);
  arrive(frame(kS1F2) + frame(separateReq) + "0000000a00");
  remote->close();
  net->settle();
  sink.take();
  for (const std::string &message : {kS1F2, separateReq}) {
    EXPECT_EQ(0U, link->NextPoll());
    EXPECT_EQ(Lines{"received " + message}, poll());
    EXPECT_EQ(2U, link->PeerCount());
    EXPECT_NE(second->port(), sink.lastPort);
  }
  net->clock.advance(5000);
  EXPECT_EQ(Lines{}, poll()); // no T8 for the rest
  EXPECT_EQ(1U, link->PeerCount());
}

TEST_F(HsmsLinkTest, ReportsMayDestroyCloseOrPump) {
  const Lines reports{"received " + kS1F2, "received " + kSelectReq, "problem T3 " + kS1F1,
                      "problem T7 ", "problem T8 "};
  for (const auto &at : reports)
    for (const char *action : {"destroy", "close", "pump"}) {
      SCOPED_TRACE(at + " " + action);
      open();
      link->PeerAt(0).SetMaxLength(100);
      Lines all;
      int count = 0;
      sink.onReport = [&](const std::string &line) {
        all.push_back(line);
        if (line != at || count++ != 0)
          return;
        if (*action == 'd') {
          link.reset();
        } else if (*action == 'c') {
          link->Close();
        } else {
          net->loop.runOnce(0);
          link->Poll();
        }
      };
      setTime(&HsmsTimes::t8, 60000);
      link->SendFrame(fromHex(frame(kS1F1)));
      arrive(frame(kS1F2) + frame(kSelectReq) + frame(kLinktestReq));
      for (int i = 0; i < 4 && link; ++i)
        link->Poll();
      if (at.starts_with("received") && *action == 'p') {
        EXPECT_EQ((Lines{reports[0], reports[1], "received " + kLinktestReq}), all);
      }
      if (link && link->PeerCount() != 0) {
        link->SetSelected(false);
        link->SendFrame(fromHex(frame(kS1F1)));
        arrive("0000000a01");
        net->clock.advance(60000);
        for (int i = 0; i < 4 && link; ++i)
          link->Poll();
      }
      sink.onReport = nullptr;
      EXPECT_GE(count, 1);
      sink.take();
    }
}

TEST(HsmsFrameTest, MessagesHaveLongNames) {
  const auto name = [](const std::string &hex) {
    return hsmsMessageName(*readHeader(fromHex(hex)));
  };
  EXPECT_EQ("S1F1", name(kS1F1));
  EXPECT_EQ("Select Request", name(kSelectReq));
  EXPECT_EQ("Linktest Response", name(kLinktestRsp));
  EXPECT_EQ("Separate Request", name("ffff0000000900000003"));
  EXPECT_EQ("Unknown", name("ffff0000000800000003"));
}

} // namespace
} // namespace velto
