#pragma once

#include "secs2/message.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <utility>

namespace velto {

/// Primaries that went out past the spool and await their replies, in the order of sending. Those
/// that were spooled when communications were lost stay until no reply can come any more: one that
/// comes late takes its message out of the spool.
class CHGemUnansweredMessages {
public:
  struct Entry {
    CHSecsHeader header;
    Bytes message;                     // until it is spooled
    std::optional<uint32_t> spooledAs; // its number in the spool
  };

  /// Adds a message as it went out: its header, and its encoded body. The oldest ones go where
  /// there are more than `most`, or more than `room` bytes of them.
  void add(const CHSecsHeader &header, ByteView body, size_t most, uint64_t room);
  /// Takes out the one that a message answers.
  std::optional<Entry> takeAnswered(const CHSecsMessage &answer);
  bool holds(uint32_t systemBytes) const;
  /// The one with these system bytes will not be answered.
  void remove(uint32_t systemBytes);
  void clear();

  /// Whether there is one that is not in the spool.
  bool waits() const { return size_ != 0; }
  /// Hands each of those to `spool`, which returns its number there, or nothing where it did not go
  /// there.
  template <typename Spool> void spoolEach(Spool spool) {
    size_ = 0;
    for (Entry &entry : entries_)
      if (!entry.spooledAs)
        entry.spooledAs = spool(entry.header, std::exchange(entry.message, {}));
    std::erase_if(entries_, [](const Entry &entry) { return !entry.spooledAs; });
  }

private:
  void erase(const std::deque<Entry>::iterator &entry);

  std::deque<Entry> entries_;
  uint64_t size_ = 0; // bytes of messages
};

} // namespace velto
