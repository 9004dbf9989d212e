#pragma once

#include "gem/messages/request.h"

/// Equipment control (SEMI E5, stream 2): constants, the clock, and what the host defines of
/// reports and events.
namespace velto::stream2 {

/// S2F14: the values of equipment constants.
std::optional<CHSecsItem> constantValues(const GemData &data, const CHSecsItem &request);
/// S2F30: their names, limits and units.
std::optional<CHSecsItem> constantNames(const GemData &data, const CHSecsItem &request);

/// S2F15. The host application is told of each constant that was set.
uint8_t checkConstants(const GemData &data, const CHSecsItem &body);
void setConstants(const GemRequestScope &scope, const CHSecsItem &body);

/// S2F17: the time, in the format that the variable of that role names.
std::string timeText(const GemRequestScope &scope, const CHSecsItem &body);
/// S2F18, S2F31: sets the clock, where the host may. The acknowledge code.
void takeTime(const GemRequestScope &scope, const CHSecsItem &body);
std::string setTime(const GemRequestScope &scope, const CHSecsItem &body);

/// S2F33. A report is defined once, also within one message.
uint8_t checkReports(const GemData &data, const CHSecsItem &body);
void defineReports(const GemRequestScope &scope, const CHSecsItem &body);

/// S2F35. An event is linked once, also within one message.
uint8_t checkLinks(const GemData &data, const CHSecsItem &body);
void linkEvents(const GemRequestScope &scope, const CHSecsItem &body);

/// S2F37.
uint8_t checkEvents(const GemData &data, const CHSecsItem &body);
void enableEvents(const GemRequestScope &scope, const CHSecsItem &body);

} // namespace velto::stream2
