#include "secs2/item_codec.h"

#include <algorithm>
#include <cstring>

namespace velto {

namespace {

constexpr size_t kMaxItemLength = 0xFFFFFF;
constexpr size_t kCharacterSetSize = 2;
constexpr uint16_t kCharacterSet = 8;
// Room that is made for a list's children before they are seen to be there.
constexpr size_t kReservedChildren = 1024;
constexpr size_t kSpareEmptyChildren = 65'536;

uint16_t swapped(uint16_t value) { return __builtin_bswap16(value); }
uint32_t swapped(uint32_t value) { return __builtin_bswap32(value); }
uint64_t swapped(uint64_t value) { return __builtin_bswap64(value); }

template <typename T> void copySwapped(uint8_t *to, const uint8_t *from, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    T value;
    std::memcpy(&value, from + i * sizeof(T), sizeof(T));
    value = swapped(value);
    std::memcpy(to + i * sizeof(T), &value, sizeof(T));
  }
}

// Between host order and big-endian order, either way.
void copyElements(uint8_t *to, const uint8_t *from, size_t count, size_t size) {
  switch (size) {
  case 2:
    return copySwapped<uint16_t>(to, from, count);
  case 4:
    return copySwapped<uint32_t>(to, from, count);
  case 8:
    return copySwapped<uint64_t>(to, from, count);
  default:
    if (count != 0)
      std::memcpy(to, from, count);
  }
}

size_t statedLength(const CHSecsItem &item) {
  if (item.isList())
    return item.count();
  return item.bytes().size() + (item.format() == format::kMbcs ? kCharacterSetSize : 0);
}

size_t lengthBytes(size_t length) { return length < 0x100 ? 1 : length < 0x10000 ? 2 : 3; }

uint8_t *encodeOne(const CHSecsItem &item, uint8_t *out) {
  if (!item.hasData())
    return out;
  const size_t length = statedLength(item);
  const size_t sizeOfLength = lengthBytes(length);
  *out++ = static_cast<uint8_t>((item.format() << 2) | static_cast<int>(sizeOfLength));
  for (size_t i = sizeOfLength; i-- > 0;)
    *out++ = static_cast<uint8_t>(length >> (8 * i));
  if (item.isList())
    return out;
  if (item.format() == format::kMbcs) {
    writeBigEndian(out, kCharacterSet);
    out += kCharacterSetSize;
  }
  copyElements(out, item.bytes().data(), item.count(), elementSize(item.format()));
  return out + item.bytes().size();
}

class Decoder {
public:
  explicit Decoder(ByteView bytes) : emptyChildren_(bytes.size() + kSpareEmptyChildren) {}

  size_t decode(CHSecsItem &item, ByteView bytes, size_t depth) {
    if (bytes.empty())
      return 0;
    const auto code = static_cast<uint8_t>(bytes[0] >> 2);
    const size_t sizeOfLength = bytes[0] & 3;
    if (bytes.size() <= sizeOfLength) {
      item.setDecodeError(true);
      return bytes.size();
    }
    size_t length = 0;
    for (size_t i = 1; i <= sizeOfLength; ++i)
      length = (length << 8) | bytes[i];
    const ByteView rest = bytes.subspan(1 + sizeOfLength);
    const bool cut = length > rest.size();
    length = std::min(length, rest.size());
    if (code == format::kList)
      return 1 + sizeOfLength + decodeList(item, rest, length, depth, cut);
    decodeArray(item, code, rest.first(length));
    if (cut)
      item.setDecodeError(true);
    return 1 + sizeOfLength + length;
  }

private:
  size_t decodeList(CHSecsItem &list, ByteView rest, size_t count, size_t depth, bool cut) {
    list.setList();
    list.setDecodeError(cut || depth > CHSecsItem::kMaxDepth);
    if (depth > CHSecsItem::kMaxDepth)
      return rest.size();
    list.reserveChildren(std::min(count, kReservedChildren));
    size_t consumed = 0;
    for (size_t i = 0; i < count; ++i) {
      if (consumed == rest.size() && emptyChildren_-- == 0) {
        emptyChildren_ = 0;
        list.setDecodeError(true);
        break;
      }
      consumed += decode(list.appendChild(), rest.subspan(consumed), depth + 1);
    }
    return consumed;
  }

  static void decodeArray(CHSecsItem &item, uint8_t code, ByteView data) {
    if (code == format::kMbcs) {
      item.setDecodeError(data.size() < kCharacterSetSize);
      data = data.subspan(std::min(data.size(), kCharacterSetSize));
    }
    const size_t size = elementSize(code);
    const size_t count = data.size() / size;
    copyElements(item.makeArray(code, static_cast<uint32_t>(count)), data.data(), count, size);
  }

  size_t emptyChildren_;
};

} // namespace

std::optional<size_t> EncodedItemSize(const CHSecsItem &root) {
  size_t size = 0;
  bool writable = true;
  forEachItem(root, [&](const CHSecsItem &item) {
    if (!item.hasData())
      return;
    const size_t length = statedLength(item);
    writable = writable && length <= kMaxItemLength;
    size += 1 + lengthBytes(length) + (item.isList() ? 0 : length);
  });
  return writable ? std::optional(size) : std::nullopt;
}

size_t EncodeItem(const CHSecsItem &root, uint8_t *out) {
  uint8_t *end = out;
  forEachItem(root, [&end](const CHSecsItem &item) { end = encodeOne(item, end); });
  return static_cast<size_t>(end - out);
}

size_t DecodeItem(CHSecsItem &item, ByteView bytes) {
  item.clear();
  item.setDecodeError(false);
  return Decoder(bytes).decode(item, bytes, 1);
}

} // namespace velto
