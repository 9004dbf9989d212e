#include "secs2/transaction.h"

namespace velto {

namespace {

constexpr size_t kStreamByte = 2; // its place in a header

// The bytes of an encoded binary item; nothing when that is no such item, or not all of one.
ByteView binaryItem(ByteView item) {
  constexpr unsigned kBinary = 0x20;
  constexpr unsigned kLengthBytes = 0x03;
  if (item.empty() || (item[0] & ~kLengthBytes) != kBinary)
    return {};
  const size_t lengthBytes = item[0] & kLengthBytes;
  if (item.size() <= lengthBytes)
    return {};
  size_t length = 0;
  for (const uint8_t byte : item.subspan(1, lengthBytes))
    length = length << 8 | byte;
  item = item.subspan(1 + lengthBytes);
  return length > item.size() ? ByteView() : item.first(length);
}

} // namespace

bool awaitsReply(const CHSecsHeader &header) { return header.function() % 2 == 1 && header.wbit(); }

bool isReply(const CHSecsHeader &reply, const CHSecsHeader &primary) {
  return reply.stream() == primary.stream() && reply.systemBytes == primary.systemBytes &&
         (reply.function() == primary.function() + 1 || reply.function() == 0);
}

bool isSameMessage(const CHSecsHeader &a, const CHSecsHeader &b) {
  return a.stream() == b.stream() && a.function() == b.function() && a.systemBytes == b.systemBytes;
}

std::optional<CHSecsHeader> readMhead(ByteView message) {
  if (message.size() < CHSecsHeader::kSize ||
      (message[kStreamByte] & ~CHSecsHeader::kWBit) != kErrorStream)
    return std::nullopt;
  return readHeader(binaryItem(message.subspan(CHSecsHeader::kSize)));
}

std::optional<CHSecsHeader> readMhead(const CHSecsMessage &message) {
  const CHSecsItem &root = message.root;
  if (message.header.stream() != kErrorStream || root.format() != format::kBinary)
    return std::nullopt;
  return readHeader(root.bytes());
}

bool answers(const CHSecsHeader &header, const std::optional<CHSecsHeader> &mhead,
             const CHSecsHeader &primary) {
  return mhead ? isSameMessage(*mhead, primary) : isReply(header, primary);
}

} // namespace velto
