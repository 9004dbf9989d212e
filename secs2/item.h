#pragma once

#include "base/bytes.h"
#include "secs2/format.h"

#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace velto {

/// What was wrong with the bytes that an item came in, though it could be read. Several may hold.
enum WireFault : uint8_t {
  WireFaultLength = 1, ///< a length that is no multiple of the element size
  WireFaultFormat = 2, ///< a format code that the standard does not name
  WireFaultBehind = 4, ///< of a body: bytes behind the item
  WireFaultBelow = 8,  ///< of a body: an item below it came with a fault
  WireFaultHead = 16,  ///< no length byte, of which SEMI E5 9.2 asks for one to three
};

/// One node of a SECS-II message body (SEMI E5 9): a list of items, or an array of elements.
///
/// Elements are held in host byte order; few of them (24 bytes) inside the item itself. A freshly
/// built item has no data at all, which is not the same as an empty list or array. An item owns its
/// children; trees never share items.
class CHSecsItem {
public:
  /// Levels of lists that are decoded, printed and built; deeper ones are refused.
  static constexpr size_t kMaxDepth = 128;

  CHSecsItem() = default;
  CHSecsItem(CHSecsItem &&other) noexcept { takeStorage(other); }
  CHSecsItem &operator=(CHSecsItem &&other) noexcept {
    assignFrom(std::move(other));
    return *this;
  }
  CHSecsItem(const CHSecsItem &) = delete;
  CHSecsItem &operator=(const CHSecsItem &) = delete;
  ~CHSecsItem() { clear(); }

  uint8_t format() const { return format_; }
  /// Children of a list, elements of an array, bytes of a text.
  uint32_t count() const {
    return storage_ == Storage::Children ? static_cast<uint32_t>(data_.children.size()) : count_;
  }
  bool hasData() const { return storage_ != Storage::None; }
  bool isList() const { return storage_ == Storage::Children; }
  bool isType(VeltoSecsIIType type) const { return typeOf(format_) == type; }

  /// Set by the decoder when the item's length ran past the input.
  bool decodeError() const { return decodeError_; }
  void setDecodeError(bool error) { decodeError_ = error; }
  /// WireFault bits, set by the decoder; an item that was built here has none.
  uint8_t wireFaults() const { return wireFaults_; }
  void addWireFault(WireFault fault) { wireFaults_ |= fault; }

  /// The children of a list; empty for any other item.
  std::span<CHSecsItem> children() { return {data(), isList() ? count() : 0}; }
  std::span<const CHSecsItem> children() const {
    return {const_cast<CHSecsItem *>(this)->data(), isList() ? count() : 0};
  }

  /// The elements as they lie in memory; empty for a list.
  ByteView bytes() const {
    if (storage_ == Storage::Inline)
      return {data_.inlined, count_ * elementSize(format_)};
    if (storage_ == Storage::Heap)
      return {data_.heap.bytes.get(), count_ * elementSize(format_)};
    return {};
  }
  /// The bytes of a text item as text.
  std::string_view text() const {
    return {reinterpret_cast<const char *>(bytes().data()), bytes().size()};
  }
  /// Element `index` (below count()) of an item whose element size is that of T.
  template <typename T> T element(size_t index) const {
    T value;
    std::memcpy(&value, bytes().data() + index * sizeof(T), sizeof(T));
    return value;
  }

  /// Deletes the data and all children: count 0, no data, no decode error or fault.
  void clear() {
    if (ownsData())
      destroyOwned();
    storage_ = Storage::None;
    count_ = 0;
    decodeError_ = false;
    wireFaults_ = 0;
  }
  /// Takes over another item's format, count, data and errors; the other, which may stand
  /// below this item, is left without data.
  void assignFrom(CHSecsItem &&other) noexcept;
  /// An independent copy of the item and all below it.
  CHSecsItem clone() const { return isList() ? cloneList() : cloneAlone(); }

  void setText(std::string_view text, uint8_t code);
  /// One element, converted from a double: integer formats keep the low bytes of the truncated
  /// value (of INT64_MIN beyond 64 bits), the 8-byte ones its low 32 bits.
  void setNumber(double value, uint8_t code);
  /// One element of format I8 or U8 from its decimal text.
  void setInt64(std::string_view text, uint8_t code);
  void setList(std::vector<CHSecsItem> children = {});

  /// Makes this an array of `count` elements, whose bytes the caller fills in.
  uint8_t *makeArray(uint8_t code, uint32_t count);
  /// Adds elements to an array, which must have data; `size` is a multiple of the element size.
  void appendBytes(const void *bytes, size_t size);
  template <typename T> void appendElement(T value) { appendBytes(&value, sizeof value); }
  /// Adds a child to a list.
  CHSecsItem &appendChild(CHSecsItem &&child);
  CHSecsItem &appendChild() { return data_.children.emplace_back(); }
  /// Makes room for that many children of a list.
  void reserveChildren(size_t count) { data_.children.reserve(count); }
  /// Gives back the room that a list made and did not use.
  void trimChildren();
  void removeChild(size_t index);

private:
  enum class Storage : uint8_t { None, Inline, Heap, Children };

  struct HeapArray {
    std::unique_ptr<uint8_t[]> bytes;
    size_t capacity;
  };
  static constexpr size_t kInlineSize = 24;
  union Data {
    Data() {}
    ~Data() {}
    uint8_t inlined[kInlineSize];
    HeapArray heap;
    std::vector<CHSecsItem> children;
  };

  // The item without its children: a list is left empty.
  CHSecsItem cloneAlone() const {
    CHSecsItem copy;
    if (ownsData())
      copy.copyOwned(*this);
    else
      std::memcpy(copy.data_.inlined, data_.inlined, kInlineSize);
    copy.count_ = count_;
    copy.format_ = format_;
    copy.storage_ = storage_;
    copy.decodeError_ = decodeError_;
    copy.wireFaults_ = wireFaults_;
    return copy;
  }
  CHSecsItem cloneList() const;
  void copyOwned(const CHSecsItem &other);
  CHSecsItem *data() { return isList() ? data_.children.data() : nullptr; }
  bool ownsData() const { return storage_ == Storage::Heap || storage_ == Storage::Children; }
  // Moves format, count and data out of `other` into this item, which has no data.
  void takeStorage(CHSecsItem &other) noexcept {
    if (other.ownsData())
      takeOwned(other);
    else
      std::memcpy(data_.inlined, other.data_.inlined, kInlineSize);
    format_ = other.format_;
    count_ = std::exchange(other.count_, 0);
    storage_ = std::exchange(other.storage_, Storage::None);
    decodeError_ = other.decodeError_;
    wireFaults_ = other.wireFaults_;
  }
  void takeOwned(CHSecsItem &other) noexcept;
  void destroyOwned();
  void destroyChildren();

  Data data_;
  uint32_t count_ = 0;
  uint8_t format_ = format::kList;
  Storage storage_ = Storage::None;
  bool decodeError_ = false;
  uint8_t wireFaults_ = 0;
};

/// Calls `visit(item)` for an item and everything below it, parents before their children.
template <typename Visit> void forEachItem(const CHSecsItem &root, Visit &&visit) {
  visit(root);
  if (root.children().empty())
    return;
  std::vector<std::span<const CHSecsItem>> open{root.children()};
  while (!open.empty()) {
    std::span<const CHSecsItem> &level = open.back();
    if (level.empty()) {
      open.pop_back();
      continue;
    }
    const CHSecsItem &item = level.front();
    level = level.subspan(1);
    visit(item);
    if (!item.children().empty())
      open.push_back(item.children());
  }
}

} // namespace velto
