#pragma once

#include "apps/velto/console/command_line.h"

namespace velto {

/// `velto trace` shows what a host and an equipment said in a capture.
int runTraceCommand(const CommandArguments &arguments);

} // namespace velto
