#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace velto {

/// A line of the live view: a message, a problem or another event.
struct WebEntry {
  uint64_t number = 0; ///< counted from 1
  std::string time;    ///< "09:41:07.115"
  std::string kind;    ///< "in", "out", "problem" or "event"
  std::string text;    ///< "S1F1W  Are You There Request"
  std::string sml;     ///< of a message
  std::string hex;
};

/// The last lines of the live view. The loop adds to it, the threads of the server read. Of what
/// comes faster than anybody can read a sample is kept, and the rest counted.
class WebFeed {
public:
  static constexpr uint64_t kMostASecond = 50;
  static constexpr size_t kKept = 500;
  /// Of the SML, and of the hexadecimal text of an entry.
  static constexpr size_t kMostText = 8192;

  /// Whether the sample has room for another entry now. When it has none, that is counted; problems
  /// have a share of their own.
  bool takes(bool problem = false);
  /// Adds what takes() said yes to. Sets the number.
  void add(WebEntry entry);

  struct News {
    std::vector<WebEntry> entries;
    uint64_t leftOut = 0; ///< of all that came so far
  };
  /// What was added behind the entry `number`.
  News after(uint64_t number) const;
  uint64_t last() const;

private:
  using Seconds = std::chrono::seconds;

  mutable std::mutex mutex_;
  std::deque<WebEntry> entries_;
  uint64_t last_ = 0;
  uint64_t leftOut_ = 0;
  Seconds second_{0};
  uint64_t taken_[2] = {0, 0}; // in this second: entries, problems
};

} // namespace velto
