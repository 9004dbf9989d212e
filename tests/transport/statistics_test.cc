// What the engines count.
#include "support/pty.h"
#include "transport/block_line.h"
#include "transport/hsms/hsms_link.h"
#include "transport/hsms_engine_fixture.h"
#include "transport/secsi/secsi.h"
#include "transport/secsi/secsi_socket.h"

namespace velto {
namespace {

/// Tells what has been counted since it was asked last: "FramesIn 1, BytesIn 14".
class CounterWatch {
public:
  explicit CounterWatch(std::function<LinkCounters()> counters)
      : counters_(std::move(counters)), seen_(counters_()) {}

  std::string news() const {
    std::string text;
    const auto before = namedCounters(seen_);
    const auto now = namedCounters(counters_());
    for (size_t i = 0; i < now.size(); ++i)
      if (const uint64_t more = now[i].value - before[i].value; more != 0)
        text += (text.empty() ? "" : ", ") + std::string(now[i].name) + ' ' + std::to_string(more);
    return text;
  }
  std::string take() {
    std::string text = news();
    seen_ = counters_();
    return text;
  }

private:
  std::function<LinkCounters()> counters_;
  LinkCounters seen_;
};

struct Counted {
  std::string hex; ///< what the far end sends
  const char *news;
};

TEST_F(HsmsEngineTest, CountsWhatCrossesTheLink) {
  openSelected();
  CounterWatch watch([this] { return engine->counters(); });
  const Counted rows[] = {
      {frame(kS1F1), "FramesIn 1, BytesIn 14"},
      {frame(kS1F1), "FramesIn 1, BytesIn 14, Duplicates 1"},
      {frame(kLinktestReq), "FramesIn 1, FramesOut 1, BytesIn 14, BytesOut 14"},
      {frame("ffff0000000600000099"),
       "FramesIn 1, FramesOut 1, BytesIn 14, BytesOut 14, RejectsOut 1"},
      {frame("ffff0004000700000099"), "FramesIn 1, BytesIn 14, RejectsIn 1"},
      {frame("ffff8101000000000007"), "FramesIn 1, BytesIn 14, InvalidSessionId 1"},
      {"00000003aabbcc", "BytesIn 7, LengthTooShort 1"},
      {"0000", "BytesIn 2"},
  };
  for (const auto &[hex, news] : rows) {
    remote->send(hex);
    net->settle();
    EXPECT_EQ(watch.take(), news) << hex;
  }
  net->clock.advance(5000);
  engine->Poll();
  EXPECT_EQ(watch.take(), "T8 1");
  const auto second = join();
  second->send(frame(kSelectReq));
  net->settle();
  EXPECT_EQ(watch.take(), "FramesIn 1, FramesOut 1, BytesIn 14, BytesOut 14, Connections 1");
  second->close();
  net->settle();
  engine->Poll();
  engine->Close();
  watch.take(); // a reset, where the client had not read all
  ASSERT_TRUE(engine->Open());
  EXPECT_EQ(watch.take(), "") << "a fresh connection counts on";
  remote = join();
  EXPECT_EQ(watch.take(), "Connections 1");
  engine->count(LinkProblem::T3);
  EXPECT_EQ(watch.take(), "T3 1");
}

// Of a listener, whose peers come and go.
TEST_F(HsmsEngineTest, CountsForEachConnection) {
  open();
  const auto second = join();
  for (int i = 0; i < 2; ++i)
    exchange(kSelectReq.substr(0, 19) + std::to_string(i));
  second->send(frame(kS1F1));
  net->settle();
  engine->count(LinkProblem::T3);
  auto each = engine->connectionCounters();
  ASSERT_EQ(each.size(), 2U);
  EXPECT_EQ(each[0].remote, "127.0.0.1:" + std::to_string(remote->port()));
  EXPECT_EQ(each[0].counters.framesIn, 2U);
  EXPECT_EQ(each[0].counters.of(LinkProblem::T3), 1U) << "of the one that is selected";
  EXPECT_EQ(each[1].counters.framesIn, 1U);
  EXPECT_EQ(each[1].counters.rejectsOut, 1U);
  EXPECT_EQ(each[1].counters.connections, 1U);
  const LinkCounters sum = engine->counters();
  EXPECT_EQ(sum.framesIn, 3U);
  EXPECT_EQ(sum.connections, 2U);
  second->read();
  second->close();
  net->settle();
  engine->Poll();
  EXPECT_EQ(engine->connectionCounters().size(), 1U);
  EXPECT_EQ(engine->counters(), sum);
  engine->Close();
  EXPECT_EQ(engine->counters(), sum);
}

TEST(LinkStatistics, ABareLinkSumsItsPeers) {
  Network net;
  const auto link = makeHandle<CHHsmsLink>(net.loop);
  CounterWatch watch([&] { return link->counters(); });
  link->SetServerMode(true);
  ASSERT_TRUE(link->Open());
  RawClient first(link->LocalPort());
  RawClient second(link->LocalPort());
  ASSERT_TRUE(net.until([&] { return link->PeerCount() == 2; }));
  EXPECT_EQ(watch.take(), "Connections 2");
  const Counted rows[] = {
      {frame(kSelectReq), "FramesIn 2, BytesIn 28"},
      {frame("ffff0004000700000099"), "FramesIn 2, BytesIn 28, RejectsIn 2"},
      {"00000000", "BytesIn 8, LengthTooLong 2"},
  };
  for (const auto &[hex, news] : rows) {
    first.send(hex);
    second.send(hex);
    net.until([&, news = news] {
      net.clock.advance(1);
      return watch.news() == news;
    });
    EXPECT_EQ(watch.take(), news) << hex;
  }
  link->SendFrame(fromHex(frame(kS1F1)));
  link->SendFrame(fromHex(frame("ffff0004000700000099")));
  EXPECT_EQ(watch.take(), "FramesOut 2, BytesOut 28, RejectsOut 1");
  link->SetPortNumber(1);
  EXPECT_EQ(link->SendFrame(fromHex(frame(kS1F1))), 0);
  EXPECT_EQ(watch.take(), "CannotSend 1");
  net.clock.advance(45'000);
  net.settle();
  EXPECT_EQ(watch.take(), "T3 1");
}

// The far end of a SECS-I line is given by what sends to it, and what puts a message into the
// queue.
void countBlocks(Network &net, CounterWatch &watch,
                 const std::function<void(const std::string &hex)> &send,
                 const std::function<void(const std::string &hex)> &queue) {
  const std::string block = blockHex("00008101800100000007");
  const Counted rows[] = {
      {"05", "BytesIn 1, BytesOut 1"},
      {block, "FramesIn 1, BlocksIn 1, BytesIn 13, BytesOut 1"},
      {"05", "BytesIn 1, BytesOut 1"},
      {block, "BlocksIn 1, BytesIn 13, BytesOut 1, Duplicates 1"},
      {"41", "BytesIn 1, UnexpectedCharacter 1"},
      {"queue", "BytesOut 1, QueuePeak 10"},
      {"04", "BytesIn 1, BytesOut 13"},
      {"06", "FramesOut 1, BlocksOut 1, BytesIn 1"},
      {"queue", "BytesOut 1"},
      {"04", "BytesIn 1, BytesOut 13"},
      {"15", "BytesIn 1, Nak 1, SendFailed 1"},
  };
  for (const auto &[hex, news] : rows) {
    hex == "queue" ? queue("00000102000000000007") : send(hex);
    net.clock.advance(1);
    net.until([&, news = news] { return watch.news() == news; });
    EXPECT_EQ(watch.take(), news) << hex;
  }
}

SecsISettings withoutRetries() {
  SecsISettings settings;
  settings.retry = 0;
  return settings;
}

TEST(LinkStatistics, ASerialLineCountsItsBlocks) {
  Network net;
  PtyLine line;
  const auto port = makeHandle<CHSecsI>(net.loop);
  CounterWatch watch([&] { return port->counters(); });
  port->SetSettings(withoutRetries());
  EXPECT_FALSE(port->Open("/dev/null", 9600, 8, 0, 0));
  ASSERT_TRUE(port->Open(line.path(), 9600, 8, 0, 0));
  EXPECT_EQ(watch.take(), "Connections 1");
  countBlocks(
      net, watch, [&](const std::string &hex) { line.send(fromHex(hex)); },
      [&](const std::string &hex) { EXPECT_TRUE(port->QueueHex(hex)); });
  line.hangUp();
  net.until([&] { return !watch.news().empty(); });
  EXPECT_EQ(watch.take(), "System 1");
}

TEST(LinkStatistics, SecsIOverTcpCountsItsBlocks) {
  Network net;
  const auto listener = makeHandle<CHSecsISocket>(net.loop);
  CounterWatch watch([&] { return listener->counters(); });
  listener->SetSettings(withoutRetries());
  listener->SetServerMode(true);
  ASSERT_TRUE(listener->Open());
  EXPECT_FALSE(listener->QueueHex("00000102000000000007"));
  EXPECT_EQ(watch.take(), "NoPeer 1");
  RawClient remote(listener->LocalPort());
  ASSERT_TRUE(net.until([&] { return listener->PeerCount() == 1; }));
  EXPECT_EQ(watch.take(), "Connections 1");
  countBlocks(
      net, watch, [&](const std::string &hex) { remote.send(hex); },
      [&](const std::string &hex) { EXPECT_TRUE(listener->QueueHex(hex)); });
}

} // namespace
} // namespace velto
