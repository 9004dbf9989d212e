#pragma once

#include "transport/secsi/block.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace velto {

/// The messages that are being received: puts blocks together (SEMI E4 9.4). A message that is
/// complete is remembered until T4 has passed, for those who look at the queue.
class BlockAssembly {
public:
  enum class Result { Incomplete, Complete, BadMultiBlockNumber, BadBlockNumber };
  struct Outcome {
    Result result;
    Bytes message;     ///< whole, when complete; its header is that of its last block
    bool anew = false; ///< the message had begun before; those blocks were dropped
  };

  /// Takes a block (header and data). A block whose number is not the next one drops the message
  /// that it would continue; a first one begins it anew.
  Outcome add(ByteView block, uint32_t now);
  /// The block taken last has arrived once more: T4 of its message, if unfinished, starts anew.
  void repeat(ByteView block, uint32_t now);
  /// Whether blocks of a reply to `primary` have arrived.
  bool holdsReplyTo(const CHSecsHeader &primary) const;
  /// Remembers a message that is complete.
  void remember(ByteView message, uint32_t now);

  /// Drops the first unfinished message whose last block is T4 old, and returns its header.
  std::optional<Bytes> expire(uint32_t now, uint32_t t4);
  /// Drops an unfinished message, the oldest, when all of them together have grown beyond bounds;
  /// returns its header.
  std::optional<Bytes> shed();
  /// Forgets the complete messages whose last block is T4 old.
  void forgetComplete(uint32_t now, uint32_t t4);
  /// Milliseconds until expire() or forgetComplete() has something to do.
  std::optional<uint32_t> nextExpiry(uint32_t now, uint32_t t4) const;
  void clear();

  /// All messages, unfinished ones first; of each the header and up to two bytes of data.
  std::vector<Bytes> heads() const;
  size_t size() const { return open_.size() + complete_.size(); }

private:
  static constexpr size_t kMostComplete = 1000;
  static constexpr size_t kMostOpen = 1000;
  static constexpr size_t kMostBytes = size_t{64} * 1024 * 1024;

  struct Message {
    Bytes bytes; // header of the last block, and the data so far
    uint32_t lastBlock;
  };

  std::vector<Message>::iterator findContinued(ByteView block);
  void append(Message &message, ByteView block, uint32_t now);
  Bytes drop(std::vector<Message>::iterator message);

  std::vector<Message> open_; // in the order in which they began
  std::deque<Message> complete_;
  size_t bytes_ = 0; // of the open ones
};

} // namespace velto
