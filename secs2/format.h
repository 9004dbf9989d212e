#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace velto {

/// Item format codes of SEMI E5 9.3: the upper six bits of an item's format byte.
namespace format {
inline constexpr uint8_t kList = 0;
inline constexpr uint8_t kBinary = 8;
inline constexpr uint8_t kBoolean = 9;
inline constexpr uint8_t kAscii = 16;
inline constexpr uint8_t kJis = 17;
inline constexpr uint8_t kMbcs = 18; ///< text with a two-byte character-set code in front
inline constexpr uint8_t kI8 = 24;
inline constexpr uint8_t kI1 = 25;
inline constexpr uint8_t kI2 = 26;
inline constexpr uint8_t kI4 = 28;
inline constexpr uint8_t kF8 = 32;
inline constexpr uint8_t kF4 = 36;
inline constexpr uint8_t kU8 = 40;
inline constexpr uint8_t kU1 = 41;
inline constexpr uint8_t kU2 = 42;
inline constexpr uint8_t kU4 = 44;
} // namespace format

/// Item types as the controls number them.
enum VeltoSecsIIType : int16_t {
  SecsInvalid = 0,
  SecsList = 1,
  SecsBinary = 2,
  SecsBoolean = 3,
  SecsAscii = 4,
  SecsJis = 5,
  SecsLong8 = 6,
  SecsChar = 7,
  SecsShort = 8,
  SecsLong = 9,
  SecsDouble = 10,
  SecsFloat = 11,
  SecsDWord8 = 12,
  SecsByte = 13,
  SecsWord = 14,
  SecsDWord = 15,
  SecsAscii2 = 16,
};

/// How the elements of a format are read.
enum class ElementKind : uint8_t { Unknown, List, Binary, Boolean, Text, Signed, Unsigned, Real };

/// One row of the table of formats.
struct FormatInfo {
  uint8_t code;
  VeltoSecsIIType type;
  ElementKind kind;
  const char *lowerTag; ///< SML tag that is printed
  const char *upperTag;
  const char *displayName;
};

/// The row of a format code; codes that the standard does not name share one row of type
/// SecsInvalid and tag "<?".
const FormatInfo &formatInfo(uint8_t code);

namespace detail {
inline constexpr auto kElementSizes = [] {
  std::array<uint8_t, 64> sizes{};
  sizes.fill(1);
  for (const uint8_t code : {format::kI8, format::kF8, format::kU8})
    sizes[code] = 8;
  for (const uint8_t code : {format::kI4, format::kF4, format::kU4})
    sizes[code] = 4;
  for (const uint8_t code : {format::kI2, format::kU2})
    sizes[code] = 2;
  return sizes;
}();
} // namespace detail

/// Bytes of one element; 1 for unknown codes.
constexpr size_t elementSize(uint8_t code) {
  return code < detail::kElementSizes.size() ? detail::kElementSizes[code] : 1;
}
/// SecsInvalid for unknown codes.
inline VeltoSecsIIType typeOf(uint8_t code) { return formatInfo(code).type; }
/// The format code of a type; 0 for types outside SecsList to SecsAscii2.
uint8_t formatOf(int type);

enum class TypeNameMode { LowerTag = 0, UpperTag = 1, Display = 2 };
/// The SML tag or the display name; "<?" for unknown codes in every mode.
const char *TypeName(uint8_t code, TypeNameMode mode);

} // namespace velto
