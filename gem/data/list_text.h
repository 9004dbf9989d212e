#pragma once

#include "gem/data/roles.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

// Phrases that the list and tree windows of all lists share.

/// "Yes" or nothing.
inline std::string yesText(bool yes) { return yes ? "Yes" : ""; }

/// The number of a role; empty when there is none.
inline std::string roleText(uint8_t role) { return role == kNoRole ? "" : std::to_string(role); }

/// "5 : text".
inline std::string numberedLine(uint32_t number, std::string_view text) {
  return std::to_string(number).append(" : ").append(text);
}

/// "Title (3)".
inline std::string countedTitle(std::string_view title, size_t count) {
  return std::string(title).append(" (").append(std::to_string(count)).append(")");
}

/// "1, 2, 3".
inline std::string joinNumbers(const std::vector<uint32_t> &numbers) {
  std::string text;
  for (const uint32_t number : numbers)
    text.append(text.empty() ? "" : ", ").append(std::to_string(number));
  return text;
}

} // namespace velto
