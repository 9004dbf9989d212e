#pragma once

#include "gem/data/alarm.h"
#include "gem/messages/request.h"

/// Alarms (SEMI E5, stream 5).
namespace velto::stream5 {

/// The body of S5F1, and the entry of an alarm in lists.
CHSecsItem alarmItem(const CHGemAlarmAlid &alarm);

/// S5F3: all of the named alarms, or none when one of them is unknown; without names every alarm.
uint8_t checkAlarms(const GemData &data, const CHSecsItem &body);
void enableAlarms(const GemRequestScope &scope, const CHSecsItem &body);

/// S5F6: the named alarms; without names every alarm.
std::optional<CHSecsItem> alarms(const GemData &data, const CHSecsItem &request);
/// S5F8: the enabled ones.
std::optional<CHSecsItem> enabledAlarms(const GemData &data, const CHSecsItem &request);

} // namespace velto::stream5
