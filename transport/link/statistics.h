#pragma once

#include "transport/link/problem.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velto {

/// What a link has carried and what went wrong on it, from its making on, over all its connections;
/// of a listener the sum of its peers, also of those that have gone.
struct LinkCounters {
  uint64_t framesIn = 0;  ///< whole messages, control messages too
  uint64_t framesOut = 0; ///< of SECS-I: those that were acknowledged
  uint64_t blocksIn = 0;  ///< of SECS-I, duplicates too
  uint64_t blocksOut = 0; ///< those that were acknowledged
  uint64_t bytesIn = 0;   ///< read from the socket or device
  uint64_t bytesOut = 0;  ///< taken by the socket; of a serial line, written to it
  uint64_t rejectsIn = 0; ///< Reject.req (SEMI E37 7.7)
  uint64_t rejectsOut = 0;
  uint64_t duplicates = 0;  ///< messages or blocks that were dropped since they came twice
  uint64_t connections = 0; ///< that were made, or ports that were opened
  uint64_t turnedAway = 0;  ///< connections that a listener could not serve
  uint64_t queuePeak = 0;   ///< bytes, the most that ever waited to be sent on one connection
  /// By LinkProblem; the time-outs are T1 to T8.
  std::array<uint64_t, kLinkProblems> problems{};

  uint64_t of(LinkProblem problem) const { return problems[static_cast<size_t>(problem)]; }
  void count(LinkProblem problem) { ++problems[static_cast<size_t>(problem)]; }
  /// A message left the queue of SECS-I, or a block was acknowledged.
  void messageSent(bool sent) {
    framesOut += sent ? 1 : 0;
    if (!sent)
      count(LinkProblem::SendFailed);
  }
  void block(bool sent, bool duplicate) {
    ++(sent ? blocksOut : blocksIn);
    duplicates += duplicate ? 1 : 0;
  }
  void queued(size_t bytes) { queuePeak = std::max<uint64_t>(queuePeak, bytes); }
  /// Adds those of another connection; of peaks the higher one counts.
  LinkCounters &operator+=(const LinkCounters &other);
  bool operator==(const LinkCounters &) const = default;
};

/// The counters of one connection.
struct ConnectionCounters {
  std::string remote; ///< "127.0.0.1:5001"
  LinkCounters counters;
};

/// One counter as it is shown.
struct NamedCounter {
  std::string_view name; ///< "FramesIn", "T3"
  uint64_t value;
};
/// All of them in their order: the fields as above, then the problems by their names.
std::vector<NamedCounter> namedCounters(const LinkCounters &counters);

} // namespace velto
