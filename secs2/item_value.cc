#include "secs2/item_value.h"

#include "base/text.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

namespace velto {

namespace {

// Truncation toward zero; what does not fit 64 bits becomes INT64_MIN.
int64_t truncated(double value) {
  if (!(value >= -0x1p63 && value < 0x1p63))
    return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(value);
}

// Lower-case hexadecimal digits, padded with zeros to `width`.
void appendHexNumber(std::string &out, uint64_t value, size_t width) {
  std::array<char, 16> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
  const auto length = static_cast<size_t>(end - digits.data());
  if (length < width)
    out.append(width - length, '0');
  out.append(digits.data(), length);
}

template <typename T> void appendWhole(std::string &out, T value, ValueForm form, size_t width) {
  if (form == ValueForm::Hexadecimal) {
    // Narrow signed values show the digits of their 32-bit extension.
    if constexpr (std::is_signed_v<T> && sizeof(T) < 4)
      appendHexNumber(out, static_cast<uint32_t>(static_cast<int32_t>(value)), width);
    else
      appendHexNumber(out, std::make_unsigned_t<T>(value), width);
  } else if constexpr (std::is_signed_v<T>) {
    appendDecimal(out, static_cast<int64_t>(value));
  } else {
    appendDecimal(out, static_cast<uint64_t>(value));
  }
}

void appendElementText(std::string &out, const CHSecsItem &item, size_t index, ValueForm form) {
  switch (item.format()) {
  case format::kBinary:
  case format::kU1:
    return appendWhole(out, item.element<uint8_t>(index), form, 2);
  case format::kBoolean:
  case format::kI1:
    return appendWhole(out, item.element<int8_t>(index), form, 2);
  case format::kI2:
    return appendWhole(out, item.element<int16_t>(index), form, 4);
  case format::kI4:
    return appendWhole(out, item.element<int32_t>(index), form, 8);
  case format::kI8:
    return appendWhole(out, item.element<int64_t>(index), form, 1);
  case format::kU2:
    return appendWhole(out, item.element<uint16_t>(index), form, 4);
  case format::kU4:
    return appendWhole(out, item.element<uint32_t>(index), form, 8);
  case format::kU8:
    return appendWhole(out, item.element<uint64_t>(index), form, 1);
  case format::kF4:
    return appendFixed(out, static_cast<double>(item.element<float>(index)));
  case format::kF8:
    if (form == ValueForm::Hexadecimal)
      return appendHexNumber(out, item.element<uint64_t>(index), 16);
    return appendFixed(out, item.element<double>(index));
  default:
    break;
  }
}

} // namespace

void appendNumber(CHSecsItem &item, double value) {
  switch (item.format()) {
  case format::kF8:
    return item.appendElement(value);
  case format::kF4:
    return item.appendElement(static_cast<float>(value));
  case format::kI8:
  case format::kU8:
    return item.appendElement(static_cast<uint64_t>(static_cast<uint32_t>(truncated(value))));
  default:
    break;
  }
  const int64_t whole = truncated(value);
  switch (elementSize(item.format())) {
  case 2:
    return item.appendElement(static_cast<uint16_t>(whole));
  case 4:
    return item.appendElement(static_cast<uint32_t>(whole));
  default:
    return item.appendElement(static_cast<uint8_t>(whole));
  }
}

void appendInteger(CHSecsItem &item, int64_t value) {
  const FormatInfo &info = formatInfo(item.format());
  if (elementSize(info.code) == 8 && info.kind != ElementKind::Real)
    return item.appendElement(value);
  const bool isSigned = info.kind == ElementKind::Signed || info.kind == ElementKind::Real;
  appendNumber(item, isSigned ? static_cast<double>(value)
                              : static_cast<double>(static_cast<uint64_t>(value)));
}

std::string valueText(const CHSecsItem &item, ValueForm form, std::optional<uint64_t> index) {
  const ElementKind kind = formatInfo(item.format()).kind;
  if (!item.hasData() || kind == ElementKind::List || kind == ElementKind::Unknown)
    return "";
  if (kind == ElementKind::Text)
    return std::string(item.text());
  std::string out;
  if (index) {
    if (*index < item.count())
      appendElementText(out, item, *index, form);
    return out;
  }
  for (size_t i = 0; i < item.count(); ++i) {
    if (i != 0)
      out += ' ';
    appendElementText(out, item, i, form);
  }
  return out;
}

} // namespace velto
