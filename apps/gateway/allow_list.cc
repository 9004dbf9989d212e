#include "apps/gateway/allow_list.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <limits>

namespace velto::gateway {

namespace {

constexpr std::array<std::string_view, 8> kActions{"command", "values", "constants",   "set",
                                                   "recipes", "recipe", "send_recipe", "sml"};

// As requests are told apart by: "S1F3".
bool isMessage(std::string_view name) {
  constexpr int32_t kMostStream = 127;
  constexpr int32_t kMostFunction = 255;
  const size_t at = name.find('F');
  return name.starts_with('S') && at != std::string_view::npos &&
         wholeNumber(name.substr(1, at - 1), 0, kMostStream) &&
         wholeNumber(name.substr(at + 1), 0, kMostFunction);
}

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
  if (name.empty())
    return "";
  if (action == "command" && !names.empty() && !names.hasCommand(name))
    return "the names file has no command " + std::string(name);
  const bool isVariable = action == "values" || action == "constants" || action == "set";
  if (isVariable && !wholeNumber(name, 0, std::numeric_limits<int32_t>::max()))
    return '"' + std::string(entry) + "\": the number of a variable is needed";
  if (action == "sml" && !isMessage(name))
    return '"' + std::string(entry) + "\": a message is needed, as S1F3";
  return "";
}

bool isAllowed(std::span<const std::string> allow, Action action, std::string_view name) {
  const std::string_view word = kActions[static_cast<size_t>(action)];
  return std::ranges::any_of(allow, [&](const std::string &entry) {
    return entry == word || (!name.empty() && entry == std::string(word) + ' ' + std::string(name));
  });
}

} // namespace velto::gateway
