#include "transport/hsms/hsms_link.h"

#include "transport/hsms/hsms_frame.h"

#include <gtest/gtest.h>

#include "transport/network.h"

namespace velto {
namespace {

const std::string kPrimaryS1F1 = "00018101000000000001";
const std::string kReplyS1F2 = "00010102000000000001";
const std::string kSelectMessage = "ffff0000000100000002";
const std::string kLinktestMessage = "ffff0000000500000003";
const std::string kLinktestAnswer = "ffff0000000600000003";

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
  std::unique_ptr<Network> net;
  RecordingSink sink;
  Handle<CHHsmsLink> link;
  std::unique_ptr<RawClient> remote;
};

TEST_F(HsmsLinkTest, FramesAreDeliveredOneATick) {
  open();
  const std::string both = frame(kPrimaryS1F1) + frame(kReplyS1F2);
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
    EXPECT_EQ((Lines{"received " + kPrimaryS1F1, "received " + kReplyS1F2}), got);
  }
}

TEST_F(HsmsLinkTest, ChangedTimesOfAListenerCountForItsPeersAtOnce) {
  struct Case {
    uint32_t HsmsTimes::*timer;
    bool selected;
    std::string arrived;
    std::string report;
  };
  for (const Case &row :
       std::vector<Case>{{&HsmsTimes::t3, true, "", "problem T3 " + kPrimaryS1F1},
                         {&HsmsTimes::t6, true, "", "problem T6 " + kLinktestMessage},
                         {&HsmsTimes::t7, false, "", "problem T7 "},
                         {&HsmsTimes::t8, true, "0000000a01", "problem T8 "}}) {
    SCOPED_TRACE(row.report);
    open();
    link->SetSelected(row.selected);
    for (const std::string &request : {kPrimaryS1F1, kLinktestMessage})
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

// Of a host that was busy. What arrives after the time-out does not put it off any further.
TEST_F(HsmsLinkTest, WhatHasArrivedIsHandedOverBeforeTimeOuts) {
  struct Case {
    const char *name;
    bool selected;
    std::string sent;
    std::string arrived;
    Lines reports;
  };
  const Lines both{"received " + kReplyS1F2, "received " + kLinktestAnswer};
  for (const Case &row : std::vector<Case>{
           {"T3", true, kPrimaryS1F1, frame(kReplyS1F2) + frame(kLinktestAnswer), both},
           {"T6", true, kLinktestMessage, frame(kReplyS1F2) + frame(kLinktestAnswer), both},
           {"T7", false, kReplyS1F2, frame(kSelectMessage), {"received " + kSelectMessage}},
           {"T3 and a part",
            true,
            kPrimaryS1F1,
            frame(kReplyS1F2) + "0000000a00",
            {both[0], "problem T8 "}},
           {"no answer",
            true,
            kPrimaryS1F1,
            frame(kLinktestAnswer),
            {both[1], "problem T3 " + kPrimaryS1F1, "received " + kSelectMessage}}}) {
    SCOPED_TRACE(row.name);
    open();
    link->PeerAt(0).SetMaxLength(100);
    link->SetSelected(row.selected);
    link->SendFrame(fromHex(frame(row.sent)));
    arrive(row.arrived);
    net->clock.advance(60000);
    Lines reports = poll();
    if (row.reports.size() == 3)
      arrive(frame(kSelectMessage));
    for (int tick = 0; tick < 3; ++tick) {
      const Lines more = poll();
      reports.insert(reports.end(), more.begin(), more.end());
    }
    EXPECT_EQ(reports, row.reports);
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
    EXPECT_EQ(0, link->SendFrame(fromHex(frame(kPrimaryS1F1))));
    EXPECT_EQ(0U, link->OpenTransactionCount());
  }
}

TEST_F(HsmsLinkTest, APeerIsSelectedWhileItsSelectIsReported) {
  open();
  const int32_t first = remote->port();
  const auto second = join();
  bool selectedInReport = false;
  sink.onReport = [&](const std::string &) {
    selectedInReport = link->Selected("127.0.0.1", first);
  };
  arrive(frame(kSelectMessage));
  poll();
  sink.onReport = nullptr;
  EXPECT_TRUE(selectedInReport);
  EXPECT_EQ(sink.lastPort, first);
  EXPECT_FALSE(link->Selected()) << "the addressed peer is the second one";
  EXPECT_FALSE(link->Selected("127.0.0.1", 1));
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
  link->SendFrame(fromHex(frame(kSelectMessage)));
  link->Close();
  net->settle();
  EXPECT_FALSE(client->Connected());
  sink.take();
  client->Poll();
  EXPECT_EQ(Lines{"received " + kSelectMessage}, sink.take());
  EXPECT_TRUE(client->Selected());
  EXPECT_EQ(0, client->SendFrame(fromHex(frame(kPrimaryS1F1))));
  EXPECT_EQ(0U, client->OpenTransactionCount());
}

TEST_F(HsmsLinkTest, APeerThatEndedStaysUntilItsWholeFramesAreDelivered) {
  const std::string separateReq = "ffff0000000900000014";
  open();
  const auto second = join();
  link->PeerAt(0).SetMaxLength(100);
  arrive(frame(kReplyS1F2) + frame(separateReq) + "0000000a00");
  remote->close();
  net->settle();
  sink.take();
  for (const std::string &message : {kReplyS1F2, separateReq}) {
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
  const Lines reports{"received " + kReplyS1F2, "received " + kSelectMessage,
                      "problem T3 " + kPrimaryS1F1, "problem T7 ", "problem T8 "};
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
      link->SendFrame(fromHex(frame(kPrimaryS1F1)));
      arrive(frame(kReplyS1F2) + frame(kSelectMessage) + frame(kLinktestMessage));
      for (int i = 0; i < 4 && link; ++i)
        link->Poll();
      if (at.starts_with("received") && *action == 'p') {
        EXPECT_EQ((Lines{reports[0], reports[1], "received " + kLinktestMessage}), all);
      }
      if (link && link->PeerCount() != 0) {
        link->SetSelected(false);
        link->SendFrame(fromHex(frame(kPrimaryS1F1)));
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
  EXPECT_EQ("S1F1", name(kPrimaryS1F1));
  EXPECT_EQ("Select Request", name(kSelectMessage));
  EXPECT_EQ("Linktest Response", name(kLinktestAnswer));
  EXPECT_EQ("Separate Request", name("ffff0000000900000003"));
  EXPECT_EQ("Unknown", name("ffff0000000800000003"));
}

} // namespace
} // namespace velto
