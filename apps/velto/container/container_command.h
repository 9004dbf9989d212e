#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto container` hosts controls and runs commands of the container language, from files or the
/// keyboard.
int runContainerCommand(const CommandArguments &arguments);

} // namespace velto
