#include "apps/velto/script/lexer.h"

#include "apps/velto/console/literal.h"
#include "base/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace velto::script {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isNameCharacter(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

Token bad(std::string reason) { return {Token::Kind::Bad, std::move(reason), {}}; }

template <typename T> bool reads(std::string_view digits, T &value, std::errc &error) {
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  error = result.ec;
  return result.ptr == digits.data() + digits.size() && error != std::errc::invalid_argument;
}

} // namespace

Token Lexer::take() {
  Token token = std::exchange(token_, {});
  advance();
  return token;
}

bool Lexer::followedBy(char c) const {
  const size_t next = line_.find_first_not_of(" \t", position_);
  return next != std::string_view::npos && line_[next] == c;
}

std::string Lexer::takeRaw(std::string_view stops) {
  size_t end = start_;
  while (end < line_.size() && line_[end] != '#' &&
         stops.find(line_[end]) == std::string_view::npos)
    ++end;
  std::string raw(trim(line_.substr(start_, end - start_)));
  position_ = end;
  advance();
  return raw;
}

void Lexer::advance() {
  while (position_ < line_.size() && (line_[position_] == ' ' || line_[position_] == '\t'))
    ++position_;
  start_ = position_;
  token_ = scan();
}

Token Lexer::scan() {
  if (position_ == line_.size() || line_[position_] == '#')
    return {};
  const char c = line_[position_];
  const char after = position_ + 1 < line_.size() ? line_[position_ + 1] : '\0';
  if (c == '"')
    return scanText();
  if (isDigit(c) || ((c == '-' || c == '+') && isDigit(after)))
    return scanNumber();
  if (c == '$' && isNameCharacter(after)) {
    ++position_;
    return scanName(Token::Kind::Variable);
  }
  return isNameCharacter(c) ? scanName(Token::Kind::Word) : scanSymbol();
}

Token Lexer::scanName(Token::Kind kind) {
  const size_t begin = position_;
  while (position_ < line_.size() && isNameCharacter(line_[position_]))
    ++position_;
  return {kind, std::string(line_.substr(begin, position_ - begin)), {}};
}

Token Lexer::scanNumber() {
  const auto signAt = [this](size_t at) { return line_[at] == '-' || line_[at] == '+'; };
  const auto exponentAt = [this](size_t at) { return line_[at] == 'e' || line_[at] == 'E'; };
  if (signAt(position_))
    ++position_;
  while (position_ < line_.size() &&
         (isNameCharacter(line_[position_]) || line_[position_] == '.' ||
          (signAt(position_) && exponentAt(position_ - 1))))
    ++position_;
  Token token{Token::Kind::Literal, std::string(line_.substr(start_, position_ - start_)), {}};
  std::string_view digits = token.text;
  if (digits.starts_with('+'))
    digits.remove_prefix(1);
  int64_t whole = 0;
  double real = 0;
  std::errc error{};
  if (reads(digits, whole, error))
    token.value = Variant(whole);
  else if (reads(digits, real, error))
    token.value = Variant(real);
  else
    return bad(token.text + " is no number");
  return error == std::errc{} ? token : bad(token.text + " is out of range");
}

Token Lexer::scanText() {
  const size_t begin = ++position_;
  while (position_ < line_.size() && line_[position_] != '"')
    position_ += line_[position_] == '\\' ? 2 : 1;
  if (position_ >= line_.size()) {
    position_ = line_.size();
    return bad("closing quote is missing");
  }
  const std::string_view inside = line_.substr(begin, position_ - begin);
  ++position_;
  std::string problem;
  auto text = unquotedText(inside, problem);
  if (!text)
    return bad(std::move(problem));
  return {Token::Kind::Literal, quotedText(*text), Variant(std::move(*text))};
}

Token Lexer::scanSymbol() {
  static constexpr std::array<std::string_view, 9> kSymbols{"==", "!=", "=", "~", ".",
                                                            "(",  ")",  ",", ";"};
  const std::string_view rest = line_.substr(position_);
  for (const std::string_view symbol : kSymbols) {
    if (rest.starts_with(symbol)) {
      position_ += symbol.size();
      return {Token::Kind::Symbol, std::string(symbol), {}};
    }
  }
  const std::string character = quotedText(rest.substr(0, 1));
  ++position_;
  return bad("unexpected character " + character);
}

} // namespace velto::script
