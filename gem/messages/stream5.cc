#include "gem/messages/stream5.h"

#include "gem/data/model_data.h"
#include "gem/messages/items.h"

#include <algorithm>
#include <utility>

namespace velto::stream5 {

namespace {

// ACKC5.
constexpr uint8_t kAccepted = 0;
constexpr uint8_t kAlarmUnknown = 1;

constexpr size_t kSmallestAlarm = kShortListHead + 2 + 2 + 2; // without a code, a text and a number

CHSecsItem unknownAlarmItem(CHSecsItem &&alid) {
  return listItem(emptyItem(format::kBinary), std::move(alid), textItem(""));
}

} // namespace

CHSecsItem alarmItem(const CHGemAlarmAlid &alarm) {
  return listItem(numberItem(alarm.alcd, format::kBinary), numberItem(alarm.alid),
                  textItem(alarm.altx));
}

uint8_t checkAlarms(const GemData &data, const CHSecsItem &body) {
  const NamedIdentifiers alids(childOf(body, 2), data.edition);
  for (size_t i = 0; i < alids.size(); ++i)
    if (data.alarms.find(alids[i]) == nullptr)
      return kAlarmUnknown;
  return kAccepted;
}

void enableAlarms(const GemRequestScope &scope, const CHSecsItem &body) {
  CHGemAlarmAlidList &list = scope.data.alarms;
  const NamedIdentifiers alids(childOf(body, 2), scope.data.edition);
  const bool enable = (numberOf(childOf(body, 1)) & CHGemAlarmAlid::kSet) != 0;
  for (size_t i = 0; i < alids.size(); ++i)
    list.find(alids[i])->enable = enable;
  for (size_t i = 0; alids.empty() && i < list.Count(); ++i)
    list.at(i).enable = enable;
}

std::optional<CHSecsItem> alarms(const GemData &data, const CHSecsItem &request) {
  const NamedIdentifiers alids(request, data.edition);
  if (isTooMany(alids.size(), kSmallestAlarm))
    return tooLongItem();
  ItemCollector entries;
  bool fits = true;
  for (size_t i = 0; fits && i < alids.size(); ++i) {
    const CHGemAlarmAlid *alarm = data.alarms.find(alids[i]);
    fits = entries.add(alarm != nullptr ? alarmItem(*alarm) : unknownAlarmItem(alids.item(i)));
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
