#pragma once

#include <string>

namespace velto {

/// The table of messages that verification knows, as a Markdown page.
std::string describeMessages();

} // namespace velto
