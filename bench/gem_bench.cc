// The Gem control beside what its work costs at least: raw TCP of the same bytes through the same
// loop, a ready-made message, plain files.
#include "bench_messages.h"
#include "controls/gem_ctrl.h"
#include "gem/capabilities/capabilities.h"
#include "gem/data/data_file.h"
#include "gem/engine/engine.h"
#include "raw_sockets.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

namespace {

using namespace velto;

constexpr uint32_t kPatience = 5000; // ms
constexpr int32_t kEvent = 12;

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

template <typename Work> double timed(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return secondsSince(start);
}

// How long something took, many times.
class Times {
public:
  void add(double seconds) { seconds_.push_back(seconds); }
  double at(double share) {
    const auto place =
        static_cast<std::ptrdiff_t>(share * static_cast<double>(seconds_.size() - 1));
    std::nth_element(seconds_.begin(), seconds_.begin() + place, seconds_.end());
    return seconds_[static_cast<size_t>(place)];
  }
  double median() { return at(0.5); }

private:
  std::vector<double> seconds_;
};

// Yardstick: a request there and a reply back over a plain connection.
class RawPair {
public:
  RawPair(EventLoop &loop, size_t request, size_t reply)
      : loop_(loop), request_(request), reply_(reply) {
    answer_ = std::make_unique<DescriptorWatch>(
        loop, server_.fd(), DescriptorWatch::kReadable, [this](unsigned) {
          if (server_.receive(buffer_.data(), buffer_.size()) > 0 && !reply_.empty())
            server_.send(reply_);
        });
    count_ = std::make_unique<DescriptorWatch>(
        loop, client_.fd(), DescriptorWatch::kReadable, [this](unsigned) {
          got_ += static_cast<size_t>(
              std::max<ssize_t>(0, client_.receive(buffer_.data(), buffer_.size())));
        });
  }

  void exchange() {
    got_ = 0;
    client_.send(request_);
    while (got_ < reply_.size())
      loop_.runOnce(-1);
  }
  // Encodes a message and writes it with its length in front.
  void write(const CHSecsMessage &message) {
    Bytes bytes;
    message.Encode(bytes);
    std::array<uint8_t, 4> length{};
    writeBigEndian(length.data(), static_cast<uint32_t>(bytes.size()));
    bytes.insert(bytes.begin(), length.begin(), length.end());
    client_.send(bytes);
  }

private:
  EventLoop &loop_;
  Bytes request_;
  Bytes reply_;
  RawSockets sockets_;
  TcpSocket &client_ = sockets_.client;
  TcpSocket &server_ = sockets_.server;
  std::array<uint8_t, 65536> buffer_{};
  size_t got_ = 0;
  std::unique_ptr<DescriptorWatch> answer_;
  std::unique_ptr<DescriptorWatch> count_;
};

CHGemEventVid variable(uint32_t vid, const std::string &sml, uint8_t role = kNoRole) {
  CHGemEventVid fresh;
  fresh.vid = vid;
  fresh.setRawValue(sml);
  fresh.role = role;
  return fresh;
}

// An equipment and its host, communicating and on-line.
class GemPair {
public:
  explicit GemPair(EventLoop &loop) : equipment(loop), host(loop), loop_(loop) {
    equipment.SetServer(true);
    equipment.SetPortNumber(0);
    equipment.onReceived = [this](const std::string &, int32_t) { equipment.DefProc(); };
    host.SetIPAddress("127.0.0.1");
    host.engine().logical().SetHost(true);
    host.onReceived = [this](const std::string &, int32_t) {
      ++received;
      if (answers)
        host.DefProc();
    };
    for (CVeltoGemCtrl *control : {&equipment, &host}) {
      control->engine().gem()->data().communication = {1, "ETCH-1", "1.00", control == &host};
      model(*control).variables.Add(variable(1, "<u1 4>", RoleControlState));
    }
  }

  static GemData &model(CVeltoGemCtrl &control) { return control.engine().gem()->data(); }

  bool connect() {
    equipment.SetPhysicalConnection(true);
    loop_.runUntil([this] { return port() != 0; }, kPatience);
    host.SetPortNumber(port());
    host.SetPhysicalConnection(true);
    return loop_.runUntil(
        [this] { return host.CommunicationState() == 2 && equipment.CommunicationState() == 2; },
        kPatience);
  }

  void ask() {
    host.SetWorkSpace(2);
    host.SetSML("s1f1w");
    host.Send();
  }
  void exchange() {
    const size_t before = received;
    ask();
    waitFor(before + 1);
  }
  void waitFor(size_t count) {
    while (received < count)
      loop_.runOnce(-1);
  }

  // The event with that many reports of 20 variables.
  void defineEvent(uint32_t reports) {
    GemData &data = model(equipment);
    CHGemEventCeid event;
    event.ceid = kEvent;
    for (uint32_t report = 1; report <= reports; ++report) {
      CHGemEventReport fresh{report, "", {}};
      for (uint32_t i = 0; i < 20; ++i) {
        const uint32_t vid = report * 100 + i;
        data.variables.Add(variable(vid, kValues[i % kValues.size()]));
        fresh.variables.push_back(vid);
      }
      data.reports.Add(std::move(fresh));
      event.reports.push_back(report);
    }
    data.events.Add(std::move(event));
  }
  // With an empty spool: the one of a run before would still be active, and take the events.
  void switchCapabilitiesOn() {
    std::filesystem::remove(equipment.DataFileName() + ".spool");
    CHGemSpoolChoice events;
    events.addAll(6);
    ArchiveWriter archive;
    events.store(archive);
    ArchiveReader stored(archive.bytes());
    GemCapabilities &capabilities = equipment.engine().gem()->capabilities();
    capabilities.spool().load(stored);
    equipment.SetCapabilities(kAllCapabilities);
  }
  void waitForReplies() {
    while (equipment.engine().logical().OpenTransactionCount() != 0)
      loop_.runOnce(-1);
  }
  // Forgets the replies that are awaited.
  void forgetTransactions() { equipment.engine().logical().OnLinkReady(); }

  CVeltoGemCtrl equipment;
  CVeltoGemCtrl host;
  size_t received = 0; // by the host
  bool answers = true;

private:
  static constexpr std::array<const char *, 4> kValues = {"<u4 1234567>", "<f4 23.125>",
                                                          "<a 'PROCESSING'>", "<bool TRUE>"};
  int32_t port() { return equipment.engine().physical().LocalPort(); }

  EventLoop &loop_;
};

// S1F1 and S1F2, the equipment answering by DefProc(). Aim: 0.6 of raw TCP.
void BM_GemS1F1(benchmark::State &state) {
  EventLoop loop;
  GemPair pair(loop);
  if (!pair.connect())
    return state.SkipWithError("not communicating");
  pair.exchange();
  const size_t reply = encoded(pair.host.engine().gem()->slot(CHGem::kReceived).message).size() + 4;
  RawPair raw(loop, 14, reply);
  Times gem;
  Times yardstick;
  for (auto _ : state) {
    const double seconds = timed([&] { pair.exchange(); });
    state.SetIterationTime(seconds);
    gem.add(seconds);
    yardstick.add(timed([&] { raw.exchange(); }));
  }
  state.counters["of raw TCP"] = yardstick.median() / gem.median();
  state.counters["p99/median"] = gem.at(0.99) / gem.median();
  state.counters["raw p99/median"] = yardstick.at(0.99) / yardstick.median();
}
BENCHMARK(BM_GemS1F1)->UseManualTime();

// S6F11 of 20 variables, one after the other, to a host that only takes them. Aim: 50,000 a second.
void BM_EventReportsOneWay(benchmark::State &state) {
  constexpr size_t kBurst = 64;
  EventLoop loop;
  GemPair pair(loop);
  pair.defineEvent(1);
  if (!pair.connect())
    return state.SkipWithError("not communicating");
  pair.answers = false;
  for (auto _ : state) {
    const size_t before = pair.received;
    for (size_t i = 0; i < kBurst; ++i)
      pair.equipment.InvokeEvent(kEvent);
    pair.waitFor(before + kBurst);
    state.PauseTiming();
    pair.forgetTransactions();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kBurst));
}
BENCHMARK(BM_EventReportsOneWay)->UseRealTime();

// InvokeEvent() of 5 reports of 20 variables until its bytes are the socket's; with 1 when all
// capabilities are on, and events would be spooled. Aim: below 20 us, and 5 % more with 1.
void BM_InvokeEvent(benchmark::State &state) {
  EventLoop loop;
  GemPair pair(loop);
  pair.defineEvent(5);
  if (!pair.connect())
    return state.SkipWithError("not communicating");
  if (state.range(0) != 0)
    pair.switchCapabilitiesOn();
  pair.equipment.InvokeEvent(kEvent);
  pair.waitForReplies();
  const CHSecsMessage &message = pair.equipment.engine().gem()->slot(CHGem::kSent).message;
  RawPair raw(loop, 0, 0);
  Times yardstick;
  for (auto _ : state) {
    state.SetIterationTime(timed([&] { pair.equipment.InvokeEvent(kEvent); }));
    pair.waitForReplies();
    yardstick.add(timed([&] { raw.write(message); }));
    loop.runOnce(0);
  }
  state.counters["bytes"] = static_cast<double>(encoded(message).size());
  state.counters["encode and write us"] = yardstick.median() * 1e6;
}
BENCHMARK(BM_InvokeEvent)->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMicrosecond);

// A variable that changes, with that many limits on variables beside it and seven of its own; none
// is crossed. Aim: 1,000 limits cost below 2 us more than none.
void BM_ValueChange(benchmark::State &state) {
  EventLoop loop;
  CVeltoGemCtrl equipment(loop);
  CHGem &gem = *equipment.engine().gem();
  equipment.SetCapabilities(CapabilityLimits);
  gem.data().variables.Add(variable(1, "<u1 4>", RoleControlState));
  const auto variables = static_cast<uint32_t>(state.range(0) / 7 + 1);
  std::string sml = "s2f45w{<u4 1>{";
  for (uint32_t vid = 1000; vid < 1000 + variables; ++vid) {
    CHGemEventVid fresh = variable(vid, "<u4 50>");
    fresh.setMinimum("0");
    fresh.setMaximum("1000");
    gem.data().variables.Add(std::move(fresh));
    sml += "{<u4 " + std::to_string(vid) + ">{";
    for (int limit = 1; state.range(0) != 0 && limit <= 7; ++limit)
      sml += "{<b " + std::to_string(limit) + ">{<u4 900><u4 800>}}";
    sml += "}}";
  }
  CHSecsVerifier &slot = gem.slot(CHGem::kReceived);
  slot.message.SetFromSml(sml + "}}");
  slot.Verify(true);
  gem.capabilities().OnReceive(slot);
  int32_t value = 0;
  for (auto _ : state)
    equipment.SetVIDValue(1000, value = (value + 1) % 700);
}
BENCHMARK(BM_ValueChange)->Arg(0)->Arg(1000)->Unit(benchmark::kMicrosecond);

// A trace of 50 variables at 10 ms in real time, for so many seconds: by how much the samples that
// came differ from those that were due, when the last of them came. Aim: less than one.
void BM_Trace(benchmark::State &state) {
  const auto milliseconds = static_cast<uint32_t>(state.range(0) * 1000);
  EventLoop loop;
  GemPair pair(loop);
  pair.equipment.SetCapabilities(CapabilityTrace);
  pair.equipment.SetEdition(1);
  pair.host.SetEdition(1);
  std::string vids;
  for (uint32_t vid = 100; vid < 150; ++vid) {
    GemPair::model(pair.equipment).variables.Add(variable(vid, "<f4 23.125>"));
    vids += ' ' + std::to_string(vid);
  }
  if (!pair.connect())
    return state.SkipWithError("not communicating");
  for (auto _ : state) {
    pair.host.SetWorkSpace(2);
    pair.host.SetSML("s2f23w{<u4 1><a'00000001'><u4 1000000><u4 1><u4" + vids + ">}");
    const size_t before = pair.received + 1;
    pair.host.Send();
    pair.waitFor(before);
    const double passed = timed([&] {
      loop.runUntil([] { return false; }, milliseconds);
      pair.waitFor(pair.received + 1);
    });
    state.counters["samples missed"] = passed * 100 - static_cast<double>(pair.received - before);
  }
}
BENCHMARK(BM_Trace)->Arg(2)->Arg(60)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

// 100,000 variables: the model data file beside reading, or writing and flushing, its bytes. Aim:
// within 3 times.
class DataFile {
public:
  DataFile() : folder_((std::filesystem::temp_directory_path() / "velto-bench.XXXXXX").string()) {
    if (mkdtemp(folder_.data()) == nullptr)
      std::abort();
    control.SetIniFileName(folder_ + "/model.ini");
    control.SetDataFileName(folder_ + "/model.kel");
    GemData &data = control.engine().gem()->data();
    for (uint32_t vid = 1; vid <= 100'000; ++vid) {
      CHGemEventVid fresh = variable(vid, "<u4 " + std::to_string(vid) + ">");
      fresh.setDescription("Variable " + std::to_string(vid));
      fresh.setUnit("mTorr");
      data.variables.Add(std::move(fresh));
    }
    control.SaveData();
    bytes = readDataFile(systemFiles(), control.DataFileName()).value_or("");
  }
  ~DataFile() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  DataFile(const DataFile &) = delete;
  DataFile &operator=(const DataFile &) = delete;
  std::string plainFile() const { return folder_ + "/plain"; }

private:
  EventLoop loop_;
  std::string folder_;

public:
  CVeltoGemCtrl control{loop_};
  std::string bytes;
};

template <typename Work, typename Plain>
void measureFile(benchmark::State &state, const DataFile &file, Work work, Plain plain) {
  Times measured;
  Times yardstick;
  for (auto _ : state) {
    const double seconds = timed(work);
    state.SetIterationTime(seconds);
    measured.add(seconds);
    yardstick.add(timed(plain));
  }
  state.counters["MB"] = static_cast<double>(file.bytes.size()) * 1e-6;
  state.counters["times plain"] = measured.median() / yardstick.median();
}

void BM_SaveData(benchmark::State &state) {
  DataFile file;
  measureFile(
      state, file, [&] { file.control.SaveData(); },
      [&] { systemFiles().write(file.plainFile(), file.bytes); });
}
BENCHMARK(BM_SaveData)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_LoadData(benchmark::State &state) {
  DataFile file;
  measureFile(
      state, file, [&] { file.control.LoadData(); },
      [&] { benchmark::DoNotOptimize(systemFiles().read(file.control.DataFileName())); });
}
BENCHMARK(BM_LoadData)->UseManualTime()->Unit(benchmark::kMillisecond);

// Many equipments in one process, each asked by a host of its own; the time is that of one
// exchange.
void BM_ManyPairs(benchmark::State &state) {
  EventLoop loop;
  std::vector<std::unique_ptr<GemPair>> pairs;
  for (int64_t i = 0; i < state.range(0); ++i) {
    pairs.push_back(std::make_unique<GemPair>(loop));
    if (!pairs.back()->connect())
      return state.SkipWithError("not communicating");
  }
  size_t rounds = pairs[0]->received;
  for (auto _ : state) {
    ++rounds;
    for (const auto &pair : pairs)
      pair->ask();
    for (const auto &pair : pairs)
      pair->waitFor(rounds);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_ManyPairs)->Arg(1)->Arg(64)->UseRealTime();

} // namespace
