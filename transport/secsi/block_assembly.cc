#include "transport/secsi/block_assembly.h"

#include "secs2/transaction.h"
#include "transport/link/deadline.h"

#include <algorithm>
#include <utility>

namespace velto {

namespace {

constexpr size_t kAfterBlockWord = kBlockWord + sizeof(uint16_t);

uint16_t blockWord(ByteView block) { return readBigEndian<uint16_t>(&block[kBlockWord]); }

unsigned blockNumber(ByteView block) { return blockWord(block) & ~unsigned{kEBit}; }

bool isLast(ByteView block) { return (blockWord(block) & kEBit) != 0; }

// Blocks of one message have the same header but for the block word.
bool belongTogether(ByteView a, ByteView b) {
  return std::ranges::equal(a.first(kBlockWord), b.first(kBlockWord)) &&
         std::ranges::equal(a.subspan(kAfterBlockWord, CHSecsHeader::kSize - kAfterBlockWord),
                            b.subspan(kAfterBlockWord, CHSecsHeader::kSize - kAfterBlockWord));
}

Bytes headOf(ByteView message, size_t size) {
  return {message.begin(),
          message.begin() + static_cast<std::ptrdiff_t>(std::min(message.size(), size))};
}

} // namespace

std::vector<BlockAssembly::Message>::iterator BlockAssembly::findContinued(ByteView block) {
  return std::ranges::find_if(
      open_, [&](const Message &message) { return belongTogether(message.bytes, block); });
}

BlockAssembly::Outcome BlockAssembly::add(ByteView block, uint32_t now) {
  const unsigned number = blockNumber(block);
  auto found = findContinued(block);
  if (found == open_.end()) {
    if (number > 1)
      return {Result::BadBlockNumber, {}};
    if (isLast(block)) {
      remember(block, now);
      return {Result::Complete, {block.begin(), block.end()}};
    }
    open_.push_back({{block.begin(), block.end()}, now});
    bytes_ += block.size();
    return {Result::Incomplete, {}};
  }
  if (number != blockNumber(found->bytes) + 1) {
    drop(found);
    if (number > 1)
      return {Result::BadMultiBlockNumber, {}};
    Outcome outcome = add(block, now);
    outcome.anew = true;
    return outcome;
  }
  append(*found, block, now);
  if (!isLast(block))
    return {Result::Incomplete, {}};
  remember(found->bytes, now);
  return {Result::Complete, drop(found)};
}

void BlockAssembly::append(Message &message, ByteView block, uint32_t now) {
  std::ranges::copy(block.first(CHSecsHeader::kSize), message.bytes.begin());
  const ByteView data = block.subspan(CHSecsHeader::kSize);
  message.bytes.insert(message.bytes.end(), data.begin(), data.end());
  message.lastBlock = now;
  bytes_ += data.size();
}

void BlockAssembly::repeat(ByteView block, uint32_t now) {
  if (const auto found = findContinued(block); found != open_.end())
    found->lastBlock = now;
}

bool BlockAssembly::holdsReplyTo(const CHSecsHeader &primary) const {
  return std::ranges::any_of(
      open_, [&](const Message &message) { return isReply(*readHeader(message.bytes), primary); });
}

void BlockAssembly::remember(ByteView message, uint32_t now) {
  if (complete_.size() == kMostComplete)
    complete_.pop_front();
  complete_.push_back({headOf(message, CHSecsHeader::kSize + 2), now});
}

Bytes BlockAssembly::drop(std::vector<Message>::iterator message) {
  Bytes bytes = std::move(message->bytes);
  bytes_ -= bytes.size();
  open_.erase(message);
  return bytes;
}

std::optional<Bytes> BlockAssembly::expire(uint32_t now, uint32_t t4) {
  const auto due = std::ranges::find_if(
      open_, [&](const Message &message) { return timeLeft(now, message.lastBlock, t4) == 0; });
  if (due == open_.end())
    return std::nullopt;
  return headOf(drop(due), CHSecsHeader::kSize);
}

std::optional<Bytes> BlockAssembly::shed() {
  if (bytes_ <= kMostBytes && open_.size() <= kMostOpen)
    return std::nullopt;
  return headOf(drop(open_.begin()), CHSecsHeader::kSize);
}

void BlockAssembly::forgetComplete(uint32_t now, uint32_t t4) {
  while (!complete_.empty() && timeLeft(now, complete_.front().lastBlock, t4) == 0)
    complete_.pop_front();
}

std::optional<uint32_t> BlockAssembly::nextExpiry(uint32_t now, uint32_t t4) const {
  std::optional<uint32_t> next;
  for (const Message &message : open_)
    next = sooner(next, timeLeft(now, message.lastBlock, t4));
  if (!complete_.empty())
    next = sooner(next, timeLeft(now, complete_.front().lastBlock, t4));
  return next;
}

void BlockAssembly::clear() {
  open_.clear();
  complete_.clear();
  bytes_ = 0;
}

std::vector<Bytes> BlockAssembly::heads() const {
  std::vector<Bytes> heads;
  for (const Message &message : open_)
    heads.push_back(headOf(message.bytes, CHSecsHeader::kSize + 2));
  for (const Message &message : complete_)
    heads.push_back(message.bytes);
  return heads;
}

} // namespace velto
