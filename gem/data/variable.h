#pragma once

#include "gem/data/packed_texts.h"
#include "gem/data/roles.h"
#include "secs2/item.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// Kinds of variables (SEMI E30); a mask where any of several will do.
enum VariableKind : uint8_t {
  EquipmentConstant = 1,
  StatusVariable = 2,
  DataVariable = 4,
};
inline constexpr uint8_t kAnyKind = 7;

/// "ECID", "SVID", "DVID" or "Unknown".
const char *variableKindLabel(uint8_t kind);

/// The name of an item type of variables: "List", "Ascii", "DWORD" and so on; "Unknown" outside
/// VeltoSecsIIType.
const char *variableTypeName(uint8_t nodeType);

/// Whether an SML text states one item, as the value of a variable does.
bool isItemSml(std::string_view sml);
/// The item that an SML text states, an empty list when it states none: what reports and replies
/// hold of a variable.
CHSecsItem itemFromSml(std::string_view sml);
/// The SML of a list's items on one line.
std::string listText(const CHSecsItem &list);
/// The same as a value text. Nothing when SML cannot state the items exactly, such as a NaN or the
/// seventh decimal of a real number.
std::optional<std::string> listValue(const CHSecsItem &list);

/// Keeps what a short value parsed to until the value changes. Long values are not kept, which
/// bounds what a variable takes. Copying takes nothing over.
class ParsedValue {
public:
  ParsedValue() = default;
  ParsedValue(const ParsedValue &) {}
  ParsedValue(ParsedValue &&) = default;
  ParsedValue &operator=(const ParsedValue &) {
    forget();
    return *this;
  }
  ParsedValue &operator=(ParsedValue &&) = default;
  bool operator==(const ParsedValue &) const { return true; }

  /// Whether a value is short enough to be kept.
  static bool keeps(std::string_view sml) { return sml.size() <= kMaxSize; }
  /// What is kept; null when nothing is.
  const CHSecsItem *get() const { return item_.get(); }
  const CHSecsItem &keep(CHSecsItem item) {
    item_ = std::make_unique<CHSecsItem>(std::move(item));
    return *item_;
  }
  /// To be called when the value changes.
  void forget() { item_.reset(); }

private:
  static constexpr size_t kMaxSize = 32;

  std::unique_ptr<CHSecsItem> item_;
};

enum class Bound { Minimum, Maximum, Default };

/// A variable of the equipment. Its value is the SML of one item, which goes into reports and
/// replies as it stands.
class CHGemEventVid {
public:
  uint32_t vid = 0;
  uint8_t kind = StatusVariable;
  uint8_t nodeType = SecsDWord; ///< VeltoSecsIIType of the value
  uint8_t role = kNoRole;       ///< to be changed through the list, which finds variables by role

  uint32_t number() const { return vid; }

  // Texts; valid until one of the variable's texts is changed.
  std::string_view minimum() const { return texts_.at(Minimum); } ///< value text; empty: no bound
  std::string_view maximum() const { return texts_.at(Maximum); }
  std::string_view defaultValue() const { return texts_.at(Default); }
  std::string_view unit() const { return texts_.at(Unit); }
  std::string_view description() const { return texts_.at(Description); }
  std::string_view rawValue() const { return texts_.at(RawValue); } ///< at first "<u4 0>"
  void setMinimum(std::string_view text) { texts_.set(Minimum, text); }
  void setMaximum(std::string_view text) { texts_.set(Maximum, text); }
  void setDefaultValue(std::string_view text) { texts_.set(Default, text); }
  void setUnit(std::string_view text) { texts_.set(Unit, text); }
  void setDescription(std::string_view text) { texts_.set(Description, text); }
  void setRawValue(std::string_view sml) {
    texts_.set(RawValue, sml);
    parsed_.forget();
  }
  /// All of them in the order from minimum to rawValue, as the data file has them.
  using Texts = PackedTexts<6>;
  Texts &texts() {
    parsed_.forget();
    return texts_;
  }
  const Texts &texts() const { return texts_; }

  /// Whether the value is made of numbers: of any type but lists, texts and unknown ones.
  bool isNumeric() const;
  /// The value as text; empty when rawValue is no SML item.
  std::string GetValue() const;
  /// The number that the value begins with, modulo 2^32; 0 when it is none.
  uint32_t GetNumber() const;
  /// Makes rawValue an item of nodeType from a value text; always true (an unknown type leaves it
  /// as it is). A number's text that SML does not take becomes one number, as
  /// CHSecsMessage::SetNodeValue() reads it. Of what SML takes beside numbers (comments, runs of
  /// blanks) nothing is kept. NaN and what is infinite in the type become 0. A negative number is 0
  /// in an unsigned type, in Boolean the byte of the same bits, which is true. A whole number keeps
  /// its value in a real type, whatever its size; beyond 64 bits it is taken modulo in others.
  bool SetValue(std::string_view text);
  /// Whether all numbers of a value text are within minimum and maximum, compared as nodeType asks.
  /// NaN, infinite numbers and a text with a byte 0, which SML can't state, never are.
  bool IsInRange(std::string_view text) const;
  /// Whether the type has what a value text says, so that SetValue() would lose nothing of it: its
  /// numbers, each within the range of the type; for a list the SML of items. An empty text is an
  /// item without elements.
  bool CanHold(std::string_view text) const;
  /// A bound as the SML of an item of nodeType; empty for an unknown type.
  std::string FormatBound(Bound bound) const;
  /// The item that rawValue states, parsed already: reports go out often. Null for a long value;
  /// itemFromSml() makes its item.
  const CHSecsItem *parsedValue() const;

  bool operator==(const CHGemEventVid &) const = default;

private:
  enum TextIndex : uint8_t { Minimum, Maximum, Default, Unit, Description, RawValue };

  Texts texts_{std::string_view("\0\0\0\0\0\6<u4 0>", 12)};
  mutable ParsedValue parsed_;
};

/// The items of variables for one message. It may name the same variable any number of times; a
/// value too long to be kept by its variable is parsed once. The variables must not change
/// meanwhile.
class ReportedValues {
public:
  CHSecsItem item(const CHGemEventVid &variable);

private:
  std::map<const CHGemEventVid *, CHSecsItem> long_;
};

} // namespace velto
