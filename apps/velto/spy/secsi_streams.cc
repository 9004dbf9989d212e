#include "apps/velto/spy/secsi_streams.h"

#include "secs2/header.h"

#include <algorithm>

namespace velto {

namespace {

constexpr uint64_t kDuplicateTime = 45'000'000; // T4, in microseconds
constexpr uint32_t kT4 = 45'000;                // ms

std::string blockName(ByteView block) {
  const CHSecsHeader header = *readHeader(block);
  CHSecsHeader named = header;
  named.hsms = false;
  return HeaderText(named, HeaderTextMode::Name) + " block " +
         std::to_string(header.blockWord & ~unsigned{kEBit});
}

} // namespace

void SecsIStreams::take(SpyDirection direction, ByteView bytes, uint64_t micros) {
  for (const uint8_t byte : bytes)
    take(direction, byte, micros);
}

void SecsIStreams::lost(SpyDirection direction) {
  Line &line = lines_[indexOf(direction)];
  line.drop();
  line.granted = false;
  line.requested = false;
}

void SecsIStreams::take(SpyDirection direction, uint8_t byte, uint64_t micros) {
  Line &line = lines_[indexOf(direction)];
  Line &other = lines_[indexOf(opposite(direction))];
  if (line.isSending()) {
    line.block.push_back(byte);
    return;
  }
  if (line.granted && byte >= kSmallestBlock && byte <= kLargestBlock) {
    line.granted = false;
    line.expected = byte + kSumSize;
    line.block.clear();
    return;
  }
  switch (byte) {
  case kEnq:
    return request(direction);
  case kEot:
    other.granted = true;
    other.requested = false;
    line.requested = false; // in contention it gives way
    return;
  case kAck:
    return acknowledged(opposite(direction), micros);
  case kNak:
    return refused(opposite(direction));
  default:
    if (!std::exchange(line.noisy, true))
      reports_.problem(direction, "bytes that SECS-I does not know, such as " +
                                      std::to_string(byte) + " outside of a block");
  }
}

void SecsIStreams::request(SpyDirection direction) {
  Line &line = lines_[indexOf(direction)];
  if (line.requested && !lines_[indexOf(opposite(direction))].requested)
    reports_.problem(direction, "ENQ again, as no EOT came");
  line.requested = true;
  line.granted = false;
  line.drop();
}

void SecsIStreams::acknowledged(SpyDirection direction, uint64_t micros) {
  Line &line = lines_[indexOf(direction)];
  if (line.expected == 0 || line.isSending())
    return line.drop();
  const ByteView sent(line.block);
  const ByteView block = sent.first(sent.size() - kSumSize);
  if (readBigEndian<uint16_t>(&sent[block.size()]) != blockSum(block)) {
    reports_.problem(direction, blockName(block) + " has a wrong sum and was acknowledged");
  } else if (std::ranges::equal(block, line.accepted) &&
             micros - line.acceptedAt < kDuplicateTime) {
    reports_.problem(direction, blockName(block) + " was sent again after its acknowledge");
  } else {
    line.accepted.assign(block.begin(), block.end());
    assemble(direction, line.accepted, micros);
  }
  line.acceptedAt = micros;
  line.drop();
}

void SecsIStreams::refused(SpyDirection direction) {
  Line &line = lines_[indexOf(direction)];
  if (line.block.size() >= CHSecsHeader::kSize)
    reports_.problem(direction, blockName(line.block) + " was refused by NAK");
  else if (line.expected != 0)
    reports_.problem(direction, "a block was refused by NAK");
  line.drop();
}

// The R-bit says who is the equipment; without it the word is the device ID. A message has no
// blocks.
void SecsIStreams::assemble(SpyDirection direction, ByteView block, uint64_t micros) {
  BlockAssembly &assembly = lines_[indexOf(direction)].assembly;
  const auto now = static_cast<uint32_t>(micros / 1000);
  while (const auto header = assembly.expire(now, kT4))
    reports_.problem(direction, blockName(*header) + " was the last that came of its message");
  assembly.forgetComplete(now, kT4);
  BlockAssembly::Outcome outcome = assembly.add(block, now);
  while (assembly.shed()) {
  }
  if (outcome.anew)
    reports_.problem(direction, blockName(block) + " begins its message anew");
  if (outcome.result == BlockAssembly::Result::BadMultiBlockNumber ||
      outcome.result == BlockAssembly::Result::BadBlockNumber)
    reports_.problem(direction, blockName(block) + " is not the next one of its message");
  if (outcome.result != BlockAssembly::Result::Complete)
    return;
  CHSecsHeader header = *readHeader(outcome.message);
  const bool fromEquipment = (header.idWord & kDirectionBit) != 0;
  header.idWord &= kDeviceIdMask;
  header.blockWord = 0;
  EncodeHeader(
      header, std::span<uint8_t, CHSecsHeader::kSize>(outcome.message.data(), CHSecsHeader::kSize));
  reports_.message(direction, outcome.message, fromEquipment);
}

} // namespace velto
