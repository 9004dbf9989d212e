#pragma once

#include "apps/velto/script/text_front_end.h"
#include "controls/component/variant.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace velto::script {

/// The place of a command, for error messages.
struct Location {
  std::string file;
  int line = 0;
};

struct Operand;

/// $name: an argument of the event being handled, or a variable.
struct VariableRef {
  std::string name;
};

/// NAME.Member or NAME.Member(arguments).
struct Access {
  std::string control;
  std::string member;
  std::vector<Operand> arguments;
  bool parentheses = false;
};

/// A value as it is written in a command: a literal, a variable or a member.
struct Operand {
  std::variant<Variant, VariableRef, Access> form;
};

/// NAME.EVENT
struct EventRef {
  std::string control;
  std::string event;
};

/// The command of a line, or the commands of a handler.
struct Body;

struct NewCommand {
  std::string name;
  std::string control;
};
struct DeleteCommand {
  std::string name;
};
struct ShowCommand {
  std::string name;
};
struct DescribeCommand {
  std::string name;
};
struct EvaluateCommand {
  Access access;
};
struct AssignCommand {
  Access target;
  Operand value;
};
struct LetCommand {
  std::string name;
  Operand value;
};
struct OnCommand {
  EventRef event;
  std::shared_ptr<const Body> body;
};
struct OffCommand {
  EventRef event;
};
struct EveryCommand {
  Operand milliseconds;
  std::shared_ptr<const Body> body;
};
/// Moves a property from one number to another, within a time.
struct RampCommand {
  Access target;
  Operand from;
  Operand to;
  Operand seconds;
};
struct WaitTimeCommand {
  Operand milliseconds;
};
struct WaitEventCommand {
  EventRef event;
  Operand milliseconds;
};
struct WaitForeverCommand {};
struct ExpectCommand {
  Operand left;
  std::string comparison; ///< ==, != or ~
  Operand right;
};
struct PrintCommand {
  std::vector<Operand> values;
};
/// A step of an answer whose values are not evaluated yet.
struct AnswerStepText {
  AnswerStep::Kind kind = AnswerStep::Kind::Fields;
  std::optional<Operand> name;
  std::vector<std::pair<std::string, Operand>> fields;
  bool cancel = false;
};
struct AnswerCommand {
  std::vector<AnswerStepText> steps;
};
struct IncludeCommand {
  std::string path;
};
struct QuitCommand {};

using Command =
    std::variant<NewCommand, DeleteCommand, ShowCommand, DescribeCommand, EvaluateCommand,
                 AssignCommand, LetCommand, OnCommand, OffCommand, EveryCommand, RampCommand,
                 WaitTimeCommand, WaitEventCommand, WaitForeverCommand, ExpectCommand, PrintCommand,
                 AnswerCommand, IncludeCommand, QuitCommand>;

struct Body {
  Location where;
  std::vector<Command> commands;
};

} // namespace velto::script
