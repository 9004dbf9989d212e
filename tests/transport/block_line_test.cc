// Two stations on a line that loses, changes, doubles and delays what they send.

#include "block_line.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace velto {
namespace {

// One direction of a line. What was written arrives in its order, later. Faults are such as the
// protocol can find: a character of the protocol never turns into another one of them.
class FaultyWire {
public:
  FaultyWire(const Clock &clock, std::mt19937 &random) : clock_(clock), random_(random) {}

  void send(ByteView bytes) {
    Bytes changed(bytes.begin(), bytes.end());
    if (chance(80))
      damage(changed);
    const uint32_t delay = chance(50) ? below(80) : 0;
    due_ = std::max(due_, clock_.ticks() + delay);
    for (const uint8_t byte : changed)
      bytes_.push_back({due_, byte});
  }
  void arrive(std::deque<uint8_t> &input) {
    while (!bytes_.empty() && bytes_.front().first <= clock_.ticks()) {
      input.push_back(bytes_.front().second);
      bytes_.pop_front();
    }
  }
  std::optional<uint32_t> next() const {
    if (bytes_.empty())
      return std::nullopt;
    return bytes_.front().first - std::min(bytes_.front().first, clock_.ticks());
  }

private:
  uint32_t below(size_t limit) { return static_cast<uint32_t>(random_() % limit); }
  bool chance(unsigned oneIn) { return below(oneIn) == 0; }
  void damage(Bytes &bytes) {
    const auto place = static_cast<std::ptrdiff_t>(below(bytes.size()));
    uint8_t &byte = bytes[static_cast<size_t>(place)];
    switch (below(4)) {
    case 0:
      bytes.erase(bytes.begin() + place);
      break;
    case 1:
      byte = static_cast<uint8_t>(bytes.size() == 1 ? 0x80U : byte ^ (1U << below(8)));
      break;
    case 2:
      bytes.insert(bytes.begin() + place, byte);
      break;
    default:
      bytes.clear();
    }
  }

  const Clock &clock_;
  std::mt19937 &random_;
  uint32_t due_ = 0;
  std::deque<std::pair<uint32_t, uint8_t>> bytes_;
};

class Station final : public BlockTransferOwner {
public:
  Station(Clock &clock, bool master, std::mt19937 &random)
      : wire(clock, random), engine(line, *this, kSerialVariant, clock, systemFiles()),
        random_(random) {
    SecsISettings &settings = engine.settings();
    settings.master = master;
    settings.t1 = 20;
    settings.t2 = 100;
    settings.t3 = 1000;
    settings.t4 = 5000;
    line.onWrite = [this](ByteView bytes) { wire.send(bytes); };
  }

  // A message of its own system bytes, and of data that follow from them.
  void queueNext() {
    Bytes message = fromHex("00000301800000000000");
    writeBigEndian<uint32_t>(&message[6], ++number_);
    const size_t size = random_() % 8 == 0 ? random_() % 900 : random_() % 40;
    for (size_t i = 0; i < size; ++i)
      message.push_back(static_cast<uint8_t>(number_ * 31 + i));
    pending.emplace(number_, Bytes(message.begin() + 10, message.end()));
    ASSERT_TRUE(engine.QueueMessage(message));
  }

  void OnMessage(ByteView message) override {
    const uint32_t number = readBigEndian<uint32_t>(&message[6]);
    EXPECT_EQ(0U, received.count(number)) << "delivered twice";
    received[number] = Bytes(message.begin() + 10, message.end());
  }
  void OnMessageSent(ByteView message, bool sent) override {
    const uint32_t number = readBigEndian<uint32_t>(&message[6]);
    ASSERT_EQ(1U, pending.count(number)) << "told of twice";
    const Bytes data = std::move(pending[number]);
    pending.erase(number);
    ++(sent ? sentCount : failedCount);
    const auto arrived = peer->received.find(number);
    ASSERT_TRUE(arrived != peer->received.end() || !sent) << "lost";
    if (arrived != peer->received.end()) {
      EXPECT_EQ(data, arrived->second) << "changed";
      arrived->second.clear();
    }
  }
  void OnTransferProblem(LinkProblem, const std::string &) override {}
  void OnTransferTrace(ByteView, TraceDirection) override {}

  MemoryLine line;
  FaultyWire wire; ///< to the peer
  BlockTransfer engine;
  Station *peer = nullptr;
  std::map<uint32_t, Bytes> pending;
  std::map<uint32_t, Bytes> received;
  size_t sentCount = 0;
  size_t failedCount = 0;

private:
  std::mt19937 &random_;
  uint32_t number_ = 0;
};

class FaultyLine : public testing::TestWithParam<unsigned> {};

TEST_P(FaultyLine, EveryMessageArrivesOnceOrIsReportedFailed) {
  SCOPED_TRACE("seed " + std::to_string(GetParam()));
  std::mt19937 random(GetParam());
  ManualClock clock(1);
  Station equipment(clock, true, random);
  Station host(clock, false, random);
  equipment.peer = &host;
  host.peer = &equipment;

  constexpr size_t kMessages = 12'500; // from each station
  size_t queued = 0;
  uint64_t turns = 0;
  while (!HasFatalFailure() &&
         (queued < kMessages || !equipment.pending.empty() || !host.pending.empty())) {
    ASSERT_LT(++turns, 100 * kMessages) << "does not converge";
    if (queued < kMessages && equipment.pending.size() + host.pending.size() < 4) {
      equipment.queueNext();
      host.queueNext();
      ++queued;
    }
    uint32_t step = 1000;
    for (Station *station : {&equipment, &host}) {
      station->peer->wire.arrive(station->line.input);
      station->engine.Poll();
    }
    for (Station *station : {&equipment, &host}) {
      step = std::min(step, station->engine.NextPoll().value_or(step));
      step = std::min(step, station->wire.next().value_or(step));
    }
    clock.advance(step);
  }
  EXPECT_EQ(2 * kMessages,
            equipment.sentCount + equipment.failedCount + host.sentCount + host.failedCount);
  EXPECT_LT(equipment.failedCount + host.failedCount, kMessages / 10);
}

INSTANTIATE_TEST_SUITE_P(Seeds, FaultyLine, testing::Values(1U, 2U, 3U, 4U));

// A line that takes its time for every byte.
TEST(PacedLine, BlocksFollowEachOtherAtTheSpeedOfTheLine) {
  constexpr double kByteTime = 10 * 1000.0 / 9600; // ms at 9,600 baud
  BlockStation sender;
  BlockStation receiver;
  struct Byte {
    double due;
    uint8_t value;
  };
  double now = 0;
  size_t carried = 0;
  const auto wire = [&](std::deque<Byte> &bytes, ByteView written) {
    for (const uint8_t byte : written) {
      const double start = bytes.empty() ? now : std::max(now, bytes.back().due);
      bytes.push_back({start + kByteTime, byte});
      ++carried;
    }
  };
  std::deque<Byte> there;
  std::deque<Byte> back;
  sender.line.onWrite = [&](ByteView bytes) { wire(there, bytes); };
  receiver.line.onWrite = [&](ByteView bytes) { wire(back, bytes); };
  ASSERT_TRUE(sender.engine->QueueMessage(Bytes(CHSecsHeader::kSize + 10 * kBlockData)));

  std::string outcome;
  while (outcome.empty() && now < 10'000) {
    outcome = sender.poll(); // 1 ms ticks, and at every arrival
    receiver.poll();
    double next = std::floor(now) + 1;
    for (const auto *bytes : {&there, &back})
      if (!bytes->empty())
        next = std::min(next, std::max(now, bytes->front().due));
    const auto ms = static_cast<uint32_t>(std::floor(next) - std::floor(now));
    now = next;
    for (BlockStation *station : {&sender, &receiver})
      station->clock.advance(ms);
    const auto arrive = [&](std::deque<Byte> &bytes, BlockStation &station) {
      for (; !bytes.empty() && bytes.front().due <= now; bytes.pop_front())
        station.line.input.push_back(bytes.front().value);
    };
    arrive(there, receiver);
    arrive(back, sender);
  }
  EXPECT_TRUE(outcome.starts_with("sent ")) << outcome;
  EXPECT_LE(now, 1.05 * kByteTime * static_cast<double>(carried));
}

} // namespace
} // namespace velto
