#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace velto {

// A packed text is one behind its length: a byte; from 255 on FF and 16 bits; from 65534 on FF,
// FFFF and 32 bits, little-endian. FF and FFFE would announce two-byte characters, which are not
// taken.

/// Appends a text, cut to 2^32 - 1 bytes.
void appendPacked(std::string &bytes, std::string_view text);

/// The bytes that appendPacked() appends.
size_t packedBytes(std::string_view text);

/// How a packed text is made up, in bytes; nothing when there is none.
struct PackedSize {
  size_t length = 0; ///< what states the length
  size_t text = 0;

  size_t all() const { return length + text; }
};

/// As packedSize(), for a text that may have a longer length.
PackedSize longPackedSize(std::string_view bytes);

/// That of the packed text at the front of `bytes`, all of which must be there.
inline PackedSize packedSize(std::string_view bytes) {
  constexpr uint8_t kLongText = 0xFF;
  const uint8_t size = bytes.empty() ? kLongText : static_cast<uint8_t>(bytes.front());
  if (size == kLongText || size >= bytes.size())
    return longPackedSize(bytes);
  return {1, size};
}

/// A number of texts in one piece of memory, so that an object of many short texts is small. The
/// memory may be another's until one of the texts is changed. Copies have memory of their own.
template <size_t Count> class PackedTexts {
public:
  PackedTexts() = default; ///< all empty
  /// Borrows, as borrow() does.
  explicit PackedTexts(std::string_view packed) : packed_(packed) {}
  PackedTexts(const PackedTexts &other) { own(other.packed_); }
  /// What the other has borrowed is copied: nobody told that lender of us.
  PackedTexts(PackedTexts &&other) noexcept { *this = std::move(other); }
  PackedTexts &operator=(const PackedTexts &other) {
    if (this != &other)
      own(other.packed_);
    return *this;
  }
  PackedTexts &operator=(PackedTexts &&other) noexcept {
    if (other.owned_ == nullptr)
      return *this = std::as_const(other);
    owned_ = std::move(other.owned_);
    packed_ = std::exchange(other.packed_, kEmpty);
    return *this;
  }

  /// Makes these the texts that lie elsewhere, Count packed ones that must outlive them there.
  void borrow(std::string_view packed) {
    owned_.reset();
    packed_ = packed;
  }

  /// Valid until a text is changed.
  std::string_view at(size_t index) const {
    std::string_view rest = packed_;
    for (; index > 0; --index)
      rest = rest.substr(packedSize(rest).all());
    const PackedSize size = packedSize(rest);
    return rest.substr(size.length, size.text);
  }
  void set(size_t index, std::string_view text) {
    std::string packed;
    packed.reserve(packed_.size() + text.size());
    for (size_t i = 0; i < Count; ++i)
      appendPacked(packed, i == index ? text : at(i));
    own(packed);
  }

  bool operator==(const PackedTexts &other) const {
    for (size_t i = 0; i < Count; ++i)
      if (at(i) != other.at(i))
        return false;
    return true;
  }

private:
  static constexpr std::array<char, Count> kNothing{};
  static constexpr std::string_view kEmpty{kNothing.data(), kNothing.size()};

  void own(std::string_view packed) {
    auto fresh = std::make_unique_for_overwrite<char[]>(packed.size());
    std::ranges::copy(packed, fresh.get());
    packed_ = {fresh.get(), packed.size()};
    owned_ = std::move(fresh);
  }

  std::unique_ptr<char[]> owned_; ///< null while the memory is another's
  std::string_view packed_ = kEmpty;
};

} // namespace velto
