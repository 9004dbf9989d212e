#include "apps/velto/script/value_parser.h"

namespace velto::script {

std::string ValueParser::unexpected(std::string_view wanted) const {
  switch (current().kind) {
  case Token::Kind::Bad:
    return current().text;
  case Token::Kind::End:
    return std::string(wanted) + " is missing";
  default:
    return std::string(wanted) + " expected, not " + current().text;
  }
}

std::nullopt_t ValueParser::fail(std::string reason) {
  error_ = std::move(reason);
  return std::nullopt;
}

bool ValueParser::accept(std::string_view symbol) {
  const bool there = current().is(symbol);
  if (there)
    lexer_.take();
  return there;
}

std::optional<std::string> ValueParser::parseName(std::string_view what) {
  if (current().kind != Token::Kind::Word)
    return fail(unexpected(what));
  return lexer_.take().text;
}

std::optional<EventRef> ValueParser::parseEvent() {
  auto control = parseName("name of a control");
  if (!control)
    return std::nullopt;
  if (!accept("."))
    return fail(unexpected("\".\""));
  auto event = parseName("name of an event");
  if (!event)
    return std::nullopt;
  return EventRef{std::move(*control), std::move(*event)};
}

std::optional<Operand> ValueParser::parseOperand() {
  const Token &token = current();
  if (token.kind == Token::Kind::Literal)
    return Operand{lexer_.take().value};
  if (token.kind == Token::Kind::Variable)
    return Operand{VariableRef{lexer_.take().text}};
  if (token.kind == Token::Kind::Word && lexer_.dotFollows()) {
    auto access = parseAccess();
    return access ? std::optional(Operand{std::move(*access)}) : std::nullopt;
  }
  if (token.kind == Token::Kind::Word && (token.text == "true" || token.text == "false"))
    return Operand{Variant(lexer_.take().text == "true")};
  return fail(unexpected("value"));
}

std::optional<Access> ValueParser::parseAccess() {
  if (++depth_ > kMaxDepth)
    return fail("calls nest too deeply");
  Access access;
  access.control = lexer_.take().text;
  lexer_.take();
  auto member = parseName("name of a member");
  if (!member)
    return std::nullopt;
  access.member = std::move(*member);
  access.parentheses = accept("(");
  if (access.parentheses && !parseArguments(access.arguments))
    return std::nullopt;
  --depth_;
  return access;
}

bool ValueParser::parseArguments(std::vector<Operand> &arguments) {
  if (accept(")"))
    return true;
  for (;;) {
    auto value = parseOperand();
    if (!value)
      return false;
    arguments.push_back(std::move(*value));
    if (accept(")"))
      return true;
    if (!accept(",")) {
      fail(unexpected("\",\" or \")\""));
      return false;
    }
  }
}

std::optional<std::string> ValueParser::parseText(std::string_view stops) {
  if (current().kind == Token::Kind::Literal && current().value.isText())
    return lexer_.take().value.toString();
  const std::string problem = unexpected("text");
  std::string raw = lexer_.takeRaw(stops);
  if (raw.starts_with('"'))
    return fail(problem);
  return raw;
}

} // namespace velto::script
