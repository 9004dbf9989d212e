#include "apps/velto/script/parser.h"

#include "apps/velto/script/answer_parser.h"

#include <optional>

namespace velto::script {

namespace {

/// Reads the commands of one line by recursive descent: a function for each command.
class Parser : private AnswerParser {
public:
  Parser(std::string_view line, const Location &where) : AnswerParser(line), where_(where) {}

  ParsedLine run() {
    auto body = std::make_shared<Body>(Body{where_, {}});
    if (current().kind != Token::Kind::End) {
      auto command = parseCommand();
      if (!command)
        return {nullptr, error()};
      body->commands.push_back(std::move(*command));
      if (current().kind != Token::Kind::End)
        return {nullptr, unexpected("end of line")};
    }
    return {std::move(body), ""};
  }

private:
  using Parsed = std::optional<Command>;
  struct Keyword {
    std::string_view name;
    Parsed (Parser::*parse)();
  };

  std::shared_ptr<const Body> parseBody() {
    if (++depth_ > kMaxDepth) {
      fail("handlers nest too deeply");
      return nullptr;
    }
    auto body = std::make_shared<Body>(Body{where_, {}});
    do {
      auto command = parseCommand();
      if (!command)
        return nullptr;
      body->commands.push_back(std::move(*command));
    } while (accept(";"));
    --depth_;
    return body;
  }

  Parsed parseCommand() {
    static constexpr Keyword kKeywords[] = {
        {"new", &Parser::parseNew},
        {"delete", &Parser::parseNamed<DeleteCommand>},
        {"show", &Parser::parseNamed<ShowCommand>},
        {"describe", &Parser::parseNamed<DescribeCommand>},
        {"let", &Parser::parseLet},
        {"on", &Parser::parseOn},
        {"off", &Parser::parseOff},
        {"every", &Parser::parseEvery},
        {"ramp", &Parser::parseRamp},
        {"wait", &Parser::parseWait},
        {"expect", &Parser::parseExpect},
        {"print", &Parser::parsePrint},
        {"answer", &Parser::parseAnswerCommand},
        {"include", &Parser::parseInclude},
        {"quit", &Parser::parseQuit},
    };
    if (current().kind != Token::Kind::Word)
      return fail(unexpected("command"));
    if (lexer_.dotFollows())
      return parseMember();
    const Token word = lexer_.take();
    for (const Keyword &keyword : kKeywords)
      if (keyword.name == word.text)
        return (this->*keyword.parse)();
    return fail("unknown command " + word.text);
  }

  Parsed parseMember() {
    auto access = parseAccess();
    if (!access)
      return std::nullopt;
    if (!accept("="))
      return EvaluateCommand{std::move(*access)};
    auto value = parseOperand();
    if (!value)
      return std::nullopt;
    return AssignCommand{std::move(*access), std::move(*value)};
  }

  Parsed parseNew() {
    auto name = parseName("name for the control");
    if (!name)
      return std::nullopt;
    auto control = parseName("kind of control");
    if (!control)
      return std::nullopt;
    return NewCommand{std::move(*name), std::move(*control)};
  }

  template <typename C> Parsed parseNamed() {
    auto name = parseName("name of a control");
    return name ? Parsed(C{std::move(*name)}) : std::nullopt;
  }

  Parsed parseLet() {
    auto name = parseName("name of a variable");
    if (!name)
      return std::nullopt;
    if (!accept("="))
      return fail(unexpected("\"=\""));
    auto value = parseOperand();
    if (!value)
      return std::nullopt;
    return LetCommand{std::move(*name), std::move(*value)};
  }

  Parsed parseOn() {
    auto event = parseEvent();
    if (!event)
      return std::nullopt;
    auto body = parseBody();
    return body ? Parsed(OnCommand{std::move(*event), std::move(body)}) : std::nullopt;
  }

  Parsed parseOff() {
    auto event = parseEvent();
    return event ? Parsed(OffCommand{std::move(*event)}) : std::nullopt;
  }

  Parsed parseEvery() {
    auto period = parseOperand();
    if (!period)
      return std::nullopt;
    auto body = parseBody();
    return body ? Parsed(EveryCommand{std::move(*period), std::move(body)}) : std::nullopt;
  }

  Parsed parseRamp() {
    if (current().kind != Token::Kind::Word || !lexer_.dotFollows())
      return fail(unexpected("property"));
    auto target = parseAccess();
    auto from = target ? parseOperand() : std::nullopt;
    auto to = from ? parseOperand() : std::nullopt;
    auto seconds = to ? parseOperand() : std::nullopt;
    if (!seconds)
      return std::nullopt;
    return RampCommand{std::move(*target), std::move(*from), std::move(*to), std::move(*seconds)};
  }

  Parsed parseWait() {
    if (atEnd())
      return WaitForeverCommand{};
    if (current().kind != Token::Kind::Word) {
      auto time = parseOperand();
      return time ? Parsed(WaitTimeCommand{std::move(*time)}) : std::nullopt;
    }
    auto event = parseEvent();
    if (!event)
      return std::nullopt;
    std::optional<Operand> limit = atEnd() ? Operand{Variant(kDefaultWait)} : parseOperand();
    if (!limit)
      return std::nullopt;
    return WaitEventCommand{std::move(*event), std::move(*limit)};
  }

  Parsed parseExpect() {
    auto left = parseOperand();
    if (!left)
      return std::nullopt;
    if (!current().is("==") && !current().is("!=") && !current().is("~"))
      return fail(unexpected("==, != or ~"));
    std::string comparison = lexer_.take().text;
    auto right = parseOperand();
    if (!right)
      return std::nullopt;
    return ExpectCommand{std::move(*left), std::move(comparison), std::move(*right)};
  }

  Parsed parsePrint() {
    PrintCommand print;
    while (!atEnd()) {
      auto value = parseOperand();
      if (!value)
        return std::nullopt;
      print.values.push_back(std::move(*value));
    }
    return print;
  }

  Parsed parseAnswerCommand() { return parseAnswer(); }

  Parsed parseInclude() {
    auto path = parseText(";");
    if (!path)
      return std::nullopt;
    if (path->empty())
      return fail("name of a file is missing");
    return IncludeCommand{std::move(*path)};
  }

  Parsed parseQuit() { return QuitCommand{}; }

  const Location &where_;
};

} // namespace

ParsedLine parseLine(std::string_view line, const Location &where) {
  return Parser(line, where).run();
}

ParsedSteps parseSteps(std::string_view line) { return AnswerParser(line).parseStepsOnly(); }

} // namespace velto::script
