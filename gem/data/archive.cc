#include "gem/data/archive.h"

#include <algorithm>
#include <array>

namespace velto {

namespace {

// What stands before an object. A class or object number that does not fit below kLongForm follows
// kLongForm with 32 bits.
constexpr uint16_t kNewClass = 0xFFFF;
constexpr uint16_t kKnownClass = 0x8000; ///< or the number of the class
constexpr uint16_t kLongForm = 0x7FFF;
constexpr uint32_t kLongKnownClass = 0x80000000;

// A count that 16 bits can't hold is announced by their greatest number.
constexpr uint16_t kLongCount = 0xFFFF;

} // namespace

template <typename T> void ArchiveWriter::number(T value) {
  if (!keepsBytes_) {
    size_ += sizeof(T);
    return;
  }
  std::array<char, sizeof(T)> bytes;
  for (size_t i = 0; i < sizeof(T); ++i)
    bytes[i] = static_cast<char>(value >> (8 * i));
  bytes_.append(bytes.data(), bytes.size());
}

void ArchiveWriter::object(const ArchiveClass &type) {
  const auto known = classes_.find(type.name);
  if (known == classes_.end()) {
    number(kNewClass);
    number(type.schema);
    number(static_cast<uint16_t>(type.name.size()));
    size_ += type.name.size();
    if (keepsBytes_)
      bytes_ += type.name;
    classes_.emplace(type.name, next_++);
  } else if (known->second < kLongForm) {
    number(static_cast<uint16_t>(kKnownClass | known->second));
  } else {
    number(kLongForm);
    number(kLongKnownClass | known->second);
  }
  ++next_; // the object's own
}

void ArchiveWriter::count(size_t value) {
  if (value < kLongCount) {
    number(static_cast<uint16_t>(value));
    return;
  }
  number(kLongCount);
  number(static_cast<uint32_t>(value));
}

void ArchiveWriter::field(std::string_view text) {
  if (keepsBytes_)
    appendPacked(bytes_, text);
  else
    size_ += packedBytes(text);
}

void ArchiveWriter::field(uint8_t value) { number(value); }
void ArchiveWriter::field(bool value) { number(static_cast<uint8_t>(value)); }
void ArchiveWriter::field(uint32_t value) { number(value); }

void ArchiveWriter::field(std::span<const uint32_t> numbers) {
  count(numbers.size());
  for (const uint32_t value : numbers)
    number(value);
}

uint16_t ArchiveReader::object(std::string_view name) {
  const ArchiveClass *type = readClass();
  if (failed_ || type == nullptr || type->name != name) {
    fail();
    return 0;
  }
  ++next_; // the object's own
  return type->schema;
}

// The class of the new object that stands next; null when there is no object, or an earlier one.
const ArchiveClass *ArchiveReader::readClass() {
  const auto tag = number<uint16_t>();
  if (tag == kNewClass) {
    const auto schema = number<uint16_t>();
    classes_.push_back({next_++, {take(number<uint16_t>()), schema}});
    return &classes_.back().type;
  }
  if (tag == kLongForm) {
    const auto longTag = number<uint32_t>();
    return (longTag & kLongKnownClass) != 0 ? findClass(longTag & ~kLongKnownClass) : nullptr;
  }
  return (tag & kKnownClass) != 0 ? findClass(tag & ~kKnownClass & 0xFFFF) : nullptr;
}

const ArchiveClass *ArchiveReader::findClass(uint32_t number) const {
  if (!classes_.empty() && classes_.back().number == number) // as most are
    return &classes_.back().type;
  const auto found = std::ranges::lower_bound(classes_, number, {}, &KnownClass::number);
  return found != classes_.end() && found->number == number ? &found->type : nullptr;
}

uint32_t ArchiveReader::count(size_t smallest) {
  uint32_t value = number<uint16_t>();
  if (value == kLongCount)
    value = number<uint32_t>();
  if (value > rest().size() / smallest)
    fail();
  return failed_ ? 0 : value;
}

void ArchiveReader::field(std::string &text) {
  const PackedSize size = packedSize(rest());
  text = rest().substr(size.length, size.text);
  if (size.all() == 0)
    fail();
  take(size.all());
}

void ArchiveReader::field(std::vector<uint32_t> &numbers) {
  const uint32_t size = count(sizeof(uint32_t));
  numbers.clear();
  numbers.reserve(size);
  for (uint32_t i = 0; i < size; ++i)
    numbers.push_back(number<uint32_t>());
}

} // namespace velto
