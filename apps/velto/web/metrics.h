#pragma once

#include "apps/velto/web/snapshot.h"

#include <string>

namespace velto {

/// The numbers of a snapshot as Prometheus reads them. False when the program was built without
/// that, and `text` then says so.
bool metricsText(const WebSnapshot &snapshot, std::string &text);

} // namespace velto
