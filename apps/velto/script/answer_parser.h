#pragma once

#include "apps/velto/script/parser.h"
#include "apps/velto/script/value_parser.h"

#include <optional>
#include <string_view>

namespace velto::script {

/// Reads what the operator does with a sheet: the steps of the command `answer`, or of a line of
/// its own.
class AnswerParser : public ValueParser {
public:
  using ValueParser::ValueParser;

  /// The steps up to the ok or cancel that ends the answer.
  std::optional<AnswerCommand> parseAnswer();
  /// All steps of the line, whether or not they end with ok or cancel.
  ParsedSteps parseStepsOnly();

private:
  bool againFollows() const;
  std::optional<AnswerStepText> parseAnswerStep();
  std::optional<Operand> parseRow();
  bool parseAnswerFields(AnswerStepText &step, std::string_view stops);
  std::optional<Operand> parseFieldValue(std::string_view stops);
};

} // namespace velto::script
