#pragma once

#include "apps/velto/script/lexer.h"
#include "apps/velto/script/statement.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto::script {

/// Reads what all commands are made of from a line: names, values, members and texts. Each function
/// takes its tokens from the line, or returns nothing and leaves the reason in error().
class ValueParser {
public:
  explicit ValueParser(std::string_view line) : lexer_(line) {}

  const std::string &error() const { return error_; }
  const Token &current() const { return lexer_.current(); }
  /// The current token is the end of the command: the end of the line or a ";".
  bool atEnd() const { return current().kind == Token::Kind::End || current().is(";"); }

  /// The error message for the current token when `wanted` was expected.
  std::string unexpected(std::string_view wanted) const;
  std::nullopt_t fail(std::string reason);

  /// Takes the symbol if it is the current token.
  bool accept(std::string_view symbol);
  std::optional<std::string> parseName(std::string_view what);
  /// NAME.EVENT
  std::optional<EventRef> parseEvent();
  std::optional<Operand> parseOperand();
  /// NAME.Member or NAME.Member(arguments); the current token is a word that a dot follows.
  std::optional<Access> parseAccess();
  /// Quoted text, or the characters up to one of `stops`.
  std::optional<std::string> parseText(std::string_view stops);

protected:
  /// How deep calls and handlers may stand inside each other.
  static constexpr int kMaxDepth = 64;

  Lexer lexer_;
  int depth_ = 0; ///< of the calls and handlers around the current token

private:
  bool parseArguments(std::vector<Operand> &arguments);

  std::string error_;
};

} // namespace velto::script
