#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto gateway`: from many tools to the plant's message bus.
int runGatewayCommand(const CommandArguments &arguments);

} // namespace velto
