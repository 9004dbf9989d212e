#pragma once

#include "gem/data/packed_texts.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velto {

// An object archive: a tree of objects written depth first, each introduced by its class. Numbers
// are little-endian. Classes and objects are numbered together from 1 in the order in which they
// are first written; a class is named once and from then on referred to by its number.

/// A class of objects. The schema tells versions of its fields apart.
struct ArchiveClass {
  std::string_view name;
  uint16_t schema = 1;
};

/// Writes an archive, or tells how long it would be.
class ArchiveWriter {
public:
  enum class Keep { All, Size };

  explicit ArchiveWriter(Keep keep = Keep::All) : keepsBytes_(keep == Keep::All) {}

  /// Introduces a new object; its fields are to follow.
  void object(const ArchiveClass &type);
  /// The number of objects or elements that are to follow.
  void count(size_t value);

  void field(uint8_t value);
  void field(bool value);
  void field(uint32_t value);
  void field(std::string_view text);
  void field(std::span<const uint32_t> numbers);
  template <size_t Count> void field(const PackedTexts<Count> &texts) {
    for (size_t i = 0; i < Count; ++i)
      field(texts.at(i));
  }
  template <typename... Fields> void fields(const Fields &...values) { (field(values), ...); }

  /// Bytes written so far.
  size_t size() const { return keepsBytes_ ? bytes_.size() : size_; }
  const std::string &bytes() const { return bytes_; }
  std::string take() { return std::move(bytes_); }

private:
  template <typename T> void number(T value);

  bool keepsBytes_;
  size_t size_ = 0; ///< while the bytes are not kept
  std::string bytes_;
  std::map<std::string, uint32_t, std::less<>> classes_; ///< their numbers
  uint32_t next_ = 1;
};

/// Reads an archive, and trusts nothing in it: counts and lengths are held against the bytes that
/// are left, and where an object has to stand, only a new object of the expected class is taken (no
/// object stands in two places). What is wrong ends the reading: from then on every value is 0 or
/// empty, and failed() tells.
class ArchiveReader {
public:
  /// `bytes` must outlive the reader.
  explicit ArchiveReader(std::string_view bytes)
      : at_(bytes.data()), end_(bytes.data() + bytes.size()) {}

  /// Enters a new object of the class of that name; its fields are to follow. Returns the schema
  /// that it was written with.
  uint16_t object(std::string_view name);
  /// A number of objects or elements, each of `smallest` bytes at the least.
  uint32_t count(size_t smallest);

  void field(uint8_t &value) { value = number<uint8_t>(); }
  void field(bool &value) { value = number<uint8_t>() != 0; }
  void field(uint32_t &value) { value = number<uint32_t>(); }
  void field(std::string &text);
  void field(std::vector<uint32_t> &numbers);
  /// Borrows the texts from the archive.
  template <size_t Count> void field(PackedTexts<Count> &texts) {
    const std::string_view packed = rest();
    size_t all = 0;
    for (size_t i = 0; i < Count; ++i) {
      const size_t size = packedSize(packed.substr(all)).all();
      if (size == 0)
        return fail();
      all += size;
    }
    texts.borrow(take(all));
  }
  template <typename... Fields> void fields(Fields &...values) { (field(values), ...); }

  bool failed() const { return failed_; }
  /// Whether all was read, and nothing failed.
  bool finished() const { return !failed_ && at_ == end_; }

private:
  struct KnownClass {
    uint32_t number;
    ArchiveClass type; ///< the name lies in the archive
  };

  /// Nothing is left to be read from then on.
  void fail() {
    failed_ = true;
    at_ = end_;
  }
  std::string_view rest() const { return {at_, static_cast<size_t>(end_ - at_)}; }
  std::string_view take(size_t size) {
    if (size > rest().size()) {
      fail();
      return {};
    }
    return {std::exchange(at_, at_ + size), size};
  }
  template <typename T> T number() {
    const std::string_view bytes = take(sizeof(T));
    T value = 0;
    for (size_t i = 0; i < bytes.size(); ++i)
      value = static_cast<T>(value | T{static_cast<uint8_t>(bytes[i])} << (8 * i));
    return value;
  }
  const ArchiveClass *readClass();
  const ArchiveClass *findClass(uint32_t number) const;

  const char *at_;
  const char *end_;
  std::vector<KnownClass> classes_; ///< in order of number
  uint32_t next_ = 1;
  bool failed_ = false;
};

} // namespace velto
