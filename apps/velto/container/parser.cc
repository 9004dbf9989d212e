#include "apps/velto/container/parser.h"

#include "apps/velto/container/lexer.h"

#include <optional>

namespace velto::container {

namespace {

/// Reads one line by recursive descent. Its functions give nothing once error_ is set.
class Parser {
public:
  Parser(std::string_view line, const Location &where) : lexer_(line), where_(where) {}

  ParsedLine run() {
    auto body = std::make_shared<Body>(Body{where_, {}});
    if (current().kind != Token::Kind::End) {
      auto command = parseCommand();
      if (!command)
        return {nullptr, error_};
      body->commands.push_back(std::move(*command));
      if (current().kind != Token::Kind::End)
        return {nullptr, unexpected("end of line")};
    }
    return {std::move(body), ""};
  }

  ParsedSteps runSteps() {
    std::vector<AnswerStepText> steps;
    while (current().kind != Token::Kind::End) {
      auto step = parseAnswerStep();
      if (!step)
        return {{}, error_};
      steps.push_back(std::move(*step));
      if (!accept(";") && current().kind != Token::Kind::End)
        return {{}, unexpected("end of line")};
    }
    return {std::move(steps), ""};
  }

private:
  using Parsed = std::optional<Command>;
  struct Keyword {
    std::string_view name;
    Parsed (Parser::*parse)();
  };

  /// How deep calls and handlers may stand inside each other.
  static constexpr int kMaxDepth = 64;

  const Token &current() const { return lexer_.current(); }

  std::string unexpected(std::string_view wanted) const {
    switch (current().kind) {
    case Token::Kind::Bad:
      return current().text;
    case Token::Kind::End:
      return std::string(wanted) + " is missing";
    default:
      return std::string(wanted) + " expected, not " + current().text;
    }
  }

  std::nullopt_t fail(std::string reason) {
    error_ = std::move(reason);
    return std::nullopt;
  }

  bool accept(std::string_view symbol) {
    const bool there = current().is(symbol);
    if (there)
      lexer_.take();
    return there;
  }

  std::optional<std::string> parseName(std::string_view what) {
    if (current().kind != Token::Kind::Word)
      return fail(unexpected(what));
    return lexer_.take().text;
  }

  std::optional<EventRef> parseEvent() {
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

  std::optional<Operand> parseOperand() {
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

  std::optional<Access> parseAccess() {
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

  bool parseArguments(std::vector<Operand> &arguments) {
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
        {"answer", &Parser::parseAnswer},
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

  bool atEnd() const { return current().kind == Token::Kind::End || current().is(";"); }

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

  /// Quoted text, or the characters up to one of `stops`.
  std::optional<std::string> parseText(std::string_view stops) {
    if (current().kind == Token::Kind::Literal && current().value.isText())
      return lexer_.take().value.toString();
    const std::string problem = unexpected("text");
    std::string raw = lexer_.takeRaw(stops);
    if (raw.starts_with('"'))
      return fail(problem);
    return raw;
  }

  struct AnswerWord {
    std::string_view name;
    AnswerStep::Kind kind;
    bool hasName;   ///< a page or row follows
    bool hasFields; ///< the fields of a dialog, or cancel, may follow
  };

  static const AnswerWord *findAnswerWord(std::string_view name) {
    using enum AnswerStep::Kind;
    static constexpr AnswerWord kWords[] = {
        {"page", Page, true, false},      {"add", Add, false, true},     {"edit", Edit, true, true},
        {"delete", Delete, true, true},   {"again", Again, false, true}, {"ok", Ok, false, false},
        {"cancel", Cancel, false, false},
    };
    for (const AnswerWord &word : kWords)
      if (word.name == name)
        return &word;
    return nullptr;
  }

  // An answer ends with its ok, unless that may be refused: "ok; again …".
  Parsed parseAnswer() {
    AnswerCommand answer;
    for (;;) {
      auto step = parseAnswerStep();
      if (!step)
        return std::nullopt;
      const AnswerStep::Kind kind = step->kind;
      answer.steps.push_back(std::move(*step));
      if (kind == AnswerStep::Kind::Cancel || (kind == AnswerStep::Kind::Ok && !againFollows()))
        return answer;
      if (!accept(";"))
        return fail(unexpected("\";\" and ok or cancel"));
    }
  }

  bool againFollows() const {
    if (!current().is(";"))
      return false;
    Lexer ahead = lexer_;
    ahead.take();
    return ahead.current().kind == Token::Kind::Word && ahead.current().text == "again";
  }

  std::optional<AnswerStepText> parseAnswerStep() {
    AnswerStepText step;
    const AnswerWord *word =
        current().kind == Token::Kind::Word ? findAnswerWord(current().text) : nullptr;
    if (word == nullptr || lexer_.followedBy('='))
      return parseAnswerFields(step, ";") ? std::optional(std::move(step)) : std::nullopt;
    lexer_.take();
    step.kind = word->kind;
    if (word->hasName) {
      step.name = word->hasFields ? parseRow() : parseFieldValue(";");
      if (!step.name)
        return std::nullopt;
    }
    if (word->hasFields && !atEnd() && !parseAnswerFields(step, ",;"))
      return std::nullopt;
    return step;
  }

  // The first column of a row: a number, a word, a quoted text or a variable.
  std::optional<Operand> parseRow() {
    if (current().kind == Token::Kind::Word)
      return Operand{Variant(lexer_.take().text)};
    if (current().kind == Token::Kind::Literal || current().kind == Token::Kind::Variable)
      return parseOperand();
    return fail(unexpected("row"));
  }

  // LABEL = VALUE, several where commas part them; or cancel. Labels may have blanks, and values
  // such as 127.0.0.1 need no quotes.
  bool parseAnswerFields(AnswerStepText &step, std::string_view stops) {
    do {
      auto label = parseText(std::string("=").append(stops));
      if (!label)
        return false;
      if (*label == "cancel" && step.kind != AnswerStep::Kind::Fields && !current().is("=")) {
        step.cancel = true;
        return true;
      }
      if (label->empty() || !accept("=")) {
        fail("answer takes FIELD = VALUE, page, add, edit, delete or again, and ok or cancel at "
             "its end");
        return false;
      }
      auto value = parseFieldValue(stops);
      if (!value)
        return false;
      step.fields.emplace_back(std::move(*label), std::move(*value));
    } while (stops.find(',') != std::string_view::npos && accept(","));
    return true;
  }

  std::optional<Operand> parseFieldValue(std::string_view stops) {
    if (current().kind == Token::Kind::Variable)
      return parseOperand();
    auto text = parseText(stops);
    return text ? std::optional(Operand{Variant(std::move(*text))}) : std::nullopt;
  }

  Parsed parseInclude() {
    auto path = parseText(";");
    if (!path)
      return std::nullopt;
    if (path->empty())
      return fail("name of a file is missing");
    return IncludeCommand{std::move(*path)};
  }

  Parsed parseQuit() { return QuitCommand{}; }

  Lexer lexer_;
  const Location &where_;
  std::string error_;
  int depth_ = 0;
};

} // namespace

ParsedLine parseLine(std::string_view line, const Location &where) {
  return Parser(line, where).run();
}

ParsedSteps parseSteps(std::string_view line) { return Parser(line, {}).runSteps(); }

} // namespace velto::container
