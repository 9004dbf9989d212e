#pragma once

#include "apps/velto/script/statement.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velto::script {

/// The commands of a line, or the reason why the line is wrong.
struct ParsedLine {
  std::shared_ptr<const Body> body; ///< has no commands when the line is blank; null on error
  std::string error;
};

/// How long `wait NAME.EVENT` waits when no time is given, in milliseconds.
inline constexpr int32_t kDefaultWait = 5000;

/// Reads one line of a script. It does not look up names: whether a control exists shows when the
/// command runs.
ParsedLine parseLine(std::string_view line, const Location &where);

/// The steps of one line of answers to a sheet, or the reason why the line is wrong.
struct ParsedSteps {
  std::vector<AnswerStepText> steps;
  std::string error;
};

/// Reads steps with ";" between them, as in the command `answer`. They need not end with ok or
/// cancel.
ParsedSteps parseSteps(std::string_view line);

} // namespace velto::script
