#pragma once

#include "apps/velto/console/command_line.h"

#include <optional>
#include <string>

namespace velto {

/// The command line of `velto gateway`, which is the same where the gateway is left out.
struct GatewayOptions {
  std::string file;
  bool check = false;

  /// The exit status where that is all: after a help or an error.
  std::optional<int> read(const CommandArguments &arguments);
};

} // namespace velto
