// SECS-I beside the same bytes without it, and what many serial ports at full speed take.
#include "platform/pseudo_terminal.h"
#include "raw_sockets.h"
#include "transport/secsi/secsi.h"
#include "transport/secsi/secsi_socket.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cerrno>
#include <ctime>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace velto;

constexpr size_t kBlocks = 1000; // of one message
constexpr size_t kLineBytes = 1 + kLargestBlock + kSumSize;
constexpr uint32_t kSecsIPatience = 20'000;

// A primary without the W-bit, so that nothing is kept after it was sent.
Bytes message(size_t blocks) {
  Bytes bytes(CHSecsHeader::kSize + blocks * kBlockData);
  bytes[2] = 7;
  bytes[3] = 3;
  return bytes;
}

class CountingSink final : public CHConnectionSink {
public:
  void OnReceived(ConnectionKind, const std::string &, int32_t, ByteView) override { ++received; }
  void OnSent(ConnectionKind, const std::string &, int32_t, ByteView, bool) override {}
  void OnProblem(ConnectionKind, const std::string &, int32_t, const Problem &) override {
    ++problems;
  }
  void OnConnectionChanged(ConnectionKind, const std::string &, int32_t, bool) override {}
  void OnTrace(ConnectionKind, ByteView, TraceDirection) override {}

  size_t received = 0;
  size_t problems = 0;
};

// Yardstick: request, grant, block and acknowledge of each block as bare bytes through the same
// loop.
void BM_RawBlocks(benchmark::State &state) {
  EventLoop loop;
  RawSockets raw;
  TcpSocket &client = raw.client;
  TcpSocket &server = raw.server;
  std::array<uint8_t, 1024> buffer{};
  const Bytes block(kLineBytes);
  const Bytes character(1);
  size_t arrived = 0;
  size_t answers = 0;
  DescriptorWatch receiver(loop, server.fd(), DescriptorWatch::kReadable, [&](unsigned) {
    const ssize_t count = server.receive(buffer.data(), buffer.size());
    arrived += static_cast<size_t>(std::max<ssize_t>(0, count));
    if (arrived == 1 || arrived == 1 + kLineBytes)
      server.send(character);
  });
  DescriptorWatch sender(loop, client.fd(), DescriptorWatch::kReadable, [&](unsigned) {
    answers +=
        static_cast<size_t>(std::max<ssize_t>(0, client.receive(buffer.data(), buffer.size())));
    if (answers == 1)
      client.send(block);
  });
  for (auto _ : state) {
    arrived = answers = 0;
    client.send(character);
    while (answers < 2)
      loop.runOnce(-1);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_RawBlocks)->Unit(benchmark::kMicrosecond);

// A message of 1,000 blocks over the loopback; the time is that of one block, at both ends.
void BM_SecsIBlocks(benchmark::State &state) {
  EventLoop loop;
  CountingSink sink;
  const auto listener = makeHandle<CHSecsISocket>(loop);
  const auto client = makeHandle<CHSecsISocket>(loop);
  listener->SetSink(&sink);
  client->SetSink(&sink);
  listener->SetServerMode(true);
  listener->Open();
  client->SetIPAddress("127.0.0.1");
  client->SetPortNumber(listener->LocalPort());
  client->Open();
  const Bytes bytes = message(kBlocks);
  while (state.KeepRunningBatch(kBlocks)) {
    const size_t before = sink.received;
    client->QueueMessage(bytes);
    if (!loop.runUntil([&] { return sink.received != before; }, kSecsIPatience))
      return state.SkipWithError("lost");
  }
  if (sink.problems != 0)
    state.SkipWithError("problems");
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_SecsIBlocks)->Unit(benchmark::kMicrosecond);

// The far end of a serial line: sends blocks at the speed of a line, and grants nothing.
class FarEnd final : private ByteChannel, private BlockTransferOwner {
public:
  explicit FarEnd(const Clock &clock)
      : engine_(*this, *this, kSerialVariant, clock, systemFiles()), message_(message(10)) {}
  const std::string &path() const { return line_.path(); }

  // The bytes that a line carries in one millisecond, at ten bits each.
  void tick(size_t bytes) {
    if (queued_.size() - sent_ < bytes)
      refill();
    const size_t count = std::min(bytes, queued_.size() - sent_);
    sent_ += line_.send(ByteView(queued_).subspan(sent_, count));
    const Bytes got = line_.read();
    input_.insert(input_.end(), got.begin(), got.end());
    engine_.Poll();
    if (engine_.OutCount() == 0)
      engine_.QueueMessage(next());
  }

private:
  const Bytes &next() {
    writeBigEndian(&message_[6], ++number_);
    return message_;
  }
  void refill() {
    queued_.erase(queued_.begin(), queued_.begin() + static_cast<std::ptrdiff_t>(sent_));
    sent_ = 0;
  }

  bool IsOpen() const override { return true; }
  size_t InputCount() override { return input_.size() - read_; }
  uint8_t ReadByte() override {
    const uint8_t byte = input_[read_++];
    if (read_ == input_.size()) {
      input_.clear();
      read_ = 0;
    }
    return byte;
  }
  bool Write(ByteView bytes) override {
    queued_.insert(queued_.end(), bytes.begin(), bytes.end());
    return true;
  }
  void OnMessage(ByteView) override {}
  void OnMessageSent(ByteView, bool) override {}
  void OnTransferProblem(LinkProblem, const std::string &) override {}
  void OnTransferTrace(ByteView, TraceDirection) override {}

  BlockTransfer engine_;
  Bytes message_;
  uint32_t number_ = 0;
  PseudoTerminal line_;
  Bytes queued_;
  size_t sent_ = 0;
  Bytes input_;
  size_t read_ = 0;
};

double threadSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// 32 serial ports that receive at 115,200 baud without a pause: percent of a core that they take.
// The partners run on a thread of their own, whose time is not counted.
void BM_SerialPorts(benchmark::State &state) {
  constexpr size_t kPorts = 32;
  constexpr int32_t kBaudRate = 115'200;
  constexpr uint32_t kDuration = 5000;
  EventLoop farLoop;
  std::vector<std::unique_ptr<FarEnd>> partners;
  EventLoop loop;
  CountingSink sink;
  std::vector<Handle<CHSecsI>> ports;
  for (size_t i = 0; i < kPorts; ++i) {
    partners.push_back(std::make_unique<FarEnd>(farLoop.clock()));
    CHSecsI &port = *ports.emplace_back(makeHandle<CHSecsI>(loop));
    port.SetSink(&sink);
    if (!port.Open(partners.back()->path(), kBaudRate, 8, 0, 0))
      return state.SkipWithError("cannot open");
  }
  std::jthread far([&](const std::stop_token &stop) {
    uint64_t tenths = 0; // of bytes
    Timer line(farLoop, [&] {
      tenths += kBaudRate / 1000;
      for (const auto &partner : partners)
        partner->tick(tenths / 10);
      tenths %= 10;
    });
    line.startPeriodic(1);
    while (!stop.stop_requested())
      farLoop.runOnce(10);
  });
  const double before = threadSeconds();
  for (auto _ : state)
    loop.runUntil([] { return false; }, kDuration);
  state.counters["% of a core"] = 100 * (threadSeconds() - before) / (kDuration / 1000.0);
  state.counters["messages"] = static_cast<double>(sink.received);
  state.counters["problems"] = static_cast<double>(sink.problems);
}
BENCHMARK(BM_SerialPorts)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
