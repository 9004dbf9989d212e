#include "gem/variable.h"

#include "platform/text.h"
#include "secs2/item_value.h"
#include "secs2/reply_text.h"
#include "secs2/sml_parser.h"

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

// What a value text says once it has been the value of one item.
std::string normalized(uint8_t nodeType, std::string_view text) {
  CHSecsMessage message;
  message.SetNodeValue(nodeType, text);
  return message.GetNodeValue(true);
}

std::optional<CHSecsItem> parseItem(std::string_view sml) {
  CHSecsMessage message;
  if (!CHSmlParser().Parse(message, sml) || !message.root.hasData())
    return std::nullopt;
  return std::move(message.root);
}

uint32_t unsignedValue(std::string_view text) { return static_cast<uint32_t>(decimal32(text)); }
int64_t signedValue(std::string_view text) { return parseDecimal(text).value_or(0); }

// An empty bound is none. What cannot be compared (not a number) is outside any bound.
template <typename Convert>
bool isWithin(std::string_view text, const std::string &minimum, const std::string &maximum,
              Convert convert) {
  const auto value = convert(text);
  return (minimum.empty() || value >= convert(minimum)) &&
         (maximum.empty() || value <= convert(maximum));
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

CHSecsItem itemFromSml(std::string_view sml) {
  if (std::optional<CHSecsItem> item = parseItem(sml))
    return std::move(*item);
  CHSecsItem none;
  none.setList();
  return none;
}

CHSecsItem ParsedValue::item(std::string_view sml) {
  if (kept_ != nullptr && kept_->sml == sml)
    return kept_->item.clone();
  CHSecsItem item = itemFromSml(sml);
  if (sml.size() > kMaxSize)
    return item;
  if (kept_ == nullptr)
    kept_ = std::make_unique<Kept>();
  kept_->sml = sml;
  kept_->item = item.clone();
  return item;
}

std::string CHGemEventVid::GetValue() const {
  return valueText(itemFromSml(rawValue), ValueForm::Decimal);
}

bool CHGemEventVid::SetValue(std::string_view text) {
  std::string sml = itemSml(nodeType, text);
  if (sml.empty())
    return true;
  if (isNumber(nodeType) && !parseItem(sml))
    sml = itemSml(nodeType, normalized(nodeType, text));
  rawValue = std::move(sml);
  return true;
}

bool CHGemEventVid::IsInRange(std::string_view text) const {
  switch (kindOf(nodeType)) {
  case ElementKind::Binary:
  case ElementKind::Boolean:
    return isWithin(text, minimum, maximum, unsignedValue);
  case ElementKind::Signed:
  case ElementKind::Unsigned:
    return isWithin(text, minimum, maximum, signedValue);
  case ElementKind::Real:
    return isWithin(text, minimum, maximum, parseReal);
  default:
    return true;
  }
}

std::string CHGemEventVid::FormatBound(Bound bound) const {
  const std::string &text = bound == Bound::Minimum   ? minimum
                            : bound == Bound::Maximum ? maximum
                                                      : defaultValue;
  return itemSml(nodeType, normalized(nodeType, text));
}

} // namespace velto
