#include "gem/capabilities/kept_variables.h"

#include "base/text.h"
#include "gem/messages/reply.h"
#include "gem/models/equipment_clock.h"

#include <algorithm>

namespace velto {

namespace {

constexpr uint8_t kLoopback = 25;

constexpr VariableRole kReadRoles[] = {RoleClock, RoleAlarmsEnabled, RoleAlarmsSet,
                                       RoleEventsEnabled};

// The numbers of those objects of a list for which a condition holds, as the SML of a list.
template <typename List, typename Holds> std::string numbersSml(const List &list, Holds holds) {
  std::string sml = "{";
  for (size_t i = 0; i < list.Count(); ++i)
    if (holds(list.at(i))) {
      sml += "<u4 ";
      appendDecimal(sml, uint64_t{list.at(i).number()});
      sml += '>';
    }
  return sml + '}';
}

bool names(const GemData &data, const CHGemEventCeid &event, uint32_t vid) {
  return std::ranges::any_of(event.reports, [&](uint32_t rptid) {
    const CHGemEventReport *report = data.reports.FindReport(rptid);
    return report != nullptr &&
           std::ranges::find(report->variables, vid) != report->variables.end();
  });
}

} // namespace

bool CHGemKeptVariables::SetProcessState(uint32_t state) {
  const CHGemEventVid *current = data().variables.FindByRole(RoleProcessState);
  const uint32_t previous = current == nullptr ? state : current->GetNumber();
  if (previous == state)
    return false;
  setByRole(RolePreviousProcessState, previous);
  setByRole(RoleProcessState, state);
  events().InvokeRole(RoleProcessStateChanged);
  return true;
}

bool CHGemKeptVariables::OnReceive(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  if (slot.result != VerificationCorrect || header.stream() != 2 || header.function() != kLoopback)
    return false;
  rebuildReply(slot, slot.message.root.clone());
  return true;
}

// Only what the event carries is brought up to date: events go out often.
void CHGemKeptVariables::beforeReading(const CHGemEventCeid *event) {
  for (const VariableRole role : kReadRoles) {
    CHGemEventVid *variable = data().variables.FindByRole(role);
    if (variable != nullptr && (event == nullptr || names(data(), *event, variable->vid)))
      refresh(*variable);
  }
}

void CHGemKeptVariables::beforeSampling(std::span<const uint32_t> vids) {
  for (const VariableRole role : kReadRoles) {
    CHGemEventVid *variable = data().variables.FindByRole(role);
    if (variable != nullptr && std::ranges::find(vids, variable->vid) != vids.end())
      refresh(*variable);
  }
}

void CHGemKeptVariables::refresh(CHGemEventVid &variable) {
  switch (variable.role) {
  case RoleClock:
    variable.SetValue(currentTimeText(owner(), data()));
    return;
  case RoleAlarmsEnabled:
    variable.setRawValue(
        numbersSml(data().alarms, [](const CHGemAlarmAlid &alarm) { return alarm.enable; }));
    return;
  case RoleAlarmsSet:
    variable.setRawValue(
        numbersSml(data().alarms, [](const CHGemAlarmAlid &alarm) { return alarm.isSet(); }));
    return;
  default:
    variable.setRawValue(
        numbersSml(data().events, [](const CHGemEventCeid &event) { return event.enable; }));
  }
}

void CHGemKeptVariables::OnAlarmChanged(uint32_t alid, bool set) {
  setByRole(RoleAlarmID, alid);
  events().InvokeRole(set ? RoleAlarmSet : RoleAlarmCleared);
}

} // namespace velto
