#include "secs2/sml_lexer.h"

#include "base/text.h"
#include "secs2/format.h"
#include "secs2/header.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace velto {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }
bool isWordCharacter(char c) {
  return isDigit(c) || (lower(c) >= 'a' && lower(c) <= 'z') || c == '_';
}

int hexDigit(char c) {
  if (isDigit(c))
    return c - '0';
  const char letter = lower(c);
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

// Numbers are taken modulo 2^64.
uint64_t readDigits(const char *&p, const char *end) {
  uint64_t value = 0;
  for (; p < end && isDigit(*p); ++p)
    value = value * 10 + static_cast<uint64_t>(*p - '0');
  return value;
}

struct Word {
  std::string_view name;
  SmlToken::Kind kind;
  int64_t value;
};

constexpr auto control(std::string_view name, SType type) {
  return Word{name, SmlToken::Kind::Control, static_cast<int64_t>(type)};
}

constexpr std::array kWords{
    control("SelectReq", SType::SelectReq),     control("SelectRsp", SType::SelectRsp),
    control("DeselectReq", SType::DeselectReq), control("DeselectRsp", SType::DeselectRsp),
    control("LinktestReq", SType::LinktestReq), control("LinktestRsp", SType::LinktestRsp),
    control("RejectReq", SType::RejectReq),     control("SeparateReq", SType::SeparateReq),
    Word{"true", SmlToken::Kind::Integer, 1},   Word{"false", SmlToken::Kind::Integer, 0},
};

// The data item tags behind "<", longest first where one begins with another.
struct Tag {
  std::string_view name;
  uint8_t code;
};

constexpr std::array kTags{
    Tag{"a2", format::kMbcs},      Tag{"a", format::kAscii},  Tag{"j", format::kJis},
    Tag{"bool", format::kBoolean}, Tag{"b", format::kBinary}, Tag{"i1", format::kI1},
    Tag{"i2", format::kI2},        Tag{"i4", format::kI4},    Tag{"i8", format::kI8},
    Tag{"u1", format::kU1},        Tag{"u2", format::kU2},    Tag{"u4", format::kU4},
    Tag{"u8", format::kU8},        Tag{"f4", format::kF4},    Tag{"f8", format::kF8},
};

bool startsWith(const char *p, const char *end, std::string_view name) {
  return static_cast<size_t>(end - p) >= name.size() && equalsIgnoreCase({p, name.size()}, name);
}

} // namespace

SmlToken CHSmlLex::next() {
  skipBlanks();
  if (next_ == end_) {
    if (periodGiven_)
      return {};
    periodGiven_ = true;
    SmlToken token;
    token.kind = SmlToken::Kind::Period;
    token.text = ".";
    return token;
  }
  if (const char *end = labelEnd())
    return take(SmlToken::Kind::Label, end);
  switch (*next_) {
  case '{':
    return take(SmlToken::Kind::List, next_ + 1);
  case '<':
    return tag();
  case '>':
  case '}':
    return take(SmlToken::Kind::Close, next_ + 1);
  case '\'':
    return string();
  case '-':
  case '.':
  case '0':
  case '1':
  case '2':
  case '3':
  case '4':
  case '5':
  case '6':
  case '7':
  case '8':
  case '9':
    return number();
  default:
    return word();
  }
}

void CHSmlLex::skipBlanks() {
  for (; next_ != end_; ++next_) {
    switch (*next_) {
    case '\n':
      ++line_;
      break;
    case ' ':
    case '\t':
    case '\r':
      break;
    default:
      if (!skipComment())
        return;
      if (next_ == end_)
        return;
      --next_;
    }
  }
}

// Comments and element counts; false when neither begins here.
bool CHSmlLex::skipComment() {
  const char c = *next_;
  const auto left = static_cast<size_t>(end_ - next_);
  if (c == '*' || (c == '/' && at(next_ + 1) == '/')) {
    skipLine();
    return true;
  }
  if (c == '/' && at(next_ + 1) == '*') {
    const size_t close = std::string_view(next_, left).find("*/", 2);
    if (close == std::string_view::npos)
      return false;
    line_ += static_cast<int>(std::count(next_, next_ + close, '\n'));
    next_ += close + 2;
    return true;
  }
  if (c == '[') {
    const size_t stop = std::string_view(next_, left).find_first_of("]\n");
    if (stop == std::string_view::npos || next_[stop] == '\n')
      return false;
    next_ += stop + 1;
    return true;
  }
  return false;
}

void CHSmlLex::skipLine() {
  const void *lineEnd = std::memchr(next_, '\n', static_cast<size_t>(end_ - next_));
  next_ = lineEnd == nullptr ? end_ : static_cast<const char *>(lineEnd);
}

SmlToken CHSmlLex::take(SmlToken::Kind kind, const char *end, int64_t integer) {
  SmlToken token;
  token.kind = kind;
  token.text = {next_, static_cast<size_t>(end - next_)};
  token.integer = integer;
  next_ = end;
  return token;
}

// A word at the very start of a line up to its colon; null when there is none.
const char *CHSmlLex::labelEnd() const {
  if (next_ != start_ && next_[-1] != '\n')
    return nullptr;
  const char *p = next_;
  while (p < end_ && isWordCharacter(*p))
    ++p;
  return p < end_ && *p == ':' ? p + 1 : nullptr;
}

SmlToken CHSmlLex::word() {
  if (lower(*next_) == 's') {
    SmlToken token;
    if (header(token))
      return token;
  }
  for (const Word &word : kWords)
    if (lower(word.name[0]) == lower(*next_) && startsWith(next_, end_, word.name))
      return take(word.kind, next_ + word.name.size(), word.value);
  return take(SmlToken::Kind::Other, next_ + 1);
}

bool CHSmlLex::header(SmlToken &token) {
  const char *p = next_ + 1;
  if (!isDigit(at(p)))
    return false;
  const uint64_t stream = readDigits(p, end_);
  if (lower(at(p)) != 'f' || !isDigit(at(p + 1)))
    return false;
  ++p;
  const uint64_t function = readDigits(p, end_);
  const bool wbit = lower(at(p)) == 'w';
  token = take(SmlToken::Kind::Header, wbit ? p + 1 : p);
  token.header = (wbit ? 0x80000000U : 0U) | (static_cast<uint32_t>(stream & 0x7FFF) << 16) |
                 static_cast<uint32_t>(function & 0xFFFF);
  return true;
}

SmlToken CHSmlLex::tag() {
  const char *p = next_ + 1;
  while (at(p) == ' ' || at(p) == '\t')
    ++p;
  if (lower(at(p)) == 'l')
    return take(SmlToken::Kind::List, p + 1);
  for (const Tag &tag : kTags)
    if (lower(at(next_ + 1)) == tag.name[0] && startsWith(next_ + 1, end_, tag.name))
      return take(SmlToken::Kind::Item, next_ + 1 + tag.name.size(), tag.code);
  return take(SmlToken::Kind::Other, next_ + 1);
}

SmlToken CHSmlLex::number() {
  const char *p = next_;
  if (*p == '0' && at(p + 1) == 'x' && hexDigit(at(p + 2)) >= 0) {
    uint64_t value = 0;
    for (p += 2; p < end_ && hexDigit(*p) >= 0; ++p)
      value = (value << 4) | static_cast<uint64_t>(hexDigit(*p));
    return take(SmlToken::Kind::Integer, p, static_cast<int64_t>(value));
  }
  const bool negative = *p == '-';
  if (negative)
    ++p;
  const char *digits = p;
  const uint64_t value = readDigits(p, end_);
  if (at(p) == '.' && isDigit(at(p + 1))) {
    for (++p; p < end_ && isDigit(*p); ++p) {
    }
    if (lower(at(p)) == 'e') {
      const char *exponent = at(p + 1) == '-' || at(p + 1) == '+' ? p + 2 : p + 1;
      if (isDigit(at(exponent)))
        for (p = exponent; p < end_ && isDigit(*p); ++p) {
        }
    }
    SmlToken token = take(SmlToken::Kind::Real, p);
    token.real = parseReal(token.text);
    return token;
  }
  if (p == digits)
    return take(*next_ == '.' ? SmlToken::Kind::Period : SmlToken::Kind::Other, next_ + 1);
  return take(SmlToken::Kind::Integer, p, static_cast<int64_t>(negative ? 0 - value : value));
}

SmlToken CHSmlLex::string() {
  const char *close = next_ + 1;
  if (isLeadByte_ == nullptr) {
    close = static_cast<const char *>(std::memchr(close, '\'', static_cast<size_t>(end_ - close)));
  } else {
    while (close != end_ && *close != '\'')
      close += isLeadByte_(static_cast<uint8_t>(*close)) && close + 1 != end_ ? 2 : 1;
    if (close == end_)
      close = nullptr;
  }
  if (close == nullptr)
    return take(SmlToken::Kind::Other, next_ + 1);
  line_ += static_cast<int>(std::count(next_, close, '\n'));
  SmlToken token = take(SmlToken::Kind::String, close + 1);
  token.text = token.text.substr(1, token.text.size() - 2);
  return token;
}

} // namespace velto
