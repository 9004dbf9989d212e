#include "apps/gateway/gateway.h"

#include "apps/gateway/json.h"
#include "base/text.h"

#include <algorithm>
#include <sys/resource.h>
#include <utility>

namespace velto::gateway {

namespace {

constexpr uint32_t kLastPublications = 5000; // ms
constexpr uint32_t kLastAcknowledges = 1000; // ms
constexpr rlim_t kSpareDescriptors = 128;
constexpr uint32_t kMetricsPeriod = 5000; // ms where states are told only when they change

// Each tool takes a descriptor, or two where it connects.
void raiseDescriptorLimit(size_t tools) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t wanted = static_cast<rlim_t>(tools) * 2 + kSpareDescriptors;
  if (limit.rlim_cur >= wanted)
    return;
  limit.rlim_cur = std::min(wanted, limit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &limit);
}

std::string millisecondsText(uint64_t microseconds) {
  return formatText("%llu.%llu", static_cast<unsigned long long>(microseconds / 1000),
                    static_cast<unsigned long long>(microseconds % 1000 / 100));
}

} // namespace

Gateway::Gateway(EventLoop &loop, Config config, Events events)
    : loop_(loop), config_(std::move(config)), events_(std::move(events)),
      statistics_(loop, [this] { tellState(); }) {}

Gateway::~Gateway() = default;

std::vector<std::string> Gateway::open() {
  raiseDescriptorLimit(config_.tools.size());
  std::vector<std::string> problems = portProblems();
  if (!problems.empty())
    return problems;
  if (!config_.out.metrics.empty()) {
    std::string problem;
    metrics_ = makeMetrics(config_.out.metrics, problem);
    if (metrics_ == nullptr)
      return {problem};
  }
  delivery_ = std::make_unique<Delivery>(
      loop_, config_.out,
      Delivery::Events{
          .requested = [this](const std::string &topic,
                              const std::string &payload) { requested(topic, payload); },
          .told = events_.told,
          .failed = events_.failed,
          .holding = [this](bool holds) { holding(holds); }});
  if (const std::string problem = delivery_->open(); !problem.empty()) {
    delivery_.reset();
    return {problem};
  }
  for (const ToolConfig &tool : config_.tools)
    add(tool);
  const int32_t period = config_.out.statistics;
  statistics_.startPeriodic(period == 0 ? kMetricsPeriod : static_cast<uint32_t>(period) * 1000);
  tellState();
  return {};
}

std::vector<std::string> Gateway::portProblems() const {
  std::vector<std::string> problems;
  for (const ToolConfig &tool : config_.tools)
    if (tool.address.listens)
      if (const std::string problem = listenProblem(tool.address.port); !problem.empty())
        problems.push_back("tool " + tool.name + ": " + problem);
  return problems;
}

void Gateway::add(const ToolConfig &config) {
  auto &tool = tools_[config.name];
  tool = std::make_unique<Tool>(loop_, config_.out, *delivery_, config, events_.told);
  delivery_->subscribe(config_.out.topic(config.name, "request/+"));
  tool->open();
}

void Gateway::reload(const Config &config) {
  if (config.out != config_.out)
    events_.told("what is not about tools counts from the next start on");
  size_t changed = 0;
  for (auto tool = tools_.begin(); tool != tools_.end();) {
    const bool stays = std::ranges::any_of(
        config.tools, [&](const ToolConfig &one) { return one.name == tool->first; });
    if (stays) {
      ++tool;
      continue;
    }
    tool->second->close();
    tool = tools_.erase(tool);
    ++changed;
  }
  for (const ToolConfig &wanted : config.tools) {
    const auto found = tools_.find(wanted.name);
    if (found != tools_.end() && found->second->isSame(wanted))
      continue;
    ++changed;
    if (found != tools_.end() && found->second->change(wanted))
      continue;
    if (found != tools_.end())
      found->second->close();
    add(wanted);
  }
  config_.tools = config.tools;
  events_.told("reloaded: " + std::to_string(changed) + " tools changed, of " +
               std::to_string(tools_.size()));
  tellState();
}

void Gateway::close() {
  statistics_.stop();
  if (delivery_ == nullptr)
    return;
  const auto unsent = [](const auto &tool) { return tool.second->hasUnsent(); };
  loop_.runUntil([&] { return delivery_->settled() && std::ranges::none_of(tools_, unsent); },
                 kLastAcknowledges);
  for (auto &[name, tool] : tools_)
    tool->close();
  delivery_->close(kLastPublications);
  tools_.clear();
}

size_t Gateway::communicating() const {
  return static_cast<size_t>(
      std::ranges::count_if(tools_, [](const auto &tool) { return tool.second->communicates(); }));
}

std::string Gateway::summary() {
  const Delivery::Counters counters = delivery_->counters();
  Latencies &latencies = delivery_->latencies();
  return "taken " + std::to_string(counters.posted) + ", delivered " +
         std::to_string(counters.delivered) + ", waiting " + std::to_string(counters.waiting) +
         ", dropped " + std::to_string(counters.dropped) + ", median " +
         millisecondsText(latencies.percentile(50)) + " ms, 99 of 100 within " +
         millisecondsText(latencies.percentile(99)) + " ms";
}

// PREFIX/SITE/TOOL/request/ID. Requests to tools of other gateways are theirs.
void Gateway::requested(const std::string &topic, const std::string &payload) {
  for (const auto &[name, tool] : tools_) {
    const std::string head = config_.out.topic(name, "request/");
    if (topic.starts_with(head))
      return tool->request(topic.substr(head.size()), payload);
  }
}

void Gateway::holding(bool holds) {
  for (const auto &[name, tool] : tools_)
    if (!holds)
      tool->released();
  tellState();
}

void Gateway::tellState() {
  const Delivery::Counters counters = delivery_->counters();
  const uint64_t median = delivery_->latencies().percentile(50);
  const uint64_t p99 = delivery_->latencies().percentile(99);
  if (metrics_ != nullptr)
    metrics_->set({counters, tools_.size(), communicating(), static_cast<double>(median) / 1e6,
                   static_cast<double>(p99) / 1e6});
  if (!config_.out.alive.empty())
    systemFiles().write(config_.out.alive, utcText(loop_.clock()) + '\n');
  JsonObject state;
  state.text("kind", "gateway").text("site", config_.out.site).text("gateway", config_.out.name);
  state.text("time", utcText(loop_.clock())).text("state", "online");
  state.number("tools", tools_.size()).number("communicating", communicating());
  state.number("taken", counters.posted).number("delivered", counters.delivered);
  state.number("waiting", counters.waiting).number("waiting_bytes", counters.waitingBytes);
  state.number("dropped", counters.dropped).number("refused", counters.refused);
  state.flag("holding", counters.holding);
  state.json("latency_ms",
             "{\"median\":" + millisecondsText(median) + ",\"p99\":" + millisecondsText(p99) + '}');
  const OutConfig &out = config_.out;
  delivery_->setState({out.topic("gateway", topicLevel(out.name) + "/state"), state.take(), true});
}

} // namespace velto::gateway
