#include "apps/gateway/tool_reader.h"

#include "apps/gateway/allow_list.h"

#include <algorithm>
#include <limits>

namespace velto::gateway {

namespace {

constexpr std::string_view kPurposeKeys[] = {
    "names",   "device", "edition", "t3",     "t5",     "t6",     "t7",    "linktest", "online",
    "spooled", "spool",  "events",  "alarms", "traces", "limits", "polls", "allow",    "raw"};
constexpr uint32_t kFirstReport = 1'000'000;
constexpr uint32_t kReportBits = 0xFFFFFF;
constexpr double kLongestPeriod = 99.0 * 3600; // s
constexpr double kInfinite = std::numeric_limits<double>::infinity();

std::optional<uint32_t> wholeNode(const toml::node &node, uint32_t most) {
  const auto *number = node.as_integer();
  const bool fits =
      number != nullptr && number->get() >= 0 && number->get() <= static_cast<int64_t>(most);
  return fits ? std::optional(static_cast<uint32_t>(number->get())) : std::nullopt;
}

// The number of a report says what is in it. A tool that has kept the report from earlier has the
// same one, and one of other contents has another number.
uint32_t reportNumber(const std::vector<uint32_t> &vids, const Subscription &subscription) {
  uint32_t hash = 2166136261U; // FNV-1a
  for (const uint32_t vid : vids)
    for (int shift = 0; shift < 32; shift += 8)
      hash = (hash ^ ((vid >> shift) & 0xFF)) * 16777619U;
  const auto taken = [&](uint32_t number) {
    return std::ranges::any_of(subscription.events, [&](const EventWish &event) {
      return event.rptid == number && event.vids != vids;
    });
  };
  uint32_t number = kFirstReport + (hash & kReportBits);
  while (taken(number))
    ++number;
  return number;
}

} // namespace

std::span<const std::string_view> purposeKeys() { return kPurposeKeys; }

void ToolReader::read(ToolConfig &tool) {
  constexpr int32_t kMostDevice = 0x7FFF;
  readNames(tool);
  LinkConfig &link = tool.link;
  reader_.number("device", 0, kMostDevice, link.device);
  reader_.number("edition", 0, 1, link.edition);
  reader_.number("t3", 1, kLongestTime, link.t3);
  reader_.number("t5", 1, kLongestTime, link.t5);
  reader_.number("t6", 1, kLongestTime, link.t6);
  reader_.number("t7", 1, kLongestTime, link.t7);
  reader_.number("linktest", 0, kLongestTime, link.linktest);
  Subscription &subscription = tool.subscription;
  reader_.flag("online", subscription.goOnline);
  reader_.flag("spooled", subscription.spooled);
  reader_.flag("raw", tool.raw);
  readSpooling(subscription);
  readEvents(subscription);
  readAlarms(subscription);
  readTraces(subscription);
  readLimits(subscription);
  readPolls(subscription);
  readAllow(tool);
}

void ToolReader::readNames(ToolConfig &tool) {
  std::string file;
  reader_.text("names", file);
  if (!file.empty()) {
    const std::string path = (folder_ / file).string();
    const auto [entry, isNew] = known_.try_emplace(path);
    std::string problem;
    if (isNew && (entry->second = Names::read(path, problem)) == nullptr)
      reader_.wrong("names", problem);
    if (entry->second != nullptr)
      tool.names = entry->second;
  }
  names_ = tool.names;
}

// Variables ---------------------------------------------------------------------------------------

std::optional<uint32_t> ToolReader::variable(const TomlReader &reader, const toml::node &node,
                                             std::string_view key) const {
  if (const auto number = wholeNode(node, std::numeric_limits<uint32_t>::max()))
    return number;
  const auto *name = node.as_string();
  const auto found = name == nullptr ? std::nullopt : names_->findVariable(name->get());
  if (!found)
    reader.wrong(node, key,
                 name == nullptr ? "the number or the name of a variable is needed"
                                 : "no names file has a variable \"" + name->get() + '"');
  return found;
}

std::vector<uint32_t> ToolReader::variables(const TomlReader &reader, std::string_view key) const {
  std::vector<uint32_t> vids;
  const toml::node *node = reader.find(key);
  if (node == nullptr)
    return vids;
  const auto *list = node->as_array();
  if (list == nullptr || list->empty()) {
    reader.wrong(*node, key, "a list of variables is needed");
    return vids;
  }
  for (const toml::node &item : *list)
    if (const auto vid = variable(reader, item, key))
      vids.push_back(*vid);
  return vids;
}

// A list of numbers; nothing when there is no such key, and when it is something else.
std::optional<std::vector<uint32_t>> ToolReader::numbers(std::string_view key,
                                                         uint32_t most) const {
  const toml::node *node = reader_.find(key);
  const auto *list = node == nullptr ? nullptr : node->as_array();
  if (node != nullptr && list == nullptr)
    reader_.wrong(*node, key, "a list of numbers is needed");
  if (list == nullptr)
    return std::nullopt;
  std::vector<uint32_t> found;
  for (const toml::node &item : *list) {
    if (const auto number = wholeNode(item, most))
      found.push_back(*number);
    else
      reader_.wrong(item, key, "a number from 0 to " + std::to_string(most) + " is needed");
  }
  return found;
}

// Subscriptions -----------------------------------------------------------------------------------

void ToolReader::readEvents(Subscription &subscription) {
  const toml::node *node = reader_.find("events");
  if (node == nullptr)
    return;
  subscription.events.clear();
  subscription.allEvents = node->is_string() && node->as_string()->get() == "all";
  if (subscription.allEvents)
    return;
  if (node->is_string())
    return reader_.wrong("events", "\"all\" or a list of tables is needed");
  for (const TomlReader &event : reader_.tables("events"))
    readEvent(event, subscription);
}

void ToolReader::readEvent(const TomlReader &reader, Subscription &subscription) {
  constexpr std::string_view kKeys[] = {"event", "name", "values"};
  reader.only(kKeys);
  EventWish event;
  const toml::node *which = reader.find("event");
  const auto *name = which == nullptr ? nullptr : which->as_string();
  auto ceid =
      which == nullptr ? std::nullopt : wholeNode(*which, std::numeric_limits<uint32_t>::max());
  if (name != nullptr)
    ceid = names_->findEvent(name->get());
  if (!ceid)
    reader.wrong("event", name == nullptr ? "event = NUMBER or a name is needed"
                                          : "no names file has an event \"" + name->get() + '"');
  event.ceid = ceid.value_or(0);
  reader.text("name", event.name);
  event.vids = variables(reader, "values");
  const uint32_t clock = names_->clock();
  if (!event.vids.empty() && clock != 0 && std::ranges::find(event.vids, clock) == event.vids.end())
    event.vids.insert(event.vids.begin(), clock);
  if (!event.vids.empty())
    event.rptid = reportNumber(event.vids, subscription);
  if (std::ranges::any_of(subscription.events,
                          [&event](const EventWish &other) { return other.ceid == event.ceid; }))
    reader.wrong("event", "another entry has this event");
  subscription.events.push_back(std::move(event));
}

void ToolReader::readAlarms(Subscription &subscription) {
  const toml::node *node = reader_.find("alarms");
  if (node == nullptr)
    return;
  subscription.alarms.clear();
  subscription.allAlarms = node->is_string() && node->as_string()->get() == "all";
  if (subscription.allAlarms)
    return;
  if (node->is_string())
    return reader_.wrong("alarms", "\"all\" or a list of numbers is needed");
  subscription.alarms =
      numbers("alarms", std::numeric_limits<uint32_t>::max()).value_or(std::vector<uint32_t>());
}

void ToolReader::readTraces(Subscription &subscription) {
  constexpr std::string_view kKeys[] = {"trace", "period", "samples", "group", "values"};
  constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
  if (!reader_.has("traces"))
    return;
  subscription.traces.clear();
  for (const TomlReader &reader : reader_.tables("traces")) {
    reader.only(kKeys);
    TraceWish trace;
    int32_t id = 0;
    int32_t samples = kMost;
    int32_t group = 1;
    reader.number("trace", 0, kMost, id);
    reader.number("period", 0.01, kLongestPeriod, trace.period);
    reader.number("samples", 1, kMost, samples);
    reader.number("group", 1, 10'000, group);
    trace.id = static_cast<uint32_t>(id);
    trace.samples = static_cast<uint32_t>(samples - samples % group);
    trace.group = static_cast<uint32_t>(group);
    trace.vids = variables(reader, "values");
    if (!reader.has("trace") || !reader.has("values"))
      reader.wrong("", "trace = NUMBER and values = [...] are needed");
    if (std::ranges::find(subscription.traces, trace.id, &TraceWish::id) !=
        subscription.traces.end())
      reader.wrong("trace", "another entry has this number");
    subscription.traces.push_back(std::move(trace));
  }
}

void ToolReader::readLimits(Subscription &subscription) {
  constexpr std::string_view kKeys[] = {"variable", "limit", "lower", "upper"};
  if (!reader_.has("limits"))
    return;
  subscription.limits.clear();
  for (const TomlReader &reader : reader_.tables("limits")) {
    reader.only(kKeys);
    LimitWish limit;
    int32_t id = 1;
    reader.number("limit", 1, 255, id);
    reader.number("lower", -kInfinite, kInfinite, limit.lower);
    reader.number("upper", -kInfinite, kInfinite, limit.upper);
    limit.id = static_cast<uint32_t>(id);
    const toml::node *which = reader.find("variable");
    if (which == nullptr || !reader.has("lower") || !reader.has("upper"))
      reader.wrong("", "variable, lower and upper are needed");
    else
      limit.vid = variable(reader, *which, "variable").value_or(0);
    subscription.limits.push_back(limit);
  }
}

void ToolReader::readPolls(Subscription &subscription) {
  constexpr std::string_view kKeys[] = {"name", "every", "values"};
  if (!reader_.has("polls"))
    return;
  subscription.polls.clear();
  for (const TomlReader &reader : reader_.tables("polls")) {
    reader.only(kKeys);
    PollWish poll;
    reader.text("name", poll.name);
    reader.number("every", 0.1, kLongestTime, poll.every);
    poll.vids = variables(reader, "values");
    if (poll.name.empty() || poll.every == 0 || poll.vids.empty())
      reader.wrong("", "name, every and values are needed");
    if (std::ranges::find(subscription.polls, poll.name, &PollWish::name) !=
        subscription.polls.end())
      reader.wrong("name", "another entry has this name");
    subscription.polls.push_back(std::move(poll));
  }
}

void ToolReader::readSpooling(Subscription &subscription) {
  constexpr uint32_t kMostStream = 127;
  if (reader_.has("spool"))
    subscription.spooling = numbers("spool", kMostStream).value_or(std::vector<uint32_t>());
}

void ToolReader::readAllow(ToolConfig &tool) {
  reader_.texts("allow", tool.allow);
  for (const std::string &entry : tool.allow)
    if (const std::string problem = allowProblem(entry, *names_); !problem.empty())
      reader_.wrong("allow", problem);
}

} // namespace velto::gateway
