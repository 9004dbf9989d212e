#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto setup` shows the setup sheet of an equipment, or lets a script answer it.
int runSetupCommand(const CommandArguments &arguments);

} // namespace velto
