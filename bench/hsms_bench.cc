// One HSMS pair on the loopback beside raw TCP of the same bytes through the same loop, and the
// cost of a control that has nothing to do.
#include "base/text.h"
#include "controls/hsms_ctrl.h"
#include "raw_sockets.h"
#include "transport/hsms/hsms_engine.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cerrno>
#include <sys/resource.h>

namespace {

using namespace velto;

constexpr uint32_t kHsmsPatience = 5000;

// Yardstick: 14 bytes there and 14 back.
void BM_RawPingPong(benchmark::State &state) {
  EventLoop loop;
  RawSockets raw;
  TcpSocket &client = raw.client;
  TcpSocket &server = raw.server;
  std::array<uint8_t, 4096> buffer{};
  size_t got = 0;
  DescriptorWatch echo(loop, server.fd(), DescriptorWatch::kReadable, [&](unsigned) {
    const ssize_t count = server.receive(buffer.data(), buffer.size());
    if (count > 0)
      server.send({buffer.data(), static_cast<size_t>(count)});
  });
  DescriptorWatch count(loop, client.fd(), DescriptorWatch::kReadable, [&](unsigned) {
    got += static_cast<size_t>(std::max<ssize_t>(0, client.receive(buffer.data(), buffer.size())));
  });
  const Bytes message(14);
  for (auto _ : state) {
    got = 0;
    client.send(message);
    while (got < message.size())
      loop.runOnce(-1);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_RawPingPong)->UseRealTime();

class Owner final : public MessageLinkOwner {
public:
  CHHsms *replier = nullptr; // answers S1F1 with S1F2
  size_t received = 0;

private:
  void OnConnected(const std::string &, int32_t) override {}
  void OnDisconnected(const std::string &, int32_t) override {}
  void OnReceived(const std::string &ipAddress, int32_t port, ByteView message, bool) override {
    if (message[5] != 0)
      return;
    ++received;
    if (replier == nullptr)
      return;
    std::copy_n(message.begin() + 6, 4, reply_.begin() + 6);
    replier->SendMessage(ipAddress, port, reply_);
  }
  void OnSent(const std::string &, int32_t, const CHSecsHeader &, ByteView) override {}
  void OnProblem(const std::string &, int32_t, const Problem &, ByteView) override {}
  void OnStateChanged(LinkState, LinkState) override {}

  Bytes reply_ = fromHex("00010102000000000000");
};

void BM_HsmsS1F1(benchmark::State &state) {
  EventLoop loop;
  Owner equipmentOwner;
  Owner hostOwner;
  const auto equipment = makeHandle<CHHsms>(loop, equipmentOwner);
  const auto host = makeHandle<CHHsms>(loop, hostOwner);
  equipmentOwner.replier = equipment.get();
  equipment->settings().server = true;
  equipment->Open();
  host->settings().portNumber = equipment->LocalPort();
  host->Open();
  const auto selected = [&host] { return host->State() == LinkState::Ready; };
  if (!loop.runUntil(selected, kHsmsPatience))
    return state.SkipWithError("not selected");
  const Bytes primary = fromHex("00018101000000000000");
  for (auto _ : state) {
    const size_t before = hostOwner.received;
    host->SendMessage(primary);
    while (hostOwner.received == before)
      loop.runOnce(-1);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_HsmsS1F1)->UseRealTime();

double cpuSeconds() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  const auto seconds = [](const timeval &time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

// A connected, selected pair of controls without traffic: percent of a core that both take.
void BM_IdleControls(benchmark::State &state) {
  EventLoop loop;
  CVeltoHsmsCtrl equipment(loop);
  CVeltoHsmsCtrl host(loop);
  TcpSocket probe;
  probe.create(0, false);
  const uint16_t port = probe.localPort();
  probe.close();
  equipment.SetServer(true);
  equipment.SetMyPortNumber(port);
  equipment.SetConnect(true);
  host.SetPortNumber(port);
  host.SetConnect(true);
  host.SetSelected(true);
  const double before = cpuSeconds();
  for (auto _ : state)
    loop.runUntil([] { return false; }, 2000);
  state.counters["% of a core"] = 100 * (cpuSeconds() - before) / 2;
}
BENCHMARK(BM_IdleControls)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
