#include "secs2/item_rule.h"

#include "base/text.h"

#include <algorithm>
#include <array>

namespace velto {

namespace {

constexpr uint64_t bit(uint8_t code) { return uint64_t{1} << code; }

constexpr uint64_t kBinary = bit(format::kBinary);
constexpr uint64_t kBoolean = bit(format::kBoolean);
constexpr uint64_t kAscii = bit(format::kAscii);
constexpr uint64_t kJis = bit(format::kJis);
constexpr uint64_t kMbcs = bit(format::kMbcs);
constexpr uint64_t kUnsigned =
    bit(format::kU1) | bit(format::kU2) | bit(format::kU4) | bit(format::kU8);
constexpr uint64_t kSigned =
    bit(format::kI1) | bit(format::kI2) | bit(format::kI4) | bit(format::kI8);
constexpr uint64_t kReal = bit(format::kF4) | bit(format::kF8);
constexpr uint64_t kInteger = kSigned | kUnsigned;
constexpr uint64_t kIdentifier = kInteger | kAscii;
constexpr uint64_t kAnything = ~uint64_t{0};
constexpr uint32_t kAny = ItemRule::kAnyCount;

struct Row {
  std::string_view text;
  ItemRule rule;
  ItemRule current = {}; // in the current edition, where it is another one
  bool addition = false; // not of the notation of templates

  ItemRule of(E5Edition edition) const {
    ItemRule found = edition == E5Edition::Current && current.formats != 0 ? current : rule;
    found.name = text;
    return found;
  }
};

using enum ItemRule::Check;

constexpr std::array kRows{
    Row{"b|a", {kBinary | kAscii, 0, kAny, None}},
    Row{"u1|b", {bit(format::kU1) | kBinary, 0, kAny, None}},
    Row{"i1|u1", {bit(format::kI1) | bit(format::kU1), 0, kAny, None}},
    Row{"i2|u2", {bit(format::kI2) | bit(format::kU2), 0, kAny, None}},
    Row{"i1|u1|a", {bit(format::kI1) | bit(format::kU1) | kAscii, 0, kAny, None}},
    Row{"u*", {kUnsigned, 0, kAny, None}},
    Row{"i*|u*", {kInteger, 0, kAny, None}},
    Row{"u*|a", {kUnsigned | kAscii, 0, kAny, None}},
    Row{"i*|u*|a", {kIdentifier, 0, kAny, None}},
    Row{"i*|u*|a|b", {kIdentifier | kBinary, 0, kAny, None}},
    Row{"i*|u*|a|b|a2", {kIdentifier | kBinary | kMbcs, 0, kAny, None}},
    Row{"i*|u*|a|b|bool|jis", {kIdentifier | kBinary | kBoolean | kJis, 0, kAny, None}},
    Row{"i*|u*|a|bool|f*", {kIdentifier | kBoolean | kReal, 0, kAny, None}},
    Row{"i*|u*|a|b|bool|f*|jis", {kIdentifier | kBinary | kBoolean | kReal | kJis, 0, kAny, None}},
    Row{"@ABS", {kBinary, 0, kAny, None}},
    Row{"@MHEAD", {kBinary, 10, 10, None}},
    Row{"@SHEAD", {kBinary, 10, 10, None}},
    Row{"@CEID", {kIdentifier, 0, kAny, None}},
    Row{"@CPNAME", {kIdentifier, 0, kAny, None}},
    Row{"@DATAID", {kIdentifier, 0, kAny, None}},
    Row{"@ECID", {kIdentifier, 0, kAny, None}},
    Row{"@RPTID", {kIdentifier, 0, kAny, None}},
    Row{"@TRID", {kIdentifier, 0, kAny, None}},
    Row{"@VID", {kIdentifier, 0, kAny, None}},
    Row{"@MDLN", {kAscii, 0, 6, None}, {kAscii, 0, 20, None}},
    Row{"@SOFTREV", {kAscii, 0, 6, None}, {kAscii, 0, 20, None}},
    Row{"@PPID", {kBinary | kAscii, 0, 80, None}, {kBinary | kAscii, 0, 120, None}},
    Row{"@TIME", {kAscii, 12, 16, Time}, {kAscii, 12, 32, ExtendedTime}},
    Row{"@TIMESTAMP", {kAscii, 16, 16, Time}, {kAscii, 12, 32, ExtendedTime}},
    Row{"@ACK", {kBinary, 1, 1, None}},
    Row{"@PTN", {bit(format::kU1) | kBinary, 1, 1, None}},
    Row{"@ITEM", {kAnything, 0, kAny, None}, {}, true},
    Row{"@NONE", {kAnything, 0, 0, None}, {}, true},
    Row{"@NAK", {kBinary, 1, 1, NotZero}, {}, true},
};

const Row *findRow(std::string_view text) {
  const auto *row = std::ranges::find(kRows, text, &Row::text);
  return row == kRows.end() ? nullptr : row;
}

std::optional<uint32_t> numberBehind(std::string_view text, char mark) {
  constexpr int64_t kLargest = 0xFFFFFF; // no item is longer
  if (text.size() < 2 || text[0] != mark ||
      text.find_first_not_of("0123456789", 1) != std::string_view::npos)
    return std::nullopt;
  return static_cast<uint32_t>(std::min(*parseDecimal(text.substr(1)), kLargest));
}

// Alternatives of formats with any number of values.
bool isUncounted(const ItemRule &rule) {
  return rule.minimum == 0 && rule.maximum == kAny && rule.check == None;
}

unsigned twoDigits(std::string_view digits) {
  return static_cast<unsigned>((digits[0] - '0') * 10 + (digits[1] - '0'));
}

unsigned daysOf(unsigned month, unsigned year) {
  static constexpr std::array<unsigned, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// MMDDhhmmss of a year.
bool isMoment(unsigned year, std::string_view digits) {
  const unsigned month = twoDigits(digits);
  if (month < 1 || month > 12)
    return false;
  const unsigned day = twoDigits(digits.substr(2));
  return day >= 1 && day <= daysOf(month, year) && twoDigits(digits.substr(4)) < 24 &&
         twoDigits(digits.substr(6)) < 60 && twoDigits(digits.substr(8)) < 60;
}

// YYMMDDhhmmss, where years below 81 are of this century, or YYYYMMDDhhmmss and two more digits.
bool isDigits(std::string_view text) {
  return text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool isTime(std::string_view text) {
  if (!isDigits(text))
    return false;
  if (text.size() == 12) {
    const unsigned year = twoDigits(text);
    return isMoment(year < 81 ? 2000 + year : 1900 + year, text.substr(2));
  }
  return text.size() == 16 &&
         isMoment(twoDigits(text) * 100 + twoDigits(text.substr(2)), text.substr(4));
}

// YYYY-MM-DDThh:mm:ss.s with one or more digits of the fraction, and Z, +hh:mm or -hh:mm.
bool isExtendedTime(std::string_view text) {
  constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:dd.d";
  std::string digits;
  for (size_t i = 0; i < kForm.size(); ++i) {
    const char c = i < text.size() ? text[i] : '\0';
    if (kForm[i] == 'd' ? c < '0' || c > '9' : c != kForm[i])
      return false;
    if (kForm[i] == 'd')
      digits += c;
  }
  if (!isMoment(twoDigits(digits) * 100 + twoDigits(digits.substr(2, 2)), digits.substr(4)))
    return false;
  text.remove_prefix(std::min(text.find_first_not_of("0123456789", kForm.size()), text.size()));
  if (text == "Z")
    return true;
  return text.size() == 6 && (text[0] == '+' || text[0] == '-') && text[3] == ':' &&
         isDigits(text.substr(1, 2)) && isDigits(text.substr(4)) &&
         twoDigits(text.substr(1)) < 24 && twoDigits(text.substr(4)) < 60;
}

} // namespace

ItemRule ItemRule::parse(std::string_view text, E5Edition edition, bool additions) {
  const ItemRule anyText{kAscii, 0, kAny, None};
  if (const Row *row = findRow(text))
    return additions || !row->addition ? row->of(edition) : anyText;
  if (const auto length = numberBehind(text, '='))
    return {kAscii, *length, *length, None};
  if (const auto length = numberBehind(text, '<'))
    return *length == 0 ? ItemRule{kAscii, 1, 0, None} : ItemRule{kAscii, 0, *length - 1, None};
  const size_t mark = additions ? text.find('#') : std::string_view::npos;
  const Row *row = mark == std::string_view::npos ? nullptr : findRow(text.substr(0, mark));
  const auto count = row == nullptr || !isUncounted(row->rule)
                         ? std::nullopt
                         : numberBehind(text.substr(mark), '#');
  if (!count)
    return anyText;
  ItemRule rule = row->of(edition);
  rule.minimum = rule.maximum = *count;
  return rule;
}

std::string ItemRule::text() const {
  const Row *row = name.empty() ? nullptr : findRow(name);
  if (row != nullptr)
    return std::string(name) +
           (isUncounted(row->rule) && !isUncounted(*this) ? "#" + std::to_string(minimum) : "");
  if (minimum == 0 && maximum == kAny)
    return "";
  if (minimum == maximum)
    return "=" + std::to_string(minimum);
  return "<" + std::to_string(minimum > maximum ? 0 : maximum + 1);
}

ItemRule::Breach ItemRule::breach(const CHSecsItem &item) const {
  if (!item.hasData() || item.format() > 63 || (formats & bit(item.format())) == 0)
    return Breach::Format;
  if (item.count() < minimum)
    return Breach::TooShort;
  if (item.count() > maximum)
    return Breach::TooLong;
  const bool holds = check == Time           ? isTime(item.text())
                     : check == ExtendedTime ? isTime(item.text()) || isExtendedTime(item.text())
                     : check == NotZero      ? item.bytes()[0] != 0
                                             : true;
  return holds ? Breach::None : Breach::Value;
}

std::string ItemRule::subject() const {
  return name.starts_with('@') ? std::string(name.substr(1)) : formats == kAscii ? "text" : "item";
}

// A data item with the formats that it may have.
std::string ItemRule::expected() const {
  if (!name.starts_with('@'))
    return name.empty() ? "a" : std::string(name);
  const auto *row = std::ranges::find_if(kRows, [this](const Row &candidate) {
    return !candidate.text.starts_with('@') && candidate.rule.formats == formats;
  });
  const std::string_view kinds = row != kRows.end()   ? row->text
                                 : formats == kAscii  ? "a"
                                 : formats == kBinary ? "b"
                                                      : "any";
  return subject() + " (" + std::string(kinds) + ")";
}

} // namespace velto
