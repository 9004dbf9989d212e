#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto demo` plays an equipment and a host that talk to each other.
int runDemoCommand(const CommandArguments &arguments);

} // namespace velto
