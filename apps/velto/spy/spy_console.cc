#include "apps/velto/spy/spy_console.h"

#include "apps/velto/console/line_text.h"
#include "apps/velto/console/literal.h"
#include "apps/velto/host/explanation.h"
#include "apps/velto/spy/spy_page.h"
#include "base/json_text.h"
#include "base/text.h"
#include "secs2/message_json.h"
#include "secs2/message_table.h"

#include <algorithm>

namespace velto {

namespace {

constexpr size_t kMostOfSml = kMostOnScreen - 1024; // with room for the indentation of some lines
constexpr size_t kMostOfBody = size_t{1} << 20;     // bytes of JSON

/// Names for the SML of messages.
class ModelNames final : public SmlContext {
public:
  explicit ModelNames(const GemData &model) : model_(model) {}
  std::optional<std::string> variableName(int32_t id) const override {
    const auto *variable = model_.variables.FindVid(static_cast<uint32_t>(id));
    return variable == nullptr ? std::nullopt : std::optional<std::string>(variable->description());
  }
  std::optional<std::string> eventName(int32_t id) const override {
    const auto *found = model_.events.FindCeid(static_cast<uint32_t>(id));
    return found == nullptr ? std::nullopt : std::optional<std::string>(found->description);
  }

private:
  const GemData &model_;
};

std::string smlOf(const CHSecsMessage &message, const std::optional<GemData> &names) {
  std::optional<ModelNames> context;
  if (names)
    context.emplace(*names);
  std::string sml = RenderSml(message, context ? &*context : nullptr, kMostOfSml);
  std::erase(sml, '\r');
  return sml;
}

std::string duration(uint64_t micros) {
  const auto value = static_cast<unsigned>(micros);
  return micros < 1'000'000 ? formatText("%u.%u ms", value / 1000, value / 100 % 10)
                            : formatText("%u.%03u s", static_cast<unsigned>(micros / 1'000'000),
                                         static_cast<unsigned>(micros / 1000 % 1000));
}

std::string number(uint32_t connection) { return '#' + std::to_string(connection) + ' '; }

const char *arrow(SpyDirection direction) {
  return direction == SpyDirection::ToTarget ? "--> " : "<-- ";
}

std::string jsonDirection(SpyDirection direction) {
  return direction == SpyDirection::ToTarget ? "\"to_target\"" : "\"from_target\"";
}

std::string jsonCounters(const SpyCounters &counters) {
  const auto pair = [](const char *name, const std::array<uint64_t, 2> &numbers) {
    return std::string("\"") + name + "_to_target\":" + std::to_string(numbers[0]) + ",\"" + name +
           "_from_target\":" + std::to_string(numbers[1]) + ',';
  };
  return '{' + pair("messages", counters.messages) + pair("bytes", counters.bytes) +
         "\"replies\":" + std::to_string(counters.replies) + ",\"mean_latency_us\":" +
         std::to_string(counters.totalLatency / std::max<uint64_t>(counters.replies, 1)) +
         ",\"most_latency_us\":" + std::to_string(counters.mostLatency) +
         ",\"problems\":" + std::to_string(counters.problemCount()) + '}';
}

// "S1F2 [3]  On Line Data  after 2.9 ms"
std::string titleOf(const SpiedMessage &message, const std::string &name) {
  const CHSecsHeader &header = message.message.header;
  return HeaderText(header, HeaderTextMode::Name) + " [" + std::to_string(header.systemBytes) +
         ']' + (name.empty() ? "" : "  ") + name +
         (message.latency ? "  after " + duration(*message.latency) : "");
}

} // namespace

// "S6F11", "S5".
std::optional<MessageFilter> MessageFilter::read(std::string_view list) {
  MessageFilter filter;
  while (true) {
    const size_t comma = std::min(list.find(','), list.size());
    std::string_view name = trim(list.substr(0, comma));
    if (name.empty() || (name[0] != 'S' && name[0] != 's'))
      return std::nullopt;
    name.remove_prefix(1);
    const size_t f = std::min(name.find_first_of("Ff"), name.size());
    const auto stream = wholeNumber(name.substr(0, f), 0, 127);
    const auto function =
        f == name.size() ? std::optional(0) : wholeNumber(name.substr(f + 1), 0, 255);
    if (!stream || !function)
      return std::nullopt;
    Entry entry{static_cast<uint8_t>(*stream), std::nullopt};
    if (f != name.size()) // a reply stands for its primary
      entry.primary = static_cast<uint8_t>(*function - (*function % 2 == 0 && *function > 0));
    filter.entries_.push_back(entry);
    if (comma == list.size())
      return filter;
    list.remove_prefix(comma + 1);
  }
}

bool MessageFilter::shows(const CHSecsHeader &header) const {
  if (entries_.empty())
    return true;
  const int function = header.function();
  const int primary = function - (function % 2 == 0 && function > 0);
  return header.sType() == 0 && std::ranges::any_of(entries_, [&](const Entry &entry) {
           return entry.stream == header.stream() && entry.primary.value_or(primary) == primary;
         });
}

void SpyConsole::pageAt(const SpyMoment &at, const std::string &address) {
  event(at, "page at " + address, "\"page\",\"address\":" + jsonText(address));
}

void SpyConsole::listening(const SpyMoment &at, uint16_t port) {
  event(at, "listening on port " + std::to_string(port),
        "\"listening\",\"port\":" + std::to_string(port));
}

void SpyConsole::opened(const SpyMoment &at, uint32_t connection, const std::string &address,
                        uint16_t port, const std::string &target) {
  const std::string from = address + ':' + std::to_string(port);
  if (page_ != nullptr)
    page_->opened(at, connection, from);
  event(at, number(connection) + "opened: " + from + " to " + target,
        "\"connected\",\"connection\":" + std::to_string(connection) +
            ",\"address\":" + jsonText(address) + ",\"port\":" + std::to_string(port) +
            ",\"target\":" + jsonText(target));
}

void SpyConsole::message(uint32_t connection, const SpiedMessage &message) {
  const CHSecsHeader &header = message.message.header;
  const MessageRow *row =
      header.sType() == 0 ? findMessage(header.stream(), header.function()) : nullptr;
  const std::string name = row != nullptr ? row->name : "";
  if (page_ != nullptr)
    page_->message(connection, message, titleOf(message, name));
  if (settings_.quiet || !settings_.filter.shows(header))
    return;
  const std::string sml = smlOf(message.message, settings_.names);
  if (settings_.json) {
    std::string members = "\"message\",\"connection\":" + std::to_string(connection) +
                          ",\"direction\":" + jsonDirection(message.direction) +
                          ",\"name\":" + jsonText(name) + ',';
    if (message.latency)
      members += "\"latency_us\":" + std::to_string(*message.latency) + ',';
    members += "\"sml\":" + jsonText(sml) + ',';
    if (message.bytes.size() == message.size)
      members += messageJsonMembers(message.bytes, {.most = kMostOfBody});
    else
      members += messageJsonMembers(message.bytes.first(CHSecsHeader::kSize)) +
                 ",\"body_bytes\":" + std::to_string(message.size - CHSecsHeader::kSize);
    return event(message.at, "", members);
  }
  std::string line = titleOf(message, name);
  const std::string_view body = std::string_view(sml).substr(std::min(sml.find('\n'), sml.size()));
  line += indented(body.substr(0, body.find_last_not_of('\n') + 1));
  for (const std::string &words : explained(message.message))
    line += indented("\n* " + words);
  event(message.at, number(connection) + arrow(message.direction) + line, "");
}

std::vector<std::string> SpyConsole::explained(const CHSecsMessage &message) const {
  if (!settings_.names || message.header.sType() != 0 || message.header.function() % 2 == 0)
    return {};
  const LearntNames none;
  return explainPrimary(message, {*settings_.names, none});
}

void SpyConsole::problem(uint32_t connection, const SpiedProblem &problem) {
  if (page_ != nullptr)
    page_->problem(connection, problem);
  std::string members = "\"problem\",\"connection\":" + std::to_string(connection) +
                        ",\"direction\":" + jsonDirection(problem.direction) +
                        ",\"kind\":" + jsonText(toText(problem.kind)) +
                        ",\"text\":" + jsonText(problem.text);
  std::vector<std::string> entry{std::string("VELTO_PROBLEM=") + toText(problem.kind),
                                 "VELTO_LINK=" + std::to_string(connection)};
  if (problem.header) {
    entry.push_back("VELTO_STREAM=" + std::to_string(problem.header->stream()));
    entry.push_back("VELTO_FUNCTION=" + std::to_string(problem.header->function()));
    entry.push_back("VELTO_SYSTEM_BYTES=" + std::to_string(problem.header->systemBytes));
    Bytes header(CHSecsHeader::kSize);
    EncodeHeader(*problem.header, std::span<uint8_t, CHSecsHeader::kSize>(header));
    members += ',' + messageJsonMembers(header);
  }
  event(problem.at, number(connection) + arrow(problem.direction) + "problem: " + problem.text,
        members, true, std::move(entry));
}

void SpyConsole::ended(const SpyMoment &at, uint32_t connection, const std::string &how,
                       bool isProblem, const SpyCounters &counters) {
  if (page_ != nullptr)
    page_->ended(at, connection, how, isProblem);
  const uint64_t mean = counters.totalLatency / std::max<uint64_t>(counters.replies, 1);
  std::string text = number(connection) + (isProblem ? "problem: " : "") + how + "; " +
                     std::to_string(counters.messages[0]) + " messages there, " +
                     std::to_string(counters.messages[1]) + " back";
  if (counters.replies != 0)
    text += ", answers after " + duration(mean) + ", at most " + duration(counters.mostLatency);
  text += ", problems: " + std::to_string(counters.problemCount());
  event(at, text,
        "\"disconnected\",\"connection\":" + std::to_string(connection) +
            ",\"how\":" + jsonText(how) + ",\"problem\":" + (isProblem ? "true" : "false") +
            ",\"counters\":" + jsonCounters(counters),
        isProblem);
}

void SpyConsole::trouble(const SpyMoment &at, const std::string &text) {
  event(at, "problem: " + text, "\"problem\",\"text\":" + jsonText(text), true);
}

void SpyConsole::stopped(const SpyMoment &at) { event(at, "stopped", "\"stopped\""); }

std::string SpyConsole::leftOut(const SpyMoment &at, uint64_t lines) const {
  const std::string count = std::to_string(lines);
  return settings_.json ? "{\"time\":\"" + isoTime(at.local) +
                              "\",\"event\":\"left_out\",\"lines\":" + count + "}\n"
                        : timeStamp(at.local) + count + " lines of output were left out\n";
}

void SpyConsole::event(const SpyMoment &at, const std::string &text, const std::string &members,
                       bool isProblem, std::vector<std::string> entry) {
  if (settings_.quiet && !isProblem)
    return;
  if (isProblem && journal_ != nullptr && journal_->problem(text, std::move(entry)))
    return;
  print(settings_.json ? "{\"time\":\"" + isoTime(at.local) + "\",\"event\":" + members + '}'
                       : timeStamp(at.local) + text);
}

void SpyConsole::print(std::string_view text) { out_ << visibleText(text) << '\n' << std::flush; }

} // namespace velto
