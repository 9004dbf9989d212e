#pragma once

#include "gem/data/model_data.h"
#include "secs2/message.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

// What messages of an equipment say to the people at the host.

/// Why a reply is not what was asked for: a negative acknowledge, an abort (SxF0), a message of
/// stream 9. Empty when it is: also for "already on-line", and a remote command that "will be
/// performed later".
std::string refusal(const CHSecsMessage &reply);

/// An item as a person reads it: "text", numbers, lists in braces.
std::string readableItem(const CHSecsItem &item);

/// Lines for an event report, an alarm or a terminal text, with the names that are known; none for
/// other messages.
std::vector<std::string> explainPrimary(const CHSecsMessage &message, const GemData &known);

/// "101 Chamber pressure", or the number alone when no name is known.
std::string variableTitle(uint32_t vid, const GemData &known);

/// The item of that format that a text states. Nothing when it is no such value, or does not fit.
std::optional<CHSecsItem> itemFromText(uint8_t format, std::string_view text);

} // namespace velto
