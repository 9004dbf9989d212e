#pragma once

#include "apps/velto/container/command.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velto::container {

/// The commands of a line, or the reason why it is none.
struct ParsedLine {
  std::shared_ptr<const Body> body; ///< without commands for a blank line; null on error
  std::string error;
};

/// How long `wait NAME.EVENT` waits when it does not say, in milliseconds.
inline constexpr int32_t kDefaultWait = 5000;

/// Reads one line of the container's language. Names are not looked up yet.
ParsedLine parseLine(std::string_view line, const Location &where);

/// The steps of one line of answers to a sheet, or the reason why they are none.
struct ParsedSteps {
  std::vector<AnswerStepText> steps;
  std::string error;
};

/// Reads steps parted by ";", as they stand in the command `answer`, whether or not they end with
/// ok or cancel.
ParsedSteps parseSteps(std::string_view line);

} // namespace velto::container
