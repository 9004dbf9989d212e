#include "apps/velto/fleet/fleet_command.h"

#include "apps/velto/console/loop_signals.h"
#include "apps/velto/console/queued_output.h"
#include "apps/velto/fleet/fleet_tool.h"
#include "apps/velto/fleet/memory_files.h"
#include "base/text.h"
#include "fleet_example.h"
#include "gem/data/model_data.h"
#include "gem/engine/engine.h"
#include "gem/model_text/model_file.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <sys/resource.h>

namespace velto {

namespace {

constexpr const char *kAbout =
    "Runs equipments of one model in one process, each for a host of its own, which invoke the "
    "events of the model in turn, with readings that wander. Nothing is kept on the disk. Ctrl-C "
    "or SIGTERM separates from all hosts and tells what there was.";

constexpr int32_t kMostTools = 10'000;
constexpr int32_t kHighestRate = 1'000'000;
constexpr uint32_t kBeat = 5;              // ms between the events that go out together
constexpr uint32_t kListenPatience = 5000; // ms until all ports must be open
constexpr rlim_t kSpareDescriptors = 64;

struct Options {
  int32_t count = 0;
  int32_t port = 5100;
  std::optional<LinkAddress> connect;
  std::string data;
  int32_t rate = 0;
  int32_t counter = 0;
  int32_t first = 1;
  bool spools = false;
  bool acknowledges = false;
};

// Each equipment takes two descriptors: its port, and its host.
void raiseDescriptorLimit(int32_t tools) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t wanted = static_cast<rlim_t>(tools) * 2 + kSpareDescriptors;
  if (limit.rlim_cur >= wanted)
    return;
  limit.rlim_cur = std::min(wanted, limit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &limit);
}

// The time that all but so many of a hundred took at the most.
uint32_t percentile(std::vector<uint32_t> &times, size_t hundredths) {
  if (times.empty())
    return 0;
  const size_t index = std::min(times.size() * hundredths / 100, times.size() - 1);
  std::ranges::nth_element(times, times.begin() + static_cast<ptrdiff_t>(index));
  return times[index];
}

class Fleet {
public:
  explicit Fleet(const Options &options) : options_(options) {}

  int run() {
    const int status = work();
    return output_.finish() ? status : kExitFailed;
  }

private:
  int work() {
    std::string problem;
    if (!plan(problem) || !open(problem)) {
      std::cerr << "velto: " << problem << '\n';
      return kExitFailed;
    }
    beat_.startPeriodic(kBeat);
    while (!stopped_)
      loop_.runOnce(-1);
    beat_.stop();
    for (const auto &tool : tools_)
      tool->close();
    std::cout << tools_.size() << " equipments, " << invoked_ << " events, " << acknowledged_
              << " acknowledged, after a median of " << percentile(times_, 50)
              << " ms and in 99 of "
              << "100 within " << percentile(times_, 99) << " ms" << std::endl;
    return kExitDone;
  }

  // The model as the equipments take it from the files in memory.
  bool plan(std::string &problem) {
    const std::string name =
        isModelText(options_.data) || options_.data.empty() ? "fleet.model" : "fleet.kel";
    const auto text = options_.data.empty() ? std::optional<std::string>(kFleetExample)
                                            : systemFiles().read(options_.data);
    if (!text) {
      problem = options_.data + ": cannot be read";
      return false;
    }
    files_.write(name, *text);
    plan_.model = "fleet.kel";
    if (isModelText(name) &&
        importModelText(files_, name, plan_.model, problem) == ModelImport::Failed)
      return false;
    const auto model = readModelData(files_, plan_.model, problem);
    if (!model)
      return false;
    plan_.spools = options_.spools;
    plan_.counter = static_cast<uint32_t>(options_.counter);
    plan_.first = static_cast<uint64_t>(options_.first);
    return takeEvents(*model, problem);
  }

  // Events that the equipment raises by itself are left to it.
  bool takeEvents(const GemData &model, std::string &problem) {
    for (size_t i = 0; i < model.events.Count(); ++i)
      if (model.events.at(i).role == kNoRole || !model.events.at(i).reports.empty())
        plan_.events.push_back(model.events.at(i).ceid);
    for (size_t i = 0; i < model.variables.Count(); ++i) {
      const CHGemEventVid &variable = model.variables.at(i);
      const bool isReal = variable.nodeType == SecsFloat || variable.nodeType == SecsDouble;
      if (isReal && variable.kind != EquipmentConstant)
        plan_.readings.push_back(variable.vid);
    }
    if (plan_.counter != 0 && model.variables.find(plan_.counter) == nullptr)
      problem = "--count: the model has no variable " + std::to_string(plan_.counter);
    else if (plan_.events.empty())
      problem = "the model has no event that carries a report";
    return problem.empty();
  }

  bool open(std::string &problem) {
    raiseDescriptorLimit(options_.count);
    for (int32_t i = 0; i < options_.count; ++i) {
      LinkAddress address = options_.connect.value_or(LinkAddress{});
      address.listens = !options_.connect;
      const int32_t base = options_.connect ? options_.connect->port : options_.port;
      address.port = base == 0 ? 0 : base + i;
      problem = address.listens ? listenProblem(address.port) : "";
      if (!problem.empty())
        return false;
      tools_.push_back(
          std::make_unique<FleetTool>(loop_, files_, plan_, "tool" + std::to_string(i + 1),
                                      [this](const FleetTool &tool, uint64_t count, uint32_t time) {
                                        acknowledged(tool, count, time);
                                      }));
      tools_.back()->open(address);
    }
    return options_.connect ? tellConnecting() : tellPorts(problem);
  }

  bool tellConnecting() {
    std::cout << tools_.size() << " equipments connect to " << options_.connect->partner()
              << " and the ports behind it" << std::endl;
    return true;
  }

  bool tellPorts(std::string &problem) {
    const auto ready = [this] {
      return std::ranges::all_of(tools_, [](const auto &tool) { return tool->port() != 0; });
    };
    if (!loop_.runUntil(ready, kListenPatience)) {
      problem = "not every equipment can listen: is there a limit of open files (ulimit -n)?";
      return false;
    }
    if (options_.port == 0)
      for (const auto &tool : tools_)
        std::cout << tool->name() << " listening on port " << tool->port() << '\n';
    else
      std::cout << tools_.size() << " equipments listening on ports " << options_.port << " to "
                << options_.port + options_.count - 1 << '\n';
    std::cout.flush();
    return true;
  }

  // What is due by the clock goes out in turn; those without a host are passed over.
  void act() {
    const uint32_t now = loop_.clock().ticks();
    const int32_t rate = options_.rate == 0 ? options_.count : options_.rate;
    due_ += static_cast<double>(now - lastBeat_) * rate / 1000;
    lastBeat_ = now;
    due_ = std::min(due_, static_cast<double>(rate)); // a second of what was missed at the most
    for (; due_ >= 1 && !stopped_; due_ -= 1) {
      next_ = (next_ + 1) % tools_.size();
      FleetTool &tool = *tools_[next_];
      if (options_.spools || tool.communicates())
        invoked_ += tool.act() ? 1 : 0;
    }
  }

  void acknowledged(const FleetTool &tool, uint64_t count, uint32_t time) {
    constexpr size_t kMostTimes = 1'000'000;
    ++acknowledged_;
    if (times_.size() < kMostTimes)
      times_.push_back(time);
    if (options_.acknowledges)
      std::cout << "acknowledged " << tool.name() << ' ' << count << '\n' << std::flush;
  }

  const Options &options_;
  bool stopped_ = false;
  EventLoop loop_;
  QueuedOutput output_{loop_, [this] { stopped_ = true; },
                       [](uint64_t lines) { return std::to_string(lines) + " lines left out\n"; }};
  MemoryFiles files_;
  FleetPlan plan_;
  std::vector<std::unique_ptr<FleetTool>> tools_;
  size_t next_ = 0;
  uint64_t invoked_ = 0;
  uint64_t acknowledged_ = 0;
  std::vector<uint32_t> times_; ///< ms, of the acknowledged ones
  double due_ = 0;
  uint32_t lastBeat_ = loop_.clock().ticks();
  Timer beat_{loop_, [this] { act(); }};
  LoopSignals signals_{loop_, kStopSignals, [this](int) { stopped_ = true; }};
};

int fail(const std::string &problem) {
  std::cerr << "velto: " << problem << '\n';
  return kExitFailed;
}

std::string readPartner(const std::string &word, std::optional<LinkAddress> &partner) {
  partner = readLinkAddress(word);
  return partner && !partner->listens && !partner->isSerial() ? "" : "HOST:PORT is needed";
}

void declare(CommandLine &line, Options &options) {
  line.argument(
      "N",
      [&options](const std::string &word) {
        const auto count = wholeNumber(word, 1, kMostTools);
        options.count = count.value_or(0);
        return count ? std::string() : "a number from 1 to " + std::to_string(kMostTools);
      },
      "how many, 1 to 10000");
  line.require("N");
  line.number("--port", "BASE", 0, 0xFFFF, options.port,
              "they listen on this port and those behind it (default 5100); 0: each on any free "
              "one, which is printed");
  line.option(
      "--connect", "HOST:PORT",
      [&options](const std::string &word) { return readPartner(word, options.connect); },
      "they connect there instead, the second to the next port, and so on");
  line.text("--data", "FILE", options.data,
            "the equipment, FILE.kel or FILE.model (default: an etch tool)");
  line.number("--rate", "EVENTS", 1, kHighestRate, options.rate,
              "events a second of all of them together (default: one of each)");
  line.number("--count", "VID", 1, INT32_MAX, options.counter,
              "the variable that gets the number of the event, which each equipment counts");
  line.number("--first", "NUMBER", 0, INT32_MAX, options.first,
              "the number of the first event (default 1)");
  line.flag("--spool", options.spools, "events without a host are spooled, in memory");
  line.flag("--acknowledges", options.acknowledges,
            "prints each event that was acknowledged: acknowledged NAME NUMBER");
  line.exclude({"--port", "--connect"});
  line.need("--first", "--count");
  line.footer("docs/gateway.md has examples.");
}

} // namespace

int runFleetCommand(const CommandArguments &arguments) {
  Options options;
  CommandLine line("fleet", kAbout);
  declare(line, options);
  if (const auto status = line.read(arguments))
    return *status;
  const int32_t base = options.connect ? options.connect->port : options.port;
  if (base + options.count - 1 > 0xFFFF)
    return fail("there are not so many ports from " + std::to_string(base) + " on");
  return Fleet(options).run();
}

} // namespace velto
