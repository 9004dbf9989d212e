#include "secs2/item_codec.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace velto {

namespace {

constexpr size_t kMaxItemLength = 0xFFFFFF;
constexpr size_t kCharacterSetSize = 2;
constexpr uint16_t kCharacterSet = 8;
constexpr size_t kSmallestItem = 2; // but for those without a length byte, which are malformed
constexpr size_t kSpareEmptyChildren = 65'536;

// The bits of a length that an item of whole elements has not; for each format code.
constexpr uint8_t kUnknownFormat = 0x80;
constexpr std::array<uint8_t, 64> kOddBits = [] {
  using namespace format;
  std::array<uint8_t, 64> bits{};
  bits.fill(kUnknownFormat);
  for (const uint8_t code : {kList, kBinary, kBoolean, kAscii, kJis, kMbcs, kI1, kU1})
    bits[code] = 0;
  for (const uint8_t code : {kI2, kU2})
    bits[code] = 1;
  for (const uint8_t code : {kI4, kU4, kF4})
    bits[code] = 3;
  for (const uint8_t code : {kI8, kU8, kF8})
    bits[code] = 7;
  return bits;
}();

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

uint8_t *encodeOne(const CHSecsItem &item, uint8_t *out) {
  if (!item.hasData())
    return out;
  const size_t length = StatedLength(item);
  const size_t sizeOfLength = LengthBytes(length);
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

// The front of an encoded item.
struct ItemHead {
  uint8_t code = 0;
  size_t size = 0;   // of the head itself
  size_t length = 0; // stated: of the data, or the count of children
  bool complete = false;
};

ItemHead readHead(ByteView bytes) {
  ItemHead head;
  head.code = static_cast<uint8_t>(bytes[0] >> 2);
  head.size = 1 + (bytes[0] & 3U);
  if (head.size == 2 && bytes.size() >= 2) { // nearly all are short
    head.length = bytes[1];
    head.complete = true;
    return head;
  }
  head.complete = head.size <= bytes.size();
  for (size_t i = 1; i < std::min(head.size, bytes.size()); ++i)
    head.length = (head.length << 8) | bytes[i];
  return head;
}

class Decoder {
public:
  explicit Decoder(ByteView bytes)
      : emptyChildren_(bytes.size() + kSpareEmptyChildren),
        expectedItems_(bytes.size() / kSmallestItem) {}

  size_t decode(CHSecsItem &item, ByteView bytes, size_t depth) {
    if (bytes.empty())
      return 0;
    const ItemHead head = readHead(bytes);
    if (!head.complete) {
      item.setDecodeError(true);
      return bytes.size();
    }
    const ByteView rest = bytes.subspan(head.size);
    const size_t length = std::min(head.length, rest.size());
    const bool cut = length != head.length;
    if (head.code == format::kList) {
      const size_t consumed = decodeList(item, rest, length, depth, cut);
      noteFaults(item, head);
      return head.size + consumed;
    }
    decodeArray(item, head.code, rest.first(length));
    if (cut)
      item.setDecodeError(true);
    noteFaults(item, head);
    return head.size + length;
  }
  bool foundFaults() const { return foundFaults_; }

private:
  size_t decodeList(CHSecsItem &list, ByteView rest, size_t count, size_t depth, bool cut) {
    list.setList();
    list.setDecodeError(cut || depth > CHSecsItem::kMaxDepth);
    if (depth > CHSecsItem::kMaxDepth)
      return EncodedLength(rest, count);
    // All lists together make room for no more items than the input can hold.
    const size_t room = std::min({count, rest.size() / kSmallestItem, expectedItems_});
    expectedItems_ -= room;
    list.reserveChildren(room);
    size_t consumed = 0;
    for (size_t i = 0; i < count; ++i) {
      if (consumed == rest.size() && emptyChildren_-- == 0) {
        emptyChildren_ = 0;
        list.setDecodeError(true);
        break;
      }
      consumed += decode(list.appendChild(), rest.subspan(consumed), depth + 1);
    }
    list.trimChildren();
    return consumed;
  }

  static void decodeArray(CHSecsItem &item, uint8_t code, ByteView data) {
    const size_t setSize = code == format::kMbcs ? kCharacterSetSize : 0;
    const ByteView elements = data.subspan(std::min(data.size(), setSize));
    const size_t size = elementSize(code);
    const size_t count = elements.size() / size;
    copyElements(item.makeArray(code, static_cast<uint32_t>(count)), elements.data(), count, size);
    item.setDecodeError(data.size() < setSize);
  }

  void noteFaults(CHSecsItem &item, const ItemHead &head) {
    const uint8_t odd = kOddBits[head.code];
    if ((head.length & odd) != 0 || odd == kUnknownFormat || head.size == 1)
      addFault(item, head);
  }

  void addFault(CHSecsItem &item, const ItemHead &head) {
    const bool oddLength = (head.length & (elementSize(head.code) - 1)) != 0; // a power of two
    const bool hasLength = head.size > 1;
    item.addWireFault(oddLength ? WireFaultLength : hasLength ? WireFaultFormat : WireFaultHead);
    foundFaults_ = true;
  }

  size_t emptyChildren_;
  size_t expectedItems_;
  bool foundFaults_ = false;
};

} // namespace

std::optional<size_t> EncodedItemSize(const CHSecsItem &root) {
  size_t size = 0;
  bool writable = true;
  forEachItem(root, [&](const CHSecsItem &item) {
    writable = writable && StatedLength(item) <= kMaxItemLength;
    size += item.isList() ? 1 + LengthBytes(item.count()) : EncodedLeafSize(item);
  });
  return writable ? std::optional(size) : std::nullopt;
}

bool ReadsBackAsItIs(const CHSecsItem &root) {
  if (root.decodeError() || root.wireFaults() != 0 || !root.isList())
    return !root.decodeError() && root.wireFaults() == 0;
  std::array<std::span<const CHSecsItem>, CHSecsItem::kMaxDepth> levels; // what is left of each
  levels[0] = root.children();
  for (size_t depth = 1; depth > 0;) {
    std::span<const CHSecsItem> &rest = levels[depth - 1];
    if (rest.empty()) {
      --depth;
      continue;
    }
    const CHSecsItem &item = rest.front();
    rest = rest.subspan(1);
    if (!item.hasData() || item.decodeError() || item.wireFaults() != 0)
      return false;
    if (!item.isList())
      continue;
    if (depth == levels.size())
      return false;
    levels[depth++] = item.children();
  }
  return true;
}

size_t EncodeItem(const CHSecsItem &root, uint8_t *out) {
  uint8_t *end = out;
  forEachItem(root, [&end](const CHSecsItem &item) { end = encodeOne(item, end); });
  return static_cast<size_t>(end - out);
}

size_t EncodeItem(const CHSecsItem &root, uint8_t *out, size_t most) {
  uint8_t *end = out;
  forEachItem(root, [&end, out, most](const CHSecsItem &item) {
    if (static_cast<size_t>(end - out) < most)
      end = encodeOne(item, end);
  });
  return static_cast<size_t>(end - out);
}

size_t EncodedLength(ByteView bytes, uint64_t count) {
  size_t consumed = 0;
  for (; count != 0 && consumed < bytes.size(); --count) {
    const ByteView rest = bytes.subspan(consumed);
    const ItemHead head = readHead(rest);
    if (head.code == format::kList) {
      count += head.length;
      consumed += std::min(head.size, rest.size());
    } else {
      consumed += std::min(head.size + head.length, rest.size());
    }
  }
  return consumed;
}

size_t DecodeItem(CHSecsItem &item, ByteView bytes) {
  item.clear();
  item.setDecodeError(false);
  Decoder decoder(bytes);
  const size_t consumed = decoder.decode(item, bytes, 1);
  if (decoder.foundFaults())
    item.addWireFault(WireFaultBelow);
  return consumed;
}

// The root knows of any: nothing is looked through that came as it should.
bool isMalformed(const CHSecsItem &root) {
  bool malformed = false;
  if (root.wireFaults() != 0)
    forEachItem(root, [&malformed](const CHSecsItem &item) {
      malformed = malformed || (item.wireFaults() & ~WireFaultBelow) != 0;
    });
  return malformed;
}

} // namespace velto
