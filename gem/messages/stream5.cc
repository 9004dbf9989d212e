#include "gem/messages/stream5.h"

#include "gem/data/model_data.h"
#include "gem/messages/items.h"

#include <algorithm>

namespace velto::stream5 {

namespace {

// ACKC5.
constexpr uint8_t kAccepted = 0;
constexpr uint8_t kAlarmUnknown = 1;

CHSecsItem unknownAlarmItem(uint32_t alid) {
  return listItem(emptyItem(format::kBinary), numberItem(alid), textItem(""));
}

} // namespace

CHSecsItem alarmItem(const CHGemAlarmAlid &alarm) {
  return listItem(numberItem(alarm.alcd, format::kBinary), numberItem(alarm.alid),
                  textItem(alarm.altx));
}

uint8_t checkAlarms(const GemData &data, const CHSecsItem &body) {
  const auto isKnown = [&data](uint32_t alid) { return data.alarms.FindAlid(alid) != nullptr; };
  return std::ranges::all_of(numbersOf(childOf(body, 2)), isKnown) ? kAccepted : kAlarmUnknown;
}

void enableAlarms(const GemRequestScope &scope, const CHSecsItem &body) {
  CHGemAlarmAlidList &list = scope.data.alarms;
  const std::vector<uint32_t> alids = numbersOf(childOf(body, 2));
  const bool enable = (numberOf(childOf(body, 1)) & CHGemAlarmAlid::kSet) != 0;
  for (const uint32_t alid : alids)
    list.FindAlid(alid)->enable = enable;
  for (size_t i = 0; alids.empty() && i < list.Count(); ++i)
    list.at(i).enable = enable;
}

std::optional<CHSecsItem> alarms(const GemData &data, const CHSecsItem &request) {
  const std::vector<uint32_t> alids = numbersOf(request);
  ItemCollector entries;
  bool fits = true;
  for (size_t i = 0; fits && i < alids.size(); ++i) {
    const CHGemAlarmAlid *alarm = data.alarms.FindAlid(alids[i]);
    fits = entries.add(alarm != nullptr ? alarmItem(*alarm) : unknownAlarmItem(alids[i]));
  }
  for (size_t i = 0; fits && alids.empty() && i < data.alarms.Count(); ++i)
    fits = entries.add(alarmItem(data.alarms.at(i)));
  return entries.list();
}

std::optional<CHSecsItem> enabledAlarms(const GemData &data, const CHSecsItem &) {
  ItemCollector entries;
  bool fits = true;
  for (size_t i = 0; fits && i < data.alarms.Count(); ++i)
    if (data.alarms.at(i).enable)
      fits = entries.add(alarmItem(data.alarms.at(i)));
  return entries.list();
}

} // namespace velto::stream5
