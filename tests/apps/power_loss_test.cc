// An equipment that is killed in the middle of a storm of changes: what it acknowledged is in its
// data file, which loads.
#include "gem/data/data_file.h"
#include "gem/station.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace velto {
namespace {

constexpr int kRounds = 100;

pid_t startEquipment(const std::string &folder, const std::string &port) {
  const pid_t child = fork();
  if (child == 0) {
    if (chdir(folder.c_str()) != 0 || freopen("/dev/null", "r", stdin) == nullptr ||
        freopen("output", "a", stdout) == nullptr || freopen("output", "a", stderr) == nullptr)
      _exit(99);
    execl(VELTO_PROGRAM, "velto", "equipment", "station.ini", "--data", "station.kel", "--port",
          port.c_str(), "--quiet", nullptr);
    _exit(99);
  }
  return child;
}

// A host on the real clock that sends the next change as soon as the last one is acknowledged.
class Storm final : public CHGemEventSink {
public:
  explicit Storm(uint16_t port) {
    engine->SetSink(this);
    engine->SetIniFileName(folder / "host.ini");
    engine->gem()->SetDataFileName(folder / "host.kel");
    engine->gem()->SetHost(true);
    engine->gem()->data().communication.initialState = CommunicationState::NotCommunicating;
    CHGemEventVid state;
    state.vid = 1;
    state.setRawValue("<u4 4>");
    state.role = RoleControlState;
    engine->gem()->data().variables.Add(state);
    engine->physical().settings().ipAddress = "127.0.0.1";
    engine->physical().settings().portNumber = port;
    engine->physical().t5 = 5;
    ticker.startPeriodic(1);
    engine->OpenConnection();
  }

  /// Runs until `count` changes are acknowledged; false when that takes too long.
  bool acknowledge(int count) {
    const int target = acknowledged + count;
    return loop.runUntil([this, target] { return acknowledged >= target; }, 20'000);
  }

  EventLoop loop;
  int acknowledged = 0;    ///< changes answered with 0
  uint32_t lastReport = 0; ///< the report that was acknowledged last

private:
  void next() {
    CHSecsMessage message;
    ++pending;
    message.SetFromSml("s2f33w{<u4 1>{{<u4 " + std::to_string(pending) + ">{<u4 1>}}}}");
    engine->Send(message);
  }
  void OnConnected(const std::string &, int32_t) override {}
  void OnDisconnected(const std::string &, int32_t) override {}
  void OnConnectionStateChanged(int16_t, int16_t) override {}
  void OnProblem(const Problem &) override {}
  void OnReceived(const std::string &, int32_t) override {
    const CHSecsMessage &message = engine->gem()->slot(CHGem::kReceived).message;
    if (message.header.stream() == 2 && message.header.function() == 34) {
      if (message.GetNodeValue(true) == "0") {
        ++acknowledged;
        lastReport = pending;
      }
      engine->DefProc();
      next();
    } else {
      engine->DefProc();
    }
  }
  void OnSent() override {}
  void OnCommunicationStateChanged(int16_t state, int16_t) override {
    if (state == CommunicationState::Communicating)
      loop.post([this] { next(); });
  }
  void OnControlStateChanged(int16_t, int16_t) override {}
  void OnVariableChanged(int32_t) override {}

  TemporaryDirectory folder;
  Handle<CHGemEngine> engine = makeHandle<CHGemEngine>(loop);
  Timer ticker{loop, [this] { engine->Tick(); }};
  uint32_t pending = 100;
};

TEST(PowerLoss, WhatWasAcknowledgedSurvivesAKill) {
  const TemporaryDirectory folder;
  GemData data;
  CHGemEventVid state;
  state.vid = 1;
  state.setRawValue("<u4 4>");
  state.role = RoleControlState;
  data.variables.Add(state);
  data.communication.initialState = CommunicationState::NotCommunicating;
  ASSERT_TRUE(saveDataFile(systemFiles(), folder / "station.kel", 0, storeGemData(data)));
  systemFiles().write(folder / "station.ini", "[LogicalConnection]\nHost=0\n");
  const uint16_t port = freePort();
  Storm storm(port);
  for (int round = 0; round < kRounds; ++round) {
    const pid_t child = startEquipment(folder / "", std::to_string(port));
    ASSERT_GT(child, 0);
    ASSERT_TRUE(storm.acknowledge(1 + round % 7))
        << systemFiles().read(folder / "output").value_or("");
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const auto bytes = readDataFile(systemFiles(), folder / "station.kel");
    const auto loaded = bytes ? loadGemData(*bytes) : std::nullopt;
    ASSERT_TRUE(loaded) << round;
    ASSERT_NE(loaded->reports.FindReport(storm.lastReport), nullptr) << round;
  }
}

} // namespace
} // namespace velto
