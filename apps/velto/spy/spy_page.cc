#include "apps/velto/spy/spy_page.h"

#include "apps/velto/console/line_text.h"
#include "apps/velto/web/gem_page.h"
#include "apps/velto/web/reply_times.h"
#include "secs2/sml_printer.h"

#include <algorithm>

namespace velto {

namespace {

constexpr double kMicros = 1e6; // in a second

void count(SpyCounters &counters, const SpiedMessage &message) {
  const size_t way = indexOf(message.direction);
  ++counters.messages[way];
  counters.bytes[way] += message.size;
  if (!message.latency)
    return;
  ++counters.replies;
  counters.totalLatency += *message.latency;
  counters.mostLatency = std::max(counters.mostLatency, *message.latency);
}

std::string milliseconds(uint64_t micros) {
  return std::to_string(micros / 1000) + '.' + std::to_string(micros / 100 % 10);
}

std::string prefixed(uint32_t connection, const std::string &text) {
  return '#' + std::to_string(connection) + ' ' + text;
}

} // namespace

void SpyPage::tell(const SpyMoment &at, const char *kind, const std::string &text) {
  if (server_.feed().takes(kind == std::string("problem")))
    server_.feed().add({0, timeStamp(at.local).substr(0, 12), kind, text, {}, {}});
}

void SpyPage::opened(const SpyMoment &at, uint32_t connection, const std::string &from) {
  connections_[connection].from = from;
  const auto ended =
      std::ranges::find_if(connections_, [](const auto &entry) { return !entry.second.isOpen; });
  if (connections_.size() > kMostConnections && ended != connections_.end())
    connections_.erase(ended);
  tell(at, "event", prefixed(connection, "opened: " + from));
}

void SpyPage::message(uint32_t connection, const SpiedMessage &message, const std::string &title) {
  count(all_, message);
  count(connections_[connection].counters, message);
  WebHistogram &replies = replies_[indexOf(message.direction)];
  if (replies.bounds.empty())
    replies = replyHistogram();
  if (message.latency)
    addTime(replies, static_cast<double>(*message.latency) / kMicros);
  WebFeed &feed = server_.feed();
  if (!feed.takes())
    return;
  std::string sml = RenderSml(message.message, nullptr, WebFeed::kMostText);
  std::erase(sml, '\r');
  const bool isShort = message.size < WebFeed::kMostText / 3;
  feed.add({0, timeStamp(message.at.local).substr(0, 12),
            message.direction == SpyDirection::ToTarget ? "out" : "in", prefixed(connection, title),
            std::move(sml), hexDump(isShort ? message.bytes : ByteView())});
}

void SpyPage::problem(uint32_t connection, const SpiedProblem &problem) {
  ++all_.problems[static_cast<size_t>(problem.kind)];
  ++connections_[connection].counters.problems[static_cast<size_t>(problem.kind)];
  tell(problem.at, "problem", prefixed(connection, problem.text));
}

void SpyPage::ended(const SpyMoment &at, uint32_t connection, const std::string &how,
                    bool isProblem) {
  connections_[connection].state = how;
  connections_[connection].isOpen = false;
  tell(at, isProblem ? "problem" : "event", prefixed(connection, how));
}

WebSnapshot SpyPage::snapshot() {
  using Kind = WebColumn::Kind;
  WebSnapshot snapshot;
  snapshot.program = "spy";
  snapshot.title = "Spy on " + target_;
  snapshot.place = std::to_string(connections_.size()) + " connections";
  snapshot.activity = {{"Messages to target", all_.messages[0]},
                       {"Messages from target", all_.messages[1]}};
  snapshot.counters = {{"Bytes to target", all_.bytes[0]}, {"Bytes from target", all_.bytes[1]}};
  for (size_t kind = 0; kind < kSpiedProblemKinds; ++kind)
    snapshot.problems.push_back({toText(static_cast<SpiedProblemKind>(kind)), all_.problems[kind]});
  for (size_t way = 0; way < replies_.size(); ++way) {
    snapshot.replies.push_back(replies_[way].bounds.empty() ? replyHistogram() : replies_[way]);
    snapshot.replies.back().name = way == 0 ? "caller" : "target";
  }
  uint64_t open = 0;
  WebTable table{"Connections",
                 {{"Number"},
                  {"From"},
                  {"State"},
                  {"To target"},
                  {"Back"},
                  {"Mean ms", Kind::Number},
                  {"Most ms"},
                  {"Problems"}},
                 {}};
  for (const auto &[number, connection] : connections_) {
    const SpyCounters &counters = connection.counters;
    open += connection.isOpen ? 1 : 0;
    const std::string key = std::to_string(number);
    table.rows.push_back(
        {key,
         {key, connection.from, webCell(connection.state), std::to_string(counters.messages[0]),
          std::to_string(counters.messages[1]),
          milliseconds(counters.totalLatency / std::max<uint64_t>(counters.replies, 1)),
          milliseconds(counters.mostLatency), std::to_string(counters.problemCount())}});
  }
  snapshot.gauges.push_back({"Connections open", open, true});
  snapshot.tables.push_back(std::move(table));
  return snapshot;
}

void SpyPage::act(const WebAction &, std::function<void(WebResult)> done) {
  done({false, "there is nothing to do here"});
}

} // namespace velto
