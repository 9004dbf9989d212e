#pragma once

#include "apps/velto/container/command.h"

#include <memory>
#include <string>
#include <string_view>

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

} // namespace velto::container
