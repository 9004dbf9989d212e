#pragma once

#include "gem/data/model_data.h"
#include "secs2/message.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

// What the messages of an equipment mean, in words for the people at the host.

/// Why a request failed, from its reply: a negative acknowledge, an abort (SxF0), a message of
/// stream
/// 9. An empty text when the request succeeded; "already on-line", and for a remote command "will
/// be performed later", count as success.
std::string refusal(const CHSecsMessage &reply);

/// An item as a person reads it: "text", numbers, lists in braces.
std::string readableItem(const CHSecsItem &item);

/// Lines that explain an event report, an alarm or a terminal text, with the names of variables and
/// events that are known. None for other messages.
std::vector<std::string> explainPrimary(const CHSecsMessage &message, const GemData &known);

/// "101 Chamber pressure", or the number alone when no name is known.
std::string variableTitle(uint32_t vid, const GemData &known);

/// Makes an item of a format from a text. Nothing when the text is no value of that format.
std::optional<CHSecsItem> itemFromText(uint8_t format, std::string_view text);

} // namespace velto
