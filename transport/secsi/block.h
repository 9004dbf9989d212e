#pragma once

#include "base/bytes.h"
#include "secs2/header.h"

#include <cstdint>
#include <string>

namespace velto {

// The characters of the block transfer protocol (SEMI E4 7.2).
constexpr uint8_t kEnq = 0x05; ///< request to send
constexpr uint8_t kEot = 0x04; ///< ready to receive
constexpr uint8_t kAck = 0x06; ///< correct reception
constexpr uint8_t kNak = 0x15; ///< incorrect reception

// A block on the line (SEMI E4 8.2): the length byte, header and data, and their sum in two bytes.
constexpr size_t kSmallestBlock = CHSecsHeader::kSize;
constexpr size_t kLargestBlock = 254;
constexpr size_t kBlockData = kLargestBlock - CHSecsHeader::kSize;
constexpr size_t kSumSize = 2;
constexpr size_t kMostBlocks = 32'767;
constexpr uint16_t kEBit = 0x8000;         ///< of the header's block word: the last block
constexpr size_t kBlockWord = 4;           ///< where it stands in the header
constexpr uint16_t kDeviceIdMask = 0x7FFF; ///< of the header's first word; the R-bit is the other
constexpr uint16_t kDirectionBit = 0x8000; ///< the R-bit: from the equipment

/// The sum that a block carries (SEMI E4 8.5).
uint16_t blockSum(ByteView block);

/// Blocks that a message of that size takes.
constexpr size_t blockCount(size_t messageSize) {
  const size_t data = messageSize - CHSecsHeader::kSize;
  return data <= kBlockData ? 1 : (data + kBlockData - 1) / kBlockData;
}

/// A message on its way out, block by block. A block stays the current one until it was
/// acknowledged, so that a retry sends the very same. The message has the header of the block that
/// was sent last.
class OutgoingMessage {
public:
  /// `message` is header and data, at least a header and at most kMostBlocks.
  explicit OutgoingMessage(Bytes message) : message_(std::move(message)) {}

  ByteView message() const { return message_; }
  /// Appends the current block as it goes over the line.
  void appendBlock(Bytes &line);
  bool isFirstOfSeveral() const { return index_ == 0 && blockCount(message_.size()) > 1; }
  /// Goes on to the next block; false when there is none.
  bool next() { return ++index_ < blockCount(message_.size()); }

private:
  Bytes message_;
  size_t index_ = 0;
};

} // namespace velto
