#pragma once

#include "controls/component/variant.h"

#include <string>
#include <string_view>

namespace velto::container {

struct Token {
  enum class Kind {
    Word,     ///< a name or keyword
    Literal,  ///< a number or quoted text
    Variable, ///< $name or $1
    Symbol,   ///< . ( ) , ; = == != ~
    Bad,      ///< no token; `text` is the reason
    End,
  };

  Kind kind = Kind::End;
  std::string text; ///< the word, the variable's name without "$", the symbol, or the source text
  Variant value;    ///< of a literal

  bool is(std::string_view symbol) const { return kind == Kind::Symbol && text == symbol; }
};

/// Takes one command line apart. `#` outside quotes ends the line.
///
/// Anything may stand in the line: what is no token is one of kind Bad, and stays harmless as long
/// as the parser takes it as raw text.
class Lexer {
public:
  explicit Lexer(std::string_view line) : line_(line) { advance(); }

  const Token &current() const { return token_; }
  /// The current token, after which the next one is current.
  Token take();
  /// True when a "." follows the current token.
  bool dotFollows() const { return position_ < line_.size() && line_[position_] == '.'; }
  /// True when the token behind the current one begins with a character.
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
  size_t start_ = 0;    ///< of the current token
  size_t position_ = 0; ///< behind it
  Token token_;
};

} // namespace velto::container
