#pragma once

#include "controls/component/variant.h"

#include <string>
#include <string_view>

namespace velto::script {

struct Token {
  enum class Kind {
    Word,     ///< a name or keyword
    Literal,  ///< a number or quoted text
    Variable, ///< $name or $1
    Symbol,   ///< . ( ) , ; = == != ~
    Bad,      ///< characters that are no token; `text` is the reason
    End,
  };

  Kind kind = Kind::End;
  std::string text; ///< the word, the variable's name without "$", the symbol, or the source text
  Variant value;    ///< the value of a literal

  bool is(std::string_view symbol) const { return kind == Kind::Symbol && text == symbol; }
};

/// Takes one command line apart. `#` outside quotes ends the line.
///
/// Characters that form no token become one of kind Bad. That is an error only if the parser wants
/// a token there; it may also take the characters as raw text, with takeRaw().
class Lexer {
public:
  explicit Lexer(std::string_view line) : line_(line) { advance(); }

  const Token &current() const { return token_; }
  /// Returns the current token and goes on to the next one.
  Token take();
  /// Whether a "." follows the current token directly.
  bool dotFollows() const { return position_ < line_.size() && line_[position_] == '.'; }
  /// Whether the token behind the current one begins with the character.
  bool followedBy(char c) const;
  /// Takes the characters from the current token up to one of `stops`, trimmed.
  std::string takeRaw(std::string_view stops);

private:
  void advance();
  Token scan();
  Token scanName(Token::Kind kind);
  Token scanNumber();
  Token scanText();
  Token scanSymbol();

  std::string_view line_;
  size_t start_ = 0;    ///< where the current token begins
  size_t position_ = 0; ///< where it ends
  Token token_;
};

} // namespace velto::script
