#include "transport/secsi/block.h"

#include <algorithm>
#include <numeric>

namespace velto {

uint16_t blockSum(ByteView block) {
  return static_cast<uint16_t>(std::accumulate(block.begin(), block.end(), 0U));
}

// A message of one block goes out as it is; only several blocks are numbered here.
void OutgoingMessage::appendBlock(Bytes &line) {
  const size_t count = blockCount(message_.size());
  if (count > 1) {
    const auto number = static_cast<uint16_t>(index_ + 1);
    writeBigEndian<uint16_t>(&message_[kBlockWord], index_ + 1 == count ? number | kEBit : number);
  }
  const ByteView data = ByteView(message_).subspan(CHSecsHeader::kSize + index_ * kBlockData);
  const size_t size = std::min(data.size(), kBlockData);
  line.push_back(static_cast<uint8_t>(CHSecsHeader::kSize + size));
  const auto header = static_cast<std::ptrdiff_t>(line.size());
  line.insert(line.end(), message_.begin(), message_.begin() + CHSecsHeader::kSize);
  line.insert(line.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size));
  const uint16_t sum = blockSum(ByteView(line).subspan(static_cast<size_t>(header)));
  line.push_back(static_cast<uint8_t>(sum >> 8));
  line.push_back(static_cast<uint8_t>(sum));
}

} // namespace velto
