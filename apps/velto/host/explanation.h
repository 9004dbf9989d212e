#pragma once

#include "gem/data/model_data.h"
#include "secs2/message.h"

#include <cstdint>
#include <map>
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

/// An item as a person reads it: "text", numbers, lists in braces. What takes more than
/// kMostOnScreen is cut short, with "..." at its end.
std::string readableItem(const CHSecsItem &item);

/// What identifies an object of the equipment (SVID, ECID, CEID, RPTID, ALID): a number in decimal,
/// or the text.
std::string identifierText(const CHSecsItem &item);

bool isText(const CHSecsItem &item);

/// What the host learns and a model has no place for, by identifierText().
struct LearntNames {
  struct Variable {
    std::string name;
    std::string unit;
  };
  std::map<std::string, Variable> variables;               ///< whose identifiers are texts
  std::map<std::string, std::string> events;               ///< likewise: the name of each
  std::map<std::string, std::vector<std::string>> reports; ///< defined here: the variables of each
};

/// What is known of the equipment: its model, and what was learnt since, which counts first.
struct KnownNames {
  const GemData &model;
  const LearntNames &learnt;
};

/// Lines that explain an event report, trace data, an alarm or a terminal text, with the names of
/// variables and events that are known. None for other messages. They end soon behind
/// kMostOnScreen.
std::vector<std::string> explainPrimary(const CHSecsMessage &message, const KnownNames &known);

/// A value that an event report brought.
struct ReportedValue {
  std::string vid;
  LearntNames::Variable variable;
  std::string text; ///< as readableItem() has it
};
/// The values of an event report (S6F11), of those reports whose variables are known.
std::vector<ReportedValue> reportedValues(const CHSecsMessage &message, const KnownNames &known);

/// "101 Chamber pressure", or the identifier alone when no name is known.
std::string variableTitle(const std::string &vid, const KnownNames &known);
std::string variableUnit(const std::string &vid, const KnownNames &known);

/// Makes an item of a format from a text. Nothing when the text is no value of that format.
std::optional<CHSecsItem> itemFromText(uint8_t format, std::string_view text);

} // namespace velto
