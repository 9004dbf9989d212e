#include "secs2/item.h"

#include "base/text.h"
#include "secs2/item_value.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace velto {

static_assert(sizeof(CHSecsItem) == 32, "decoded messages are bounded by this size");

// What lies outside the item: an array on the heap, or children.
void CHSecsItem::takeOwned(CHSecsItem &other) noexcept {
  if (other.storage_ == Storage::Heap) {
    std::construct_at(&data_.heap, std::move(other.data_.heap));
    std::destroy_at(&other.data_.heap);
  } else {
    std::construct_at(&data_.children, std::move(other.data_.children));
    std::destroy_at(&other.data_.children);
  }
}

void CHSecsItem::destroyOwned() {
  if (storage_ == Storage::Heap)
    std::destroy_at(&data_.heap);
  else
    destroyChildren();
}

// A tree may be of any depth, the stack is not: nested child lists are taken out and deleted one
// after another instead of inside each other.
void CHSecsItem::destroyChildren() {
  std::vector<std::vector<CHSecsItem>> pending;
  const auto collect = [&pending](std::vector<CHSecsItem> &children) {
    for (CHSecsItem &child : children)
      if (!child.children().empty())
        pending.push_back(std::move(child.data_.children));
  };
  collect(data_.children);
  std::destroy_at(&data_.children);
  while (!pending.empty()) {
    std::vector<CHSecsItem> children = std::move(pending.back());
    pending.pop_back();
    collect(children);
  }
}

void CHSecsItem::assignFrom(CHSecsItem &&other) noexcept {
  CHSecsItem taken(std::move(other));
  clear();
  takeStorage(taken);
}

// A new array, or no children yet.
void CHSecsItem::copyOwned(const CHSecsItem &other) {
  if (other.isList())
    std::construct_at(&data_.children);
  else
    std::ranges::copy(other.bytes(), makeArray(other.format_, other.count_));
}

CHSecsItem CHSecsItem::cloneList() const {
  struct Lists {
    std::span<const CHSecsItem> from;
    CHSecsItem *to;
  };
  CHSecsItem copy = cloneAlone();
  std::vector<Lists> open;
  if (!children().empty())
    open.push_back({children(), &copy});
  while (!open.empty()) {
    const auto [from, to] = open.back();
    open.pop_back();
    to->reserveChildren(from.size());
    for (const CHSecsItem &child : from) {
      CHSecsItem &added = to->appendChild(child.cloneAlone());
      if (!child.children().empty())
        open.push_back({child.children(), &added});
    }
  }
  return copy;
}

void CHSecsItem::setText(std::string_view text, uint8_t code) {
  CHSecsItem copy; // the text may be this item's own
  std::ranges::copy(text, copy.makeArray(code, static_cast<uint32_t>(text.size())));
  assignFrom(std::move(copy));
}

void CHSecsItem::setNumber(double value, uint8_t code) {
  makeArray(code, 0);
  appendNumber(*this, value);
}

void CHSecsItem::setInt64(std::string_view text, uint8_t code) {
  makeArray(code, 0);
  if (code == format::kI8)
    appendElement(parseDecimal(text).value_or(0));
  else
    appendElement(parseUnsigned(text).value_or(0));
}

void CHSecsItem::setList(std::vector<CHSecsItem> children) {
  clear();
  format_ = format::kList;
  std::construct_at(&data_.children, std::move(children));
  storage_ = Storage::Children;
}

uint8_t *CHSecsItem::makeArray(uint8_t code, uint32_t count) {
  clear();
  format_ = code;
  count_ = count;
  const size_t size = count * elementSize(code);
  if (size <= kInlineSize) {
    storage_ = Storage::Inline;
    return data_.inlined;
  }
  std::construct_at(&data_.heap, HeapArray{std::make_unique_for_overwrite<uint8_t[]>(size), size});
  storage_ = Storage::Heap;
  return data_.heap.bytes.get();
}

void CHSecsItem::appendBytes(const void *bytes, size_t size) {
  assert(hasData() && !isList());
  const size_t unit = elementSize(format_);
  const size_t held = count_ * unit;
  const size_t needed = held + size;
  if (needed > (storage_ == Storage::Inline ? kInlineSize : data_.heap.capacity)) {
    const size_t capacity = std::max(needed, held * 2);
    auto grown = std::make_unique_for_overwrite<uint8_t[]>(capacity);
    std::ranges::copy(this->bytes(), grown.get());
    if (storage_ == Storage::Heap)
      std::destroy_at(&data_.heap);
    std::construct_at(&data_.heap, HeapArray{std::move(grown), capacity});
    storage_ = Storage::Heap;
  }
  uint8_t *start = storage_ == Storage::Inline ? data_.inlined : data_.heap.bytes.get();
  if (size != 0)
    std::memcpy(start + held, bytes, size);
  count_ += static_cast<uint32_t>(size / unit);
}

CHSecsItem &CHSecsItem::appendChild(CHSecsItem &&child) {
  assert(isList());
  return data_.children.emplace_back(std::move(child));
}

void CHSecsItem::trimChildren() {
  if (data_.children.capacity() / 2 > data_.children.size())
    data_.children.shrink_to_fit();
}

void CHSecsItem::removeChild(size_t index) {
  data_.children.erase(data_.children.begin() + static_cast<std::ptrdiff_t>(index));
}

} // namespace velto
