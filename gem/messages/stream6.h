#pragma once

#include "gem/data/collection_event.h"
#include "gem/data/report.h"
#include "gem/messages/request.h"

/// Data collection (SEMI E5, stream 6): the values that reports carry.
namespace velto::stream6 {

/// The body of S6F11 and S6F16: DATAID, CEID and the linked reports. Nothing when one of the
/// reports or variables does not exist, or when no message can carry so much.
std::optional<CHSecsItem> eventData(const GemData &data, const CHGemEventCeid &event,
                                    uint32_t dataId);
/// The list of a report's values, under the same conditions.
std::optional<CHSecsItem> reportData(const GemData &data, const CHGemEventReport &report);

/// S6F16.
std::optional<CHSecsItem> eventReport(const GemData &data, const CHSecsItem &request);
/// S6F20.
std::optional<CHSecsItem> individualReport(const GemData &data, const CHSecsItem &request);

} // namespace velto::stream6
