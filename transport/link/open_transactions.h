#pragma once

#include "secs2/header.h"
#include "transport/hsms/hsms_frame.h"
#include "transport/link/deadline.h"

#include <algorithm>
#include <deque>
#include <optional>
#include <utility>

namespace velto {

/// Requests that wait for their answer, in the order of sending. All of them share one time limit,
/// so the first one is due first. Times are ticks and milliseconds.
class OpenTransactions {
public:
  struct Entry {
    uint32_t sentAt;
    uint64_t number; ///< counts what was sent
    CHSecsHeader header;
    Bytes message;
  };

  bool empty() const { return entries_.empty(); }
  size_t size() const { return entries_.size(); }
  void clear() { entries_.clear(); }
  void open(const CHSecsHeader &header, ByteView message, uint32_t now, uint64_t number) {
    entries_.push_back({now, number, header, Bytes(message.begin(), message.end())});
  }

  /// Ends the first transaction for which `isAnswered` is true; whether there was one.
  template <typename Predicate> bool closeFirst(Predicate isAnswered) {
    const auto found = std::ranges::find_if(entries_, isAnswered);
    if (found == entries_.end())
      return false;
    entries_.erase(found);
    return true;
  }
  /// Ends the transaction that a message answers. A stream 9 message ends that of the message which
  /// its MHEAD names (SEMI E5 10.13).
  bool closeAnswered(const CHSecsHeader &header, ByteView message) {
    if (header.stream() != 9)
      return closeFirst([&](const Entry &entry) { return isReply(header, entry.header); });
    const auto mhead = readMhead(message);
    return mhead &&
           closeFirst([&](const Entry &entry) { return isSameMessage(*mhead, entry.header); });
  }

  /// Milliseconds until the first entry is `limit` old; 0 when it is; nothing without an entry.
  std::optional<uint32_t> next(uint32_t now, uint32_t limit) const {
    if (entries_.empty())
      return std::nullopt;
    return timeLeft(now, entries_.front().sentAt, limit);
  }
  const Entry &first() const { return entries_.front(); }
  Entry takeFirst() {
    Entry entry = std::move(entries_.front());
    entries_.pop_front();
    return entry;
  }

private:
  std::deque<Entry> entries_;
};

} // namespace velto
