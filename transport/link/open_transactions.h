#pragma once

#include "secs2/transaction.h"
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
    uint64_t number; ///< counts what was sent, where several lists share one count
    CHSecsHeader header;
    Bytes message;      ///< for who has to show it; else empty
    bool waits = false; ///< the request waits for the line: its time has not begun
  };

  bool empty() const { return entries_.empty(); }
  size_t size() const { return entries_.size(); }
  void clear() { entries_.clear(); }
  void open(const CHSecsHeader &header, uint32_t now, bool waits = false) {
    open(header, {}, now, 0);
    entries_.back().waits = waits;
  }
  /// The request with those system bytes has left the line.
  void begin(uint32_t systemBytes, uint32_t now) {
    const auto found = std::ranges::find_if(entries_, [=](const Entry &entry) {
      return entry.waits && entry.header.systemBytes == systemBytes;
    });
    if (found == entries_.end())
      return;
    Entry begun = std::move(*found);
    entries_.erase(found);
    begun.waits = false;
    begun.sentAt = now;
    entries_.push_back(std::move(begun));
  }
  void open(const CHSecsHeader &header, ByteView message, uint32_t now, uint64_t number) {
    entries_.push_back({now, number, header, Bytes(message.begin(), message.end())});
  }
  /// Whether a request of that stream and function is open.
  bool holds(uint8_t stream, uint8_t function) const {
    return std::ranges::any_of(entries_, [=](const Entry &entry) {
      return entry.header.stream() == stream && entry.header.function() == function;
    });
  }

  /// Whether the request with those system bytes is open.
  bool holds(uint32_t systemBytes) const {
    return std::ranges::any_of(
        entries_, [=](const Entry &entry) { return entry.header.systemBytes == systemBytes; });
  }

  /// Ends the first transaction for which `isAnswered` is true; whether there was one.
  template <typename Predicate> bool closeFirst(Predicate isAnswered) {
    const auto found = std::ranges::find_if(entries_, isAnswered);
    if (found == entries_.end())
      return false;
    entries_.erase(found);
    return true;
  }
  /// Ends the transaction that a message answers, be it the reply or a complaint of stream 9. In
  /// bytes, a complaint that cannot be read ends nothing.
  bool closeAnswered(const CHSecsHeader &header, ByteView message) {
    const auto mhead = readMhead(message);
    return (header.stream() != kErrorStream || mhead) && closeAnswered(header, mhead);
  }
  bool closeAnswered(const CHSecsMessage &message) {
    return closeAnswered(message.header, readMhead(message));
  }

  /// Milliseconds until the first entry is `limit` old; 0 when it is; nothing without an entry.
  std::optional<uint32_t> next(uint32_t now, uint32_t limit) const {
    if (entries_.empty())
      return std::nullopt;
    return timeLeft(now, entries_.front().sentAt, limit);
  }
  /// The same where entries that are `excused` never are.
  template <typename Predicate>
  std::optional<uint32_t> next(uint32_t now, uint32_t limit, Predicate excused) const {
    for (const Entry &entry : entries_)
      if (const uint32_t left = timeLeft(now, entry.sentAt, limit); left != 0 || !excused(entry))
        return left;
    return std::nullopt;
  }
  /// Takes the first entry out that is `limit` old and not excused.
  template <typename Predicate>
  std::optional<Entry> takeDue(uint32_t now, uint32_t limit, Predicate excused) {
    for (auto entry = entries_.begin();
         entry != entries_.end() && timeLeft(now, entry->sentAt, limit) == 0; ++entry) {
      if (excused(*entry))
        continue;
      Entry due = std::move(*entry);
      entries_.erase(entry);
      return due;
    }
    return std::nullopt;
  }
  const Entry &first() const { return entries_.front(); }
  Entry takeFirst() {
    Entry entry = std::move(entries_.front());
    entries_.pop_front();
    return entry;
  }

private:
  bool closeAnswered(const CHSecsHeader &header, const std::optional<CHSecsHeader> &mhead) {
    return closeFirst([&](const Entry &entry) { return answers(header, mhead, entry.header); });
  }

  std::deque<Entry> entries_;
};

} // namespace velto
