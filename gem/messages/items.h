#pragma once

#include "base/text.h"
#include "secs2/edition.h"
#include "secs2/item_codec.h"
#include "secs2/item_value.h"
#include "secs2/message.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velto {

// What the models put into message bodies. They are built as items, so that a text arrives byte for
// byte whatever it holds.

inline CHSecsItem numberItem(uint32_t value, uint8_t code = format::kU4) {
  CHSecsItem item;
  item.setNumber(value, code);
  return item;
}

inline CHSecsItem textItem(std::string_view text) {
  CHSecsItem item;
  item.setText(text, format::kAscii);
  return item;
}

/// A name of the equipment, which no byte 0 belongs to.
inline CHSecsItem nameItem(std::string_view name) {
  if (name.find('\0') == std::string_view::npos)
    return textItem(name);
  std::string text(name);
  std::erase(text, '\0');
  return textItem(text);
}

/// An array of no elements.
inline CHSecsItem emptyItem(uint8_t code) {
  CHSecsItem item;
  item.makeArray(code, 0);
  return item;
}

template <typename... Items> CHSecsItem listItem(Items &&...items) {
  std::vector<CHSecsItem> children;
  children.reserve(sizeof...(items));
  (children.push_back(std::forward<Items>(items)), ...);
  CHSecsItem list;
  list.setList(std::move(children));
  return list;
}

/// The encoded bytes of an item; more than a message carries when it cannot be encoded.
inline size_t bytesOf(const CHSecsItem &item) {
  return item.isList() ? EncodedItemSize(item).value_or(CHSecsMessage::kMaxEncodedSize)
                       : EncodedLeafSize(item);
}

/// Whether a message can carry that body.
inline bool fitsMessage(const CHSecsItem &body) {
  return bytesOf(body) <= CHSecsMessage::kMaxEncodedSize - CHSecsHeader::kSize;
}

/// Whether no message can carry a list of that many items which take `bytesOfEach` at least.
inline bool isTooMany(size_t count, size_t bytesOfEach) {
  return count > CHSecsMessage::kMaxEncodedSize / bytesOfEach;
}

/// Stands for an answer that is too long before it is made: no message can carry it.
inline CHSecsItem tooLongItem() {
  return textItem(std::string(CHSecsMessage::kMaxEncodedSize, ' '));
}

/// Bytes that a list of up to 255 items takes besides them (SEMI E5 9.2): format and count.
inline constexpr size_t kShortListHead = 2;

/// Collects the items of a list as long as one message can carry them: a short request may name a
/// long value any number of times. Where they become too many the list has one too much, so that it
/// does not fit a message.
class ItemCollector {
public:
  /// `others`: bytes of the message's body beside the list.
  explicit ItemCollector(size_t others = 0)
      : others_(CHSecsHeader::kSize + others), size_(others_) {}

  void reserve(size_t count) { items_.reserve(count); }
  /// False when no message can carry the list any more.
  bool add(CHSecsItem &&item) {
    const size_t size = bytesOf(item);
    return add(std::move(item), size);
  }
  /// The same with the encoded bytes of the item, for who knows them.
  bool add(CHSecsItem &&item, size_t size) {
    size_ += size;
    items_.push_back(std::move(item));
    return size_ + headSize() <= CHSecsMessage::kMaxEncodedSize;
  }
  /// The encoded bytes of the list.
  size_t listSize() const { return size_ - others_ + headSize(); }
  CHSecsItem list() {
    CHSecsItem item;
    item.setList(std::move(items_));
    return item;
  }

private:
  size_t headSize() const {
    const size_t count = items_.size();
    return kShortListHead + (count > 0xFF ? 1 : 0) + (count > 0xFFFF ? 1 : 0);
  }

  std::vector<CHSecsItem> items_;
  size_t others_;
  size_t size_; ///< of the message but for the list's head
};

// What the models read from message bodies.

/// Child `number` (from 1) of a list; an item without data when there is none.
inline const CHSecsItem &childOf(const CHSecsItem &item, size_t number) {
  static const CHSecsItem kNothing;
  const auto children = item.children();
  return number == 0 || number > children.size() ? kNothing : children[number - 1];
}

/// An identifier or code in whatever format it came: the low 32 bits of an element in decimal; 0
/// when it is no number.
inline uint32_t numberOf(const CHSecsItem &item, size_t index = 0) {
  if (item.count() == 0)
    return 0;
  if (index < item.count()) {
    switch (item.format()) { // the usual ones, without a text
    case format::kU1:
      return item.element<uint8_t>(index);
    case format::kU2:
      return item.element<uint16_t>(index);
    case format::kU4:
      return item.element<uint32_t>(index);
    default:
      break;
    }
  }
  return static_cast<uint32_t>(decimal32(valueText(item, ValueForm::Decimal, index)));
}

/// The number that element `index` of an item is an identifier by. Nothing when it can be none of
/// ours, which are U4: it is no whole number, negative, too large, or a text of more than digits.
inline std::optional<uint32_t> identifierOf(const CHSecsItem &item, size_t index) {
  const uint8_t code = item.format();
  if (index < item.count() && (code == format::kU1 || code == format::kU2 || code == format::kU4))
    return numberOf(item, index);
  const std::string digits = valueText(item, ValueForm::Decimal, index);
  uint32_t number = 0;
  const char *last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, number);
  return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

/// The same for an item that is one identifier.
inline std::optional<uint32_t> identifierOf(const CHSecsItem &item) {
  return item.format() == format::kAscii || item.count() == 1 ? identifierOf(item, 0)
                                                              : std::nullopt;
}

/// The same by an edition of the standard: the early one has a decimal conversion for whatever
/// comes, so that there is always a number.
inline std::optional<uint32_t> identifierOf(const CHSecsItem &item, E5Edition edition) {
  return edition == E5Edition::Early ? numberOf(item) : identifierOf(item);
}

/// The identifiers that a request names: the children of a list, or the elements of a single array.
/// They may be millions, so that they are looked up where they stand.
class NamedIdentifiers {
public:
  NamedIdentifiers(const CHSecsItem &item, E5Edition edition) : item_(item), edition_(edition) {}

  size_t size() const { return item_.count(); }
  bool empty() const { return size() == 0; }
  std::optional<uint32_t> operator[](size_t index) const {
    if (item_.isList())
      return identifierOf(item_.children()[index], edition_);
    return edition_ == E5Edition::Early ? numberOf(item_, index) : identifierOf(item_, index);
  }
  /// One as an answer repeats it: the number; what can be none as its text.
  CHSecsItem item(size_t index) const {
    if (const auto number = (*this)[index])
      return numberItem(*number);
    return textItem(item_.isList() ? valueText(item_.children()[index], ValueForm::Decimal)
                                   : valueText(item_, ValueForm::Decimal, index));
  }

private:
  const CHSecsItem &item_;
  E5Edition edition_;
};

/// The same to be kept, without those that can be none.
inline std::vector<uint32_t> numbersOf(const NamedIdentifiers &named) {
  std::vector<uint32_t> numbers;
  numbers.reserve(named.size());
  for (size_t i = 0; i < named.size(); ++i)
    if (const auto number = named[i])
      numbers.push_back(*number);
  return numbers;
}

} // namespace velto
