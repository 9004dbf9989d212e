#pragma once

#include "gem/messages/request.h"

/// Terminal services (SEMI E5, stream 10).
namespace velto::stream10 {

/// S10F1, S10F3, S10F5: the text is accepted for display; showing it is up to the host application.
inline std::string acceptText(const GemRequestScope &, const CHSecsItem &) { return "0"; }

} // namespace velto::stream10
