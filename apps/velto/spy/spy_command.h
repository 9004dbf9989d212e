#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto spy` stands between a host and an equipment and shows what they say.
int runSpyCommand(const CommandArguments &arguments);

} // namespace velto
