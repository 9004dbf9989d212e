#pragma once

#include <string>

namespace velto {

/// The compliance statement of SEMI E30, as Markdown.
std::string describeCompliance();

} // namespace velto
