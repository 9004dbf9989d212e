#include "apps/velto/script/answer_parser.h"

namespace velto::script {

namespace {

struct AnswerWord {
  std::string_view name;
  AnswerStep::Kind kind;
  bool hasName;   ///< a page or row follows
  bool hasFields; ///< the fields of a dialog, or cancel, may follow
};

const AnswerWord *findAnswerWord(std::string_view name) {
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

} // namespace

ParsedSteps AnswerParser::parseStepsOnly() {
  std::vector<AnswerStepText> steps;
  while (current().kind != Token::Kind::End) {
    auto step = parseAnswerStep();
    if (!step)
      return {{}, error()};
    steps.push_back(std::move(*step));
    if (!accept(";") && current().kind != Token::Kind::End)
      return {{}, unexpected("end of line")};
  }
  return {std::move(steps), ""};
}

// An answer ends with ok, unless again follows: "ok; again …" says what to do when the sheet
// refuses the ok.
std::optional<AnswerCommand> AnswerParser::parseAnswer() {
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

bool AnswerParser::againFollows() const {
  if (!current().is(";"))
    return false;
  Lexer ahead = lexer_;
  ahead.take();
  return ahead.current().kind == Token::Kind::Word && ahead.current().text == "again";
}

std::optional<AnswerStepText> AnswerParser::parseAnswerStep() {
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
std::optional<Operand> AnswerParser::parseRow() {
  if (current().kind == Token::Kind::Word)
    return Operand{Variant(lexer_.take().text)};
  if (current().kind == Token::Kind::Literal || current().kind == Token::Kind::Variable)
    return parseOperand();
  return fail(unexpected("row"));
}

// Reads LABEL = VALUE, several with commas between them if `stops` has a comma; or cancel. Labels
// may have blanks, and values such as 127.0.0.1 need no quotes.
bool AnswerParser::parseAnswerFields(AnswerStepText &step, std::string_view stops) {
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

std::optional<Operand> AnswerParser::parseFieldValue(std::string_view stops) {
  if (current().kind == Token::Kind::Variable)
    return parseOperand();
  auto text = parseText(stops);
  return text ? std::optional(Operand{Variant(std::move(*text))}) : std::nullopt;
}

} // namespace velto::script
