#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto fleet`: many equipments of one model in one process, for trying and measuring hosts.
int runFleetCommand(const CommandArguments &arguments);

} // namespace velto
