#pragma once

#include "secs2/item.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace velto {

/// What kind of item may stand at a place of a message: the formats, how many values, and for a few
/// data items of SEMI E5 what the values must be.
///
/// Written as alternatives of formats ("u*|a": any unsigned integer or ASCII), as a length of ASCII
/// text ("=6" exactly six characters, "<41" fewer than 41), or as a data item ("@TIME"). "#N"
/// behind alternatives asks for exactly N values. "@ITEM" is any item, "@NONE" one without values
/// or children, "@NAK" a binary byte other than 0. Any other text, and none, is ASCII of any
/// length.
struct ItemRule {
  /// Beyond format and count.
  enum class Check : uint8_t { None, Time, Timestamp, NotZero };

  static constexpr uint32_t kAnyCount = 0xFFFFFFFF;

  uint64_t formats = 0; ///< one bit per format code
  uint32_t minimum = 0; ///< values: elements, characters, children
  uint32_t maximum = kAnyCount;
  Check check = Check::None;

  /// Without `additions`, "#N", "@ITEM", "@NONE" and "@NAK" are texts like any other.
  static ItemRule parse(std::string_view text, bool additions = true);
  /// A text that parse() reads back as this rule.
  std::string text() const;
  bool matches(const CHSecsItem &item) const;

  bool operator==(const ItemRule &) const = default;
};

} // namespace velto
