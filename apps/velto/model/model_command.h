#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto model` turns an equipment model into text and back.
int runModelCommand(const CommandArguments &arguments);

} // namespace velto
