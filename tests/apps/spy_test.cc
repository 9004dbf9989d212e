// What a spy makes of the bytes of a connection, and that they go through it as they are.
#include "apps/cases.h"
#include "apps/spied_bytes.h"
#include "apps/velto/spy/relay.h"
#include "apps/velto/spy/spy_console.h"
#include "base/text.h"
#include "transport/secsi/block.h"

#include <gtest/gtest.h>
#include <random>
#include <sstream>

namespace velto {
namespace {

Bytes bytesOf(std::string hex) {
  std::erase(hex, ' ');
  return fromHex(hex);
}

Bytes blockOf(const std::string &hex) {
  Bytes block = bytesOf(hex);
  const uint16_t sum = blockSum(block);
  block.insert(block.begin(), static_cast<uint8_t>(block.size()));
  block.push_back(static_cast<uint8_t>(sum >> 8));
  block.push_back(static_cast<uint8_t>(sum));
  return block;
}

SpyMoment moment(uint64_t ms) {
  SpyMoment at{ms * 1000 + 1, {}};
  at.local.minute = static_cast<uint16_t>(ms / 60'000);
  at.local.second = static_cast<uint16_t>(ms / 1000 % 60);
  at.local.milliseconds = static_cast<uint16_t>(ms % 1000);
  return at;
}

/// One connection as spy.txt writes it.
class SpiedConnection {
public:
  explicit SpiedConnection(const std::string &title) {
    settings_.quiet = title.find("quiet") != std::string::npos;
    settings_.json = title.find("json") != std::string::npos;
    if (title.starts_with("filter="))
      settings_.filter = *MessageFilter::read(title.substr(7, title.find(':') - 7));
    conversation_.emplace(
        Conversation::Settings{.secsI = title.starts_with("secsi")},
        Conversation::Reports{[this](const SpiedMessage &seen) { console_.message(1, seen); },
                              [this](const SpiedProblem &seen) { console_.problem(1, seen); }});
  }

  void play(const std::string &line) {
    if (line == "middle")
      return conversation_->beginInTheMiddle();
    std::istringstream words(line);
    uint64_t ms = 0;
    std::string way;
    std::string what;
    words >> ms >> way >> what >> std::ws;
    std::string rest;
    std::getline(words, rest);
    const SpyMoment at = moment(ms);
    const auto direction = way == ">" ? SpyDirection::ToTarget : SpyDirection::FromTarget;
    if (way == "tick")
      conversation_->tick(at);
    else if (way == "end")
      end(at);
    else if (what == "lost")
      conversation_->lost(direction, std::stoull(rest), at);
    else
      conversation_->take(direction,
                          what == "hex" ? bytesOf(rest)
                          : what == "block"
                              ? blockOf(rest)
                              : frameOf(static_cast<uint32_t>(std::stoul(what)), rest),
                          at);
  }

  std::string shown() const { return out_.str(); }

private:
  void end(const SpyMoment &at) {
    conversation_->end(at);
    console_.ended(at, 1, "closed", false, conversation_->counters());
  }

  SpyConsole::Settings settings_;
  std::ostringstream out_;
  SpyConsole console_{settings_, out_};
  std::optional<Conversation> conversation_;
};

TEST(Spy, ShowsWhatIsStored) {
  std::string actual;
  for (const Case &each : storedCases("spy.txt")) {
    SpiedConnection connection(each.title);
    std::istringstream lines(each.input);
    for (std::string line; std::getline(lines, line);)
      connection.play(line);
    actual += "=== " + each.title + '\n' + each.input + "---\n" + connection.shown() + '\n';
    EXPECT_EQ(connection.shown(), each.expected.substr(0, each.expected.find_last_not_of('\n') + 2))
        << each.title;
  }
  systemFiles().write(VELTO_BINARY_DIR "/spy.txt", actual); // what was shown
}

/// A relay between one who connects and a target, all in one loop.
class RelayTest : public testing::Test, public RelaySink {
protected:
  enum Side : size_t { kHost, kTarget };

  void SetUp() override {
    ASSERT_EQ(listener.create(0, true), 0);
    ASSERT_EQ(listener.listen(4), 0);
    relay = std::make_unique<Relay>(loop, *this, "127.0.0.1", listener.localPort());
    ASSERT_EQ(relay->listen(0), 0);
    ASSERT_EQ(ends[kHost].create(0, false), 0);
    ends[kHost].connect("127.0.0.1", relay->port());
  }
  void accept() {
    until([this] {
      int problem = 0;
      if (auto peer = listener.accept(problem))
        ends[kTarget] = std::move(peer->socket);
      return ends[kTarget].isOpen();
    });
  }
  /// Takes what has come at one end; true when its stream has ended.
  bool take(Side side, size_t most = SIZE_MAX) {
    Bytes chunk(65'536);
    while (taken[side].size() < most) {
      const ssize_t count =
          ends[side].receive(chunk.data(), std::min(chunk.size(), most - taken[side].size()));
      if (count <= 0) {
        error = count < 0 ? errno : 0;
        return count == 0 || (error != EAGAIN && error != EWOULDBLOCK);
      }
      taken[side].insert(taken[side].end(), chunk.begin(), chunk.begin() + count);
    }
    return false;
  }
  /// Sends from `sent` on as much as goes.
  void send(Side side, ByteView bytes, size_t &sent) {
    for (ssize_t count = 1; count > 0 && sent < bytes.size(); sent += static_cast<size_t>(count))
      count = std::max<ssize_t>(ends[side].send(bytes.subspan(sent)), 0);
  }
  void until(const std::function<bool()> &done) {
    bool isDone = done();
    for (int turns = 0; turns < 20'000 && !isDone; ++turns, isDone = done())
      loop.runOnce(2);
    EXPECT_TRUE(isDone);
  }

  EventLoop loop;
  std::array<TcpSocket, 2> ends;
  std::array<Bytes, 2> taken; // by an end
  std::array<Bytes, 2> heard; // what the sink was told, by the end that sent it
  int error = 0;
  std::string how;
  TcpSocket listener;
  std::unique_ptr<Relay> relay;

private:
  void opened(uint32_t, const TcpSocket::Ends &) override {}
  void passed(uint32_t, SpyDirection direction, ByteView bytes) override {
    Bytes &all = heard[indexOf(direction)];
    all.insert(all.end(), bytes.begin(), bytes.end());
  }
  void ended(uint32_t, const std::string &text, bool) override { how = text; }
  void refused(const std::string &why) override { how = why; }
};

TEST_F(RelayTest, BytesAndTheEndOfEachDirectionGoThrough) {
  accept();
  std::mt19937 random(7);
  std::array<Bytes, 2> sends;
  std::array<size_t, 2> sent{};
  for (Bytes &bytes : sends)
    for (int i = 0; i < 3'000'000; ++i)
      bytes.push_back(static_cast<uint8_t>(random()));
  until([&] {
    for (const Side side : {kHost, kTarget}) {
      send(side, sends[side], sent[side]);
      take(side);
    }
    return taken[kHost].size() == sends[kTarget].size() &&
           taken[kTarget].size() == sends[kHost].size();
  });
  EXPECT_TRUE(taken[kHost] == sends[kTarget] && taken[kTarget] == sends[kHost]);
  EXPECT_TRUE(heard == sends) << "it hears what goes through";

  ends[kHost].endSending();
  until([&] { return take(kTarget); });
  size_t more = 0;
  send(kTarget, Bytes{1, 2, 3}, more);
  until([&] { return !take(kHost) && taken[kHost].size() == sends[kTarget].size() + 3; });
  EXPECT_EQ(how, "") << "the other direction goes on";
  ends[kTarget].endSending();
  until([&] { return take(kHost) && !how.empty(); });
  EXPECT_TRUE(how.starts_with("closed by 127.0.0.1:")) << how;
}

TEST_F(RelayTest, WhoDoesNotReadHoldsUpTheOtherEnd) {
  accept();
  const Bytes bytes(64'000'000, 0x5a);
  size_t sent = 0;
  for (size_t before = 1; before != sent;) { // until nothing goes any more
    before = sent;
    for (int turn = 0; turn < 200; ++turn) {
      send(kHost, bytes, sent);
      loop.runOnce(1);
    }
  }
  EXPECT_LT(sent, bytes.size()) << "what the buffers of the system hold, and 64 KiB";
  until([&] {
    send(kHost, bytes, sent);
    take(kTarget);
    return taken[kTarget].size() == bytes.size();
  });
  EXPECT_TRUE(taken[kTarget] == bytes);
}

TEST_F(RelayTest, AResetGoesThrough) {
  accept();
  size_t sent = 0;
  send(kHost, Bytes{1}, sent);
  until([&] { return !take(kTarget) && taken[kTarget].size() == 1; });
  ends[kTarget].abort();
  until([&] { return take(kHost); });
  EXPECT_EQ(error, ECONNRESET);
  EXPECT_TRUE(how.starts_with("reset by 127.0.0.1:")) << how;
}

TEST_F(RelayTest, WithoutATargetWhoConnectsIsReset) {
  listener.close();
  until([&] { return take(kHost); });
  EXPECT_EQ(error, ECONNRESET);
  EXPECT_TRUE(how.starts_with("cannot connect to 127.0.0.1:")) << how;
}

} // namespace
} // namespace velto
