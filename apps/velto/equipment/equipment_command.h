#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto equipment` runs a GEM equipment until it is stopped.
int runEquipmentCommand(const CommandArguments &arguments);

} // namespace velto
