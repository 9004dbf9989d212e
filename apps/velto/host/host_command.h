#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto host` runs a GEM host at the keyboard or from a script.
int runHostCommand(const CommandArguments &arguments);

} // namespace velto
