#pragma once

#include "secs2/edition.h"
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
/// length. What a data item is depends on the edition of the standard.
struct ItemRule {
  /// Beyond format and count. A time is of 12 or 16 digits, an extended one also in the form of
  /// ISO 8601 that SEMI E5 allows: YYYY-MM-DDThh:mm:ss.s, and Z or the offset from UTC.
  enum class Check : uint8_t { None, Time, ExtendedTime, NotZero };

  static constexpr uint32_t kAnyCount = 0xFFFFFFFF;

  uint64_t formats = 0; ///< one bit per format code
  uint32_t minimum = 0; ///< values: elements, characters, children
  uint32_t maximum = kAnyCount;
  Check check = Check::None;
  std::string_view name = {}; ///< as it is written: "@MDLN", "u*|a"; empty: by format and count

  /// Without `additions`, "#N", "@ITEM", "@NONE" and "@NAK" are texts like any other.
  static ItemRule parse(std::string_view text, E5Edition edition, bool additions = true);
  /// A text that parse() reads back as this rule.
  std::string text() const;
  bool matches(const CHSecsItem &item) const { return breach(item) == Breach::None; }

  /// What an item breaks of the rule, in the order in which it is looked at.
  enum class Breach : uint8_t { None, Format, TooShort, TooLong, Value };
  Breach breach(const CHSecsItem &item) const;
  /// What may stand there, for people: "MDLN (a)", "u*|a".
  std::string expected() const;
  /// The name of what the rule is about, for people: "MDLN", "text", "item".
  std::string subject() const;

  bool operator==(const ItemRule &) const = default;
};

} // namespace velto
