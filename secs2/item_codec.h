#pragma once

#include "base/bytes.h"
#include "secs2/item.h"

#include <optional>

namespace velto {

/// Bytes of an item's head that state a length.
constexpr size_t LengthBytes(size_t length) {
  return length < 0x100 ? 1 : length < 0x10000 ? 2 : 3;
}

/// The length that an item states: of its elements in bytes, or the count of its children.
inline size_t StatedLength(const CHSecsItem &item) {
  constexpr size_t kCharacterSetSize = 2;
  if (item.isList())
    return item.count();
  return item.bytes().size() + (item.format() == format::kMbcs ? kCharacterSetSize : 0);
}

/// Bytes that an item which is no list takes when encoded; 0 for one without data.
inline size_t EncodedLeafSize(const CHSecsItem &item) {
  const size_t length = StatedLength(item);
  return item.hasData() ? 1 + LengthBytes(length) + length : 0;
}

/// Bytes that an item takes when encoded; 0 for an item without data. Nothing when it holds a
/// length that three length bytes cannot state.
std::optional<size_t> EncodedItemSize(const CHSecsItem &root);

/// Whether the encoded item decodes to just what it is: each item of a list has data, none is
/// deeper than what is decoded, and none came malformed.
bool ReadsBackAsItIs(const CHSecsItem &root);

/// Writes the item and all below it (SEMI E5 9.2) to `out`, which has room for EncodedItemSize()
/// bytes; returns the count of bytes written. An item without data writes nothing.
size_t EncodeItem(const CHSecsItem &root, uint8_t *out);
/// The same without the items that would begin behind `most` bytes.
size_t EncodeItem(const CHSecsItem &root, uint8_t *out, size_t most);

/// Decodes the item at the front of `bytes` into `item` (which is cleared); returns the count of
/// bytes consumed, 0 when there are none.
///
/// Any bytes decode: where a length runs past the input, what is there is kept and the item's
/// decodeError is set; so it is for a list deeper than CHSecsItem::kMaxDepth, whose children are
/// left out. Children that a list announces beyond the input are made without data, at most one
/// per input byte and 65,536. What was malformed though it could be read is noted in the item, and
/// in `item` that there is something below it.
size_t DecodeItem(CHSecsItem &item, ByteView bytes);

/// Whether any item of a decoded body came malformed (WireFault). What was built here, or took the
/// place of what came, is not.
bool isMalformed(const CHSecsItem &root);

/// Bytes that `count` encoded items at the front of `bytes` take, at most all of them.
size_t EncodedLength(ByteView bytes, uint64_t count);

} // namespace velto
