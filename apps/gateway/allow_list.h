#pragma once

#include "apps/gateway/names.h"

#include <span>
#include <string>
#include <string_view>

namespace velto::gateway {

/// What a request may do that comes from the bus.
enum class Action : uint8_t { Command, Values, Constants, Set, Recipes, Recipe, Send, Sml };

/// The words of requests and of the allow list, in the order of Action.
std::span<const std::string_view> actionNames();

/// What is wrong with an entry of an allow list, or nothing. An entry is an action, all of it
/// (`values`, `command`), or with one name (`command START`, `set 304`).
std::string allowProblem(std::string_view entry, const Names &names);

/// Whether a list allows an action on something of that name (of a command its name, of a constant
/// its number; empty where there is none).
bool isAllowed(std::span<const std::string> allow, Action action, std::string_view name);

} // namespace velto::gateway
