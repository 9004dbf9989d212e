#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto describe` prints the members of the controls and the table of messages.
int runDescribeCommand(const CommandArguments &arguments);

} // namespace velto
