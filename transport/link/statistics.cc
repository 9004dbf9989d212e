#include "transport/link/statistics.h"

namespace velto {

namespace {

struct CounterRow {
  std::string_view name;
  uint64_t LinkCounters::*member;
};

constexpr CounterRow kCounters[] = {
    {"FramesIn", &LinkCounters::framesIn},     {"FramesOut", &LinkCounters::framesOut},
    {"BlocksIn", &LinkCounters::blocksIn},     {"BlocksOut", &LinkCounters::blocksOut},
    {"BytesIn", &LinkCounters::bytesIn},       {"BytesOut", &LinkCounters::bytesOut},
    {"RejectsIn", &LinkCounters::rejectsIn},   {"RejectsOut", &LinkCounters::rejectsOut},
    {"Duplicates", &LinkCounters::duplicates}, {"Connections", &LinkCounters::connections},
    {"TurnedAway", &LinkCounters::turnedAway}, {"QueuePeak", &LinkCounters::queuePeak},
};

} // namespace

LinkCounters &LinkCounters::operator+=(const LinkCounters &other) {
  const uint64_t peak = std::max(queuePeak, other.queuePeak);
  for (const CounterRow &row : kCounters)
    this->*row.member += other.*row.member;
  for (size_t i = 0; i < kLinkProblems; ++i)
    problems[i] += other.problems[i];
  queuePeak = peak;
  return *this;
}

std::vector<NamedCounter> namedCounters(const LinkCounters &counters) {
  std::vector<NamedCounter> named;
  named.reserve(std::size(kCounters) + kLinkProblems);
  for (const CounterRow &row : kCounters)
    named.push_back({row.name, counters.*row.member});
  for (size_t i = 0; i < kLinkProblems; ++i)
    named.push_back({linkProblemName(static_cast<LinkProblem>(i)), counters.problems[i]});
  return named;
}

} // namespace velto
