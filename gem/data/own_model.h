#pragma once

#include "gem/data/model_data.h"

namespace velto {

/// Gives a model that has none a variable for the control state, without which nobody goes on-line:
/// of the number 4294967295, which an equipment is unlikely to use.
void addControlState(GemData &model);

/// What a host works by that knows an equipment of this model: its variables, events and alarms by
/// their names. The roles and states in it are the equipment's; the host is on-line, and its
/// communications are enabled.
GemData knownToHost(GemData model);

} // namespace velto
