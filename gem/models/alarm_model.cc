#include "gem/models/alarm_model.h"

#include "gem/messages/items.h"
#include "gem/messages/reply.h"

#include <utility>

namespace velto {

namespace {

constexpr uint8_t kAlarmUnknown = 1; // ACKC5

CHSecsItem alarmItem(const CHGemAlarmAlid &alarm) {
  return listItem(numberItem(alarm.alcd, format::kBinary), numberItem(alarm.alid),
                  textItem(alarm.altx));
}

CHSecsItem unknownAlarmItem(uint32_t alid) {
  return listItem(emptyItem(format::kBinary), numberItem(alid), textItem(""));
}

// The reply's body; an empty list when it is too long for a message.
bool reply(CHSecsVerifier &slot, ItemCollector &entries, bool fits) {
  slot.partner()->message.root = fits ? entries.list() : listItem();
  return fits;
}

} // namespace

bool CHGemAlarmModel::InvokeAlarm(uint32_t alid, uint8_t alcd) {
  CHGemAlarmAlid *alarm = data_.alarms.FindAlid(alid);
  const bool set = (alcd & CHGemAlarmAlid::kSet) != 0;
  if (alarm == nullptr || !alarm->enable || alarm->isSet() == set)
    return false;
  alarm->alcd ^= CHGemAlarmAlid::kSet;
  setModified();
  CHSecsMessage message;
  message.SetFromSml("s5f1w");
  message.root = alarmItem(*alarm);
  return owner().Send(message);
}

bool CHGemAlarmModel::RegisterALID(uint32_t alid, uint8_t alcd, std::string altx) {
  if (data_.alarms.FindAlid(alid) != nullptr)
    return false;
  CHGemAlarmAlid alarm;
  alarm.alid = alid;
  alarm.alcd = alcd;
  alarm.altx = std::move(altx);
  data_.alarms.Add(std::move(alarm));
  setModified();
  return true;
}

bool CHGemAlarmModel::UnregisterALID(uint32_t alid) {
  if (!data_.alarms.Remove(alid))
    return false;
  setModified();
  return true;
}

void CHGemAlarmModel::Reset() {
  data_.alarms.Clear();
  clearModified();
}

bool CHGemAlarmModel::OnReceive(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  if (slot.result != VerificationCorrect || header.stream() != 5)
    return false;
  switch (header.function()) {
  case 3:
    return enableAlarms(slot);
  case 5:
    return listAlarms(slot);
  case 7:
    return listEnabledAlarms(slot);
  default:
    return false;
  }
}

// S5F3: all of the named alarms, or none when one of them is unknown; without names every alarm.
bool CHGemAlarmModel::enableAlarms(CHSecsVerifier &slot) {
  const CHSecsItem &body = slot.message.root;
  const std::vector<uint32_t> alids = numbersOf(childOf(body, 2));
  for (const uint32_t alid : alids) {
    if (data_.alarms.FindAlid(alid) != nullptr)
      continue;
    rebuildReply(slot, {std::to_string(kAlarmUnknown)});
    return false;
  }
  const bool enable = (numberOf(childOf(body, 1)) & CHGemAlarmAlid::kSet) != 0;
  for (const uint32_t alid : alids)
    data_.alarms.FindAlid(alid)->enable = enable;
  for (size_t i = 0; alids.empty() && i < data_.alarms.Count(); ++i)
    data_.alarms.at(i).enable = enable;
  setModified();
  return true;
}

// S5F5.
bool CHGemAlarmModel::listAlarms(CHSecsVerifier &slot) const {
  const std::vector<uint32_t> alids = numbersOf(slot.message.root);
  ItemCollector entries;
  bool fits = true;
  for (size_t i = 0; fits && i < alids.size(); ++i) {
    const CHGemAlarmAlid *alarm = data_.alarms.FindAlid(alids[i]);
    fits = entries.add(alarm != nullptr ? alarmItem(*alarm) : unknownAlarmItem(alids[i]));
  }
  for (size_t i = 0; fits && alids.empty() && i < data_.alarms.Count(); ++i)
    fits = entries.add(alarmItem(data_.alarms.at(i)));
  return reply(slot, entries, fits);
}

// S5F7.
bool CHGemAlarmModel::listEnabledAlarms(CHSecsVerifier &slot) const {
  ItemCollector entries;
  bool fits = true;
  for (size_t i = 0; fits && i < data_.alarms.Count(); ++i)
    if (data_.alarms.at(i).enable)
      fits = entries.add(alarmItem(data_.alarms.at(i)));
  return reply(slot, entries, fits);
}

} // namespace velto
