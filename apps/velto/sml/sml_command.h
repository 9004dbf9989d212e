#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto sml` turns SML into hexadecimal and back, and verifies messages.
int runSmlCommand(const CommandArguments &arguments);

} // namespace velto
