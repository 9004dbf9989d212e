#pragma once

#include "secs2/item.h"

#include <optional>
#include <string>

namespace velto {

/// Adds one element to an array item, converted from a double as CHSecsItem::setNumber() says.
void appendNumber(CHSecsItem &item, double value);
/// Adds one element to an array item as SML text states it: the value passes through a double
/// except in the 8-byte formats, so only the low bytes of what a double holds are kept, and a
/// negative value in an unsigned format of fewer than 8 bytes, in Binary or Boolean, stores 0.
void appendInteger(CHSecsItem &item, int64_t value);

enum class ValueForm { Decimal, Hexadecimal };

/// The value of an item as text: its elements parted by single blanks, or element `index` alone
/// (empty when out of range). A text item gives its bytes as they are. A list, an item without
/// data or elements and an unknown format give the empty text.
std::string valueText(const CHSecsItem &item, ValueForm form,
                      std::optional<uint64_t> index = std::nullopt);

} // namespace velto
