#pragma once

#include <string>
#include <string_view>

namespace velto {

/// Text in JSON quotes. A byte beyond ASCII becomes the character with its number (ISO 8859-1).
std::string jsonText(std::string_view text);

} // namespace velto
