#include "gem/models/alarm_model.h"

#include "gem/messages/stream5.h"

#include <utility>

namespace velto {

bool CHGemAlarmModel::SetAlarm(uint32_t alid, uint8_t alcd) {
  CHGemAlarmAlid *alarm = data().alarms.FindAlid(alid);
  const bool set = (alcd & CHGemAlarmAlid::kSet) != 0;
  if (alarm == nullptr || alarm->isSet() == set)
    return false;
  alarm->alcd ^= CHGemAlarmAlid::kSet;
  setModified();
  return true;
}

bool CHGemAlarmModel::InvokeAlarm(uint32_t alid, uint8_t alcd) {
  const CHGemAlarmAlid *alarm = data().alarms.FindAlid(alid);
  if (alarm == nullptr || !alarm->enable || !SetAlarm(alid, alcd))
    return false;
  CHSecsMessage message;
  message.SetFromSml("s5f1w");
  message.root = stream5::alarmItem(*alarm);
  return owner().Send(message);
}

bool CHGemAlarmModel::RegisterALID(uint32_t alid, uint8_t alcd, std::string altx) {
  if (data().alarms.FindAlid(alid) != nullptr)
    return false;
  CHGemAlarmAlid alarm;
  alarm.alid = alid;
  alarm.alcd = alcd;
  alarm.altx = std::move(altx);
  data().alarms.Add(std::move(alarm));
  setModified();
  return true;
}

bool CHGemAlarmModel::UnregisterALID(uint32_t alid) {
  if (!data().alarms.Remove(alid))
    return false;
  setModified();
  return true;
}

void CHGemAlarmModel::Reset() {
  data().alarms.Clear();
  clearModified();
}

std::span<const GemRequest> CHGemAlarmModel::requests() const {
  static constexpr GemRequest kRequests[] = {
      {.stream = 5,
       .function = 3,
       .check = stream5::checkAlarms,
       .apply = stream5::enableAlarms,
       .keepsReply = true},
      {.stream = 5, .function = 5, .body = stream5::alarms},
      {.stream = 5, .function = 7, .body = stream5::enabledAlarms},
  };
  return kRequests;
}

} // namespace velto
