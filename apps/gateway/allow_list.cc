#include "apps/gateway/allow_list.h"

#include <algorithm>
#include <array>

namespace velto::gateway {

namespace {

constexpr std::array<std::string_view, 8> kActions{"command", "values", "constants",   "set",
                                                   "recipes", "recipe", "send_recipe", "sml"};

} // namespace

std::span<const std::string_view> actionNames() { return kActions; }

std::string allowProblem(std::string_view entry, const Names &names) {
  const size_t blank = std::min(entry.find(' '), entry.size());
  const std::string_view action = entry.substr(0, blank);
  const std::string_view name = entry.substr(std::min(blank + 1, entry.size()));
  if (std::ranges::find(kActions, action) == kActions.end()) {
    std::string words;
    for (const std::string_view word : kActions)
      words += (words.empty() ? "" : ", ") + std::string(word);
    return '"' + std::string(entry) + "\" begins with none of " + words;
  }
  if (action == "command" && !name.empty() && !names.empty() && !names.hasCommand(name))
    return "the names file has no command " + std::string(name);
  return "";
}

bool isAllowed(std::span<const std::string> allow, Action action, std::string_view name) {
  const std::string_view word = kActions[static_cast<size_t>(action)];
  return std::ranges::any_of(allow, [&](const std::string &entry) {
    return entry == word || (!name.empty() && entry == std::string(word) + ' ' + std::string(name));
  });
}

} // namespace velto::gateway
