#include "secs2/sml_parser.h"

#include "base/text.h"
#include "secs2/item_value.h"

#include <algorithm>
#include <vector>

namespace velto {

namespace {

using Kind = SmlToken::Kind;

void setHeader(CHSecsHeader &header, uint32_t packed) {
  header.noteFit(HeaderField::Stream, (packed >> 16 & 0x7FFF) <= 0x7F);
  header.noteFit(HeaderField::Function, (packed & 0xFFFF) <= 0xFF);
  header.setStream(static_cast<uint8_t>((packed >> 16) & 0x7F));
  header.functionByte = static_cast<uint8_t>(packed);
  header.setWbit((packed >> 31) != 0);
}

void setControl(CHSecsHeader &header, int64_t sType) {
  header.idWord = 0xFFFF;
  header.setWbit(false);
  header.setSType(static_cast<SType>(sType));
}

void appendText(CHSecsItem &item, std::string_view text) {
  for (;;) {
    const size_t zero = std::min(text.find('\0'), text.size());
    item.appendBytes(text.data(), zero);
    if (zero == text.size())
      return;
    text.remove_prefix(zero + 1);
  }
}

// A number in a text is a character code; one above 255 stands for two characters. A text never
// holds a character of code 0, nor what would follow it in the same number.
void appendCharacters(CHSecsItem &item, int64_t value) {
  const auto high = static_cast<uint8_t>(value >> 8);
  const auto low = static_cast<uint8_t>(value);
  if (value > 0xFF) {
    if (high == 0)
      return;
    item.appendElement(high);
  }
  if (low != 0)
    item.appendElement(low);
}

// Numbers with a fraction keep six decimals.
double sixDecimals(double value) {
  std::string text;
  appendFixed(text, value);
  return parseReal(text);
}

} // namespace

bool CHSmlParser::Parse(CHSecsMessage &message, std::string_view text) {
  const bool hsms = message.header.hsms;
  message.header = CHSecsHeader();
  message.header.hsms = hsms;
  lexer_ = CHSmlLex(text, isLeadByte_);
  advance();
  return parseMessage(message);
}

bool CHSmlParser::parseMessage(CHSecsMessage &message) {
  if (token_.kind == Kind::Control) {
    setControl(message.header, token_.integer);
    advance();
  } else {
    if (token_.kind == Kind::Header) {
      setHeader(message.header, token_.header);
      advance();
    }
    if (token_.kind != Kind::Period && !parseItem(message.root))
      return false;
  }
  if (token_.kind != Kind::Period)
    return fail("parse error");
  advance();
  return token_.kind == Kind::End || fail("parse error");
}

// One item with all below it; afterwards the current token is the one behind it.
bool CHSmlParser::parseItem(CHSecsItem &root) {
  if (!openItem(root))
    return false;
  if (!root.isList())
    return true;
  // The open lists, outermost first. A list's own children do not move while it is open.
  std::vector<CHSecsItem *> open{&root};
  while (!open.empty()) {
    if (token_.kind == Kind::Close) {
      advance();
      open.pop_back();
      continue;
    }
    CHSecsItem &child = open.back()->appendChild();
    if (!openItem(child))
      return false;
    if (!child.isList())
      continue;
    if (open.size() > kMaxListDepth)
      return fail("lists nested too deeply");
    open.push_back(&child);
  }
  return true;
}

// A data item whole, or the opening of a list with its declared count.
bool CHSmlParser::openItem(CHSecsItem &item) {
  if (token_.kind == Kind::Item)
    return parseArray(item, static_cast<uint8_t>(token_.integer));
  if (token_.kind != Kind::List)
    return fail("parse error", '}');
  item.setList();
  advance();
  if (token_.kind == Kind::Integer)
    advance();
  return true;
}

bool CHSmlParser::parseArray(CHSecsItem &item, uint8_t code) {
  item.makeArray(code, 0);
  for (advance(); token_.kind != Kind::Close; advance())
    if (!addValue(item))
      return false;
  advance();
  return true;
}

bool CHSmlParser::addValue(CHSecsItem &item) {
  const ElementKind kind = formatInfo(item.format()).kind;
  if (token_.kind == Kind::Integer) {
    if (kind == ElementKind::Text)
      appendCharacters(item, token_.integer);
    else
      appendInteger(item, token_.integer);
  } else if (token_.kind == Kind::Real && kind == ElementKind::Real) {
    appendNumber(item, sixDecimals(token_.real));
  } else if (token_.kind == Kind::String && kind == ElementKind::Text) {
    if (token_.text.size() > kMaxTextSize)
      return fail("text too long");
    appendText(item, token_.text);
  } else {
    return fail("parse error", '>');
  }
  return kind != ElementKind::Text || item.count() <= kMaxTextSize || fail("text too long");
}

// `close` is what would end what is open: it is missing where something begins that cannot stand
// inside, or the text ends.
bool CHSmlParser::fail(const char *reason, char close) {
  const char *quote = token_.kind == Kind::String ? "'" : "";
  const bool atEnd = token_.kind == Kind::Period;
  const bool opens = close == '>' && (token_.kind == Kind::Item || token_.kind == Kind::List);
  error_ = {lexer_.line(), quote + std::string(token_.text) + quote, reason,
            close != '\0' && (atEnd || opens) ? close : '\0', atEnd};
  return false;
}

} // namespace velto
