#include "apps/gateway/json.h"

#include "base/json_text.h"
#include "base/text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <type_traits>
#include <utility>

namespace velto::gateway {

namespace {

constexpr int64_t kExactInteger = int64_t{1} << 53;

template <typename T> void appendNumber(std::string &out, T value) {
  std::array<char, 40> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  const std::string_view text(digits.data(), static_cast<size_t>(end - digits.data()));
  bool exact = true;
  if constexpr (std::is_floating_point_v<T>)
    exact = std::isfinite(value);
  else if constexpr (sizeof(T) == 8)
    exact =
        std::cmp_less_equal(value, kExactInteger) && std::cmp_greater_equal(value, -kExactInteger);
  if (!exact)
    out += '"';
  out += text;
  if (!exact)
    out += '"';
}

template <typename T> void appendElements(std::string &out, const CHSecsItem &item) {
  const bool one = item.count() == 1;
  if (!one)
    out += '[';
  for (size_t i = 0; i < item.count(); ++i) {
    if (i != 0)
      out += ',';
    if constexpr (sizeof(T) == 1)
      appendNumber(out, int{item.element<T>(i)});
    else
      appendNumber(out, item.element<T>(i));
  }
  if (!one)
    out += ']';
}

void appendBooleans(std::string &out, const CHSecsItem &item) {
  const bool one = item.count() == 1;
  if (!one)
    out += '[';
  for (size_t i = 0; i < item.count(); ++i) {
    out += i == 0 ? "" : ",";
    out += item.element<uint8_t>(i) != 0 ? "true" : "false";
  }
  if (!one)
    out += ']';
}

void appendArray(std::string &out, const CHSecsItem &item) {
  switch (item.format()) {
  case format::kBoolean:
    return appendBooleans(out, item);
  case format::kI1:
    return appendElements<int8_t>(out, item);
  case format::kI2:
    return appendElements<int16_t>(out, item);
  case format::kI4:
    return appendElements<int32_t>(out, item);
  case format::kI8:
    return appendElements<int64_t>(out, item);
  case format::kU2:
    return appendElements<uint16_t>(out, item);
  case format::kU4:
    return appendElements<uint32_t>(out, item);
  case format::kU8:
    return appendElements<uint64_t>(out, item);
  case format::kF4:
    return appendElements<float>(out, item);
  case format::kF8:
    return appendElements<double>(out, item);
  default: // binary, U1, and the bytes of an unknown format
    return appendElements<uint8_t>(out, item);
  }
}

} // namespace

void JsonObject::key(std::string_view name) {
  if (out_.size() > 1)
    out_ += ',';
  out_ += '"';
  out_ += name;
  out_ += "\":";
}

JsonObject &JsonObject::text(std::string_view name, std::string_view value) {
  key(name);
  out_ += jsonText(value);
  return *this;
}

JsonObject &JsonObject::number(std::string_view name, uint64_t value) {
  key(name);
  appendDecimal(out_, value);
  return *this;
}

JsonObject &JsonObject::flag(std::string_view name, bool value) {
  return json(name, value ? "true" : "false");
}

JsonObject &JsonObject::json(std::string_view name, std::string_view value) {
  key(name);
  out_ += value;
  return *this;
}

// The depth of lists is bounded by the decoder (CHSecsItem::kMaxDepth).
void appendItemJson(std::string &out, const CHSecsItem &item) {
  if (!item.hasData()) {
    out += "null";
    return;
  }
  if (formatInfo(item.format()).kind == ElementKind::Text) {
    out += jsonText(item.text());
    return;
  }
  if (!item.isList())
    return appendArray(out, item);
  out += '[';
  for (const CHSecsItem &child : item.children()) {
    out += &child == item.children().data() ? "" : ",";
    appendItemJson(out, child);
  }
  out += ']';
}

std::string itemJson(const CHSecsItem &item) {
  std::string out;
  appendItemJson(out, item);
  return out;
}

} // namespace velto::gateway
