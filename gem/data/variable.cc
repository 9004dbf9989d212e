#include "gem/data/variable.h"

#include "base/text.h"
#include "gem/data/number_text.h"
#include "gem/messages/items.h"
#include "secs2/item_value.h"
#include "secs2/reply_text.h"
#include "secs2/sml_parser.h"
#include "secs2/sml_printer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

namespace velto {

namespace {

// The kind of a type's elements; Unknown outside the known types.
ElementKind kindOf(uint8_t nodeType) {
  if (nodeType < SecsList || nodeType > SecsAscii2)
    return ElementKind::Unknown;
  return formatInfo(formatOf(nodeType)).kind;
}

bool isNumber(uint8_t nodeType) {
  const ElementKind kind = kindOf(nodeType);
  return kind != ElementKind::Unknown && kind != ElementKind::List && kind != ElementKind::Text;
}

// The SML of an item from its value text; empty for an unknown type.
std::string itemSml(uint8_t nodeType, std::string_view text) {
  std::string sml = TypeName(formatOf(nodeType), TypeNameMode::LowerTag);
  switch (kindOf(nodeType)) {
  case ElementKind::Unknown:
    return "";
  case ElementKind::List:
    return sml.append(" ").append(text).append("}");
  case ElementKind::Text:
    return sml.append("'").append(smlQuoted(text)).append("'>");
  default:
    return sml.append(" ").append(text).append(">");
  }
}

// Whether all numbers of a text are finite in a real type.
bool isFinite(uint8_t nodeType, std::string_view text) {
  const double largest = nodeType == SecsFloat ? double{std::numeric_limits<float>::max()}
                                               : std::numeric_limits<double>::max();
  return allNumbers(
      text, [largest](std::string_view word) { return std::abs(parseReal(word)) <= largest; });
}

// The value text that makes the same item of numbers in SML, which has no NaN and nothing infinite
// (0 here) and no negative Boolean.
std::string numbersText(uint8_t nodeType, const CHSecsItem &item) {
  const ElementKind kind = kindOf(nodeType);
  if (kind != ElementKind::Boolean && kind != ElementKind::Real)
    return valueText(item, ValueForm::Decimal);
  std::string out;
  for (size_t i = 0; i < item.count(); ++i) {
    if (i != 0)
      out += ' ';
    if (kind == ElementKind::Boolean) {
      appendDecimal(out, uint64_t{item.element<uint8_t>(i)});
      continue;
    }
    const std::string number = valueText(item, ValueForm::Decimal, i);
    out += isFinite(nodeType, number) ? number : "0";
  }
  return out;
}

// What a value text says once it has been the value of one item.
std::string normalized(uint8_t nodeType, std::string_view text) {
  CHSecsMessage message;
  message.SetNodeValue(nodeType, text);
  return isNumber(nodeType) ? numbersText(nodeType, message.root) : message.GetNodeValue(true);
}

std::optional<CHSecsItem> parseItem(std::string_view sml) {
  CHSecsMessage message;
  if (!CHSmlParser().Parse(message, sml) || !message.root.hasData())
    return std::nullopt;
  return std::move(message.root);
}

bool isSignedBoolean(uint8_t nodeType, std::string_view text) {
  return kindOf(nodeType) == ElementKind::Boolean && text.find('-') != std::string_view::npos;
}

// The numbers that a value text states in SML; nothing when it states none. SML alone would make
// false of a negative number.
std::optional<CHSecsItem> parseNumbers(uint8_t nodeType, std::string_view text) {
  if (!isSignedBoolean(nodeType, text))
    return parseItem(itemSml(nodeType, text));
  const std::optional<CHSecsItem> wide = parseItem(itemSml(SecsLong8, text));
  if (!wide)
    return std::nullopt;
  CHSecsItem bytes;
  uint8_t *out = bytes.makeArray(formatOf(nodeType), wide->count());
  for (size_t i = 0; i < wide->count(); ++i)
    out[i] = static_cast<uint8_t>(wide->element<uint64_t>(i));
  return bytes;
}

// Whether a text of that many numbers may stand in the SML as it is: as people write numbers. All
// else (comments, leading zeros) may be of any length.
bool isPlain(uint8_t nodeType, std::string_view text, size_t count) {
  constexpr size_t kMostPerNumber = 32;
  constexpr std::string_view kCharacters =
      "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ+.- ";
  return text.size() <= count * kMostPerNumber &&
         text.find_first_not_of(kCharacters) == std::string_view::npos &&
         text.find("  ") == std::string_view::npos && !isSignedBoolean(nodeType, text) &&
         (kindOf(nodeType) != ElementKind::Real || isFinite(nodeType, text));
}

std::string numbersSml(uint8_t nodeType, std::string_view given) {
  const std::string text =
      kindOf(nodeType) == ElementKind::Real ? wholeNumbersAsReal(given) : std::string(given);
  const std::optional<CHSecsItem> item = parseNumbers(nodeType, text);
  if (!item)
    return itemSml(nodeType, normalized(nodeType, text));
  return itemSml(nodeType,
                 isPlain(nodeType, text, item->count()) ? text : numbersText(nodeType, *item));
}

// What a word says in decimal, be it written as people do or as SML allows it too; nothing when it
// is no number.
std::optional<std::string> decimalOf(std::string_view word) {
  if (isDecimalNumber(word))
    return std::string(word);
  const std::optional<CHSecsItem> read = parseItem(itemSml(SecsLong8, word));
  return read && read->count() == 1 ? std::optional(valueText(*read, ValueForm::Decimal))
                                    : std::nullopt;
}

// Whether the type has what a word says.
bool hasNumber(uint8_t nodeType, std::string_view word) {
  const std::optional<std::string> decimal = decimalOf(word);
  return decimal && (kindOf(nodeType) == ElementKind::Real ? isFinite(nodeType, *decimal)
                                                           : isInIntegerType(nodeType, *decimal));
}

// Whether the type has all numbers of a text as they stand. Several have to be a list of numbers in
// SML: all but the first would be lost else.
bool hasNumbers(uint8_t nodeType, std::string_view text) {
  size_t count = 0;
  return allNumbers(text,
                    [&](std::string_view word) {
                      ++count;
                      return hasNumber(nodeType, word);
                    }) &&
         (count < 2 || parseNumbers(nodeType, text));
}

Bytes encoded(const CHSecsItem &item) {
  Bytes bytes(EncodedItemSize(item).value_or(0));
  if (!bytes.empty())
    EncodeItem(item, bytes.data());
  return bytes;
}

uint32_t unsignedValue(std::string_view text) { return static_cast<uint32_t>(decimal32(text)); }

// An empty bound is none; there has to be one. All numbers of the text are compared, a text without
// any as 0. What cannot be compared (not a number) is outside any bound.
template <typename Convert>
bool isWithin(std::string_view text, std::string_view minimum, std::string_view maximum,
              Convert convert) {
  const auto least = convert(minimum);
  const auto most = convert(maximum);
  const auto holds = [&](std::string_view word) {
    const auto value = convert(decimalOf(word).value_or(""));
    return (minimum.empty() || value >= least) && (maximum.empty() || value <= most);
  };
  return trim(text).empty() ? holds("0") : allNumbers(text, holds);
}

} // namespace

const char *variableKindLabel(uint8_t kind) {
  switch (kind) {
  case EquipmentConstant:
    return "ECID";
  case StatusVariable:
    return "SVID";
  case DataVariable:
    return "DVID";
  default:
    return "Unknown";
  }
}

const char *variableTypeName(uint8_t nodeType) {
  switch (nodeType) {
  case SecsInvalid:
    return "Invalid";
  case SecsLong8:
    return "I8";
  case SecsDWord8:
    return "U8";
  default:
    return nodeType > SecsAscii2 ? "Unknown" : TypeName(formatOf(nodeType), TypeNameMode::Display);
  }
}

// Printed a line an item, of which the first and the last are the braces of the list itself.
std::string listText(const CHSecsItem &list) {
  const Bytes bytes = encoded(list);
  SmlItemPlace place;
  std::string lines;
  RenderItems(lines, bytes, place, nullptr, 0);
  std::string text;
  for (std::string_view rest = lines; !rest.empty();) {
    const size_t end = std::min(rest.find("\r\n"), rest.size());
    text.append(text.empty() ? "" : " ").append(trim(rest.substr(0, end)));
    rest.remove_prefix(std::min(end + 2, rest.size()));
  }
  return std::string(text.size() < 2 ? ""
                                     : trim(std::string_view(text).substr(1, text.size() - 2)));
}

std::optional<std::string> listValue(const CHSecsItem &list) {
  std::string text = listText(list);
  const std::optional<CHSecsItem> read = parseItem(itemSml(SecsList, text));
  return read && encoded(*read) == encoded(list) ? std::optional(std::move(text)) : std::nullopt;
}

bool isItemSml(std::string_view sml) { return parseItem(sml).has_value(); }

CHSecsItem itemFromSml(std::string_view sml) {
  if (std::optional<CHSecsItem> item = parseItem(sml))
    return std::move(*item);
  CHSecsItem none;
  none.setList();
  return none;
}

const CHSecsItem *CHGemEventVid::parsedValue() const {
  if (const CHSecsItem *item = parsed_.get())
    return item;
  const std::string_view sml = rawValue();
  return ParsedValue::keeps(sml) ? &parsed_.keep(itemFromSml(sml)) : nullptr;
}

std::string CHGemEventVid::GetValue() const {
  const CHSecsItem *item = parsedValue();
  return item != nullptr ? valueText(*item, ValueForm::Decimal)
                         : valueText(itemFromSml(rawValue()), ValueForm::Decimal);
}

uint32_t CHGemEventVid::GetNumber() const {
  const CHSecsItem *item = parsedValue();
  return item != nullptr ? numberOf(*item) : numberOf(itemFromSml(rawValue()));
}

bool CHGemEventVid::SetValue(std::string_view text) {
  std::string sml = isNumber(nodeType) ? numbersSml(nodeType, text) : itemSml(nodeType, text);
  if (!sml.empty())
    setRawValue(sml);
  return true;
}

bool CHGemEventVid::IsInRange(std::string_view text) const {
  const bool unbound = minimum().empty() && maximum().empty();
  switch (kindOf(nodeType)) {
  case ElementKind::Binary:
  case ElementKind::Boolean:
    return unbound || isWithin(text, minimum(), maximum(), unsignedValue);
  case ElementKind::Signed:
  case ElementKind::Unsigned:
    return unbound || isWithin(text, minimum(), maximum(), orderedWhole);
  case ElementKind::Real:
    return isFinite(nodeType, text) && (unbound || isWithin(text, minimum(), maximum(), parseReal));
  case ElementKind::Text:
    return text.find('\0') == std::string_view::npos;
  default:
    return true;
  }
}

bool CHGemEventVid::isNumeric() const { return isNumber(nodeType); }

// A number alone would be the count of a list without items.
bool CHGemEventVid::CanHold(std::string_view text) const {
  if (isNumber(nodeType))
    return hasNumbers(nodeType, text);
  const std::optional<CHSecsItem> item = parseItem(itemSml(nodeType, text));
  return item && (!item->isList() || item->count() > 0 || trim(text).empty());
}

std::string CHGemEventVid::FormatBound(Bound bound) const {
  const std::string_view text = bound == Bound::Minimum   ? minimum()
                                : bound == Bound::Maximum ? maximum()
                                                          : defaultValue();
  return itemSml(nodeType, normalized(nodeType, text));
}

CHSecsItem ReportedValues::item(const CHGemEventVid &variable) {
  if (const CHSecsItem *item = variable.parsedValue())
    return item->clone();
  const auto [entry, added] = long_.try_emplace(&variable);
  if (added)
    entry->second = itemFromSml(variable.rawValue());
  return entry->second.clone();
}

} // namespace velto
