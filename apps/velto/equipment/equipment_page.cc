#include "apps/velto/equipment/equipment_page.h"

#include "apps/velto/console/literal.h"
#include "gem/engine/engine.h"
#include "gem/engine/gem.h"

#include <algorithm>

namespace velto {

namespace {

using Kind = WebColumn::Kind;

constexpr const char *kOffline = "the equipment is not communicating and on-line";

WebTable alarmTable(const GemData &data) {
  WebTable table{"Alarms", {{"ALID"}, {"Text"}, {"Category"}, {"Set", Kind::Switch, "alarm"}}, {}};
  for (size_t i = 0; i < data.alarms.Count(); ++i) {
    const CHGemAlarmAlid &alarm = data.alarms.at(i);
    const std::string number = std::to_string(alarm.alid);
    table.rows.push_back({number,
                          {number, webCell(alarm.altx), std::to_string(alarm.category()),
                           alarm.isSet() ? "1" : "0"}});
  }
  return table;
}

WebTable variableTable(const GemData &data) {
  WebTable table{
      "Variables", {{"VID"}, {"Kind"}, {"Name"}, {"Value", Kind::Value, "variable"}, {"Unit"}}, {}};
  for (size_t i = 0; i < data.variables.Count(); ++i) {
    const CHGemEventVid &variable = data.variables.at(i);
    const std::string number = std::to_string(variable.vid);
    table.rows.push_back(
        {number,
         {number, variableKindLabel(variable.kind), webCell(variable.description()),
          webCell(variable.GetValue()), webCell(variable.unit())}});
  }
  return table;
}

WebTable eventTable(const GemData &data) {
  WebTable table{"Events", {{"CEID"}, {"Name"}, {"Enabled"}, {"Send", Kind::Button, "event"}}, {}};
  for (size_t i = 0; i < data.events.Count(); ++i) {
    const CHGemEventCeid &event = data.events.at(i);
    const std::string number = std::to_string(event.ceid);
    table.rows.push_back(
        {number, {number, webCell(event.description), event.enable ? "yes" : "no", ""}});
  }
  return table;
}

uint64_t alarmsSet(const GemData &data) {
  uint64_t count = 0;
  for (size_t i = 0; i < data.alarms.Count(); ++i)
    count += data.alarms.at(i).isSet() ? 1 : 0;
  return count;
}

// What the user can do. Each tells why it could not be done, or what there is to know.
struct Row {
  std::string_view name;
  WebResult (*run)(CVeltoGemCtrl &control, int32_t number, const std::string &value);
};

WebResult setVariable(CVeltoGemCtrl &control, int32_t vid, const std::string &value) {
  const bool taken = control.TrySetVIDValue(vid, value);
  return {taken, taken ? "" : "the variable does not take this value"};
}

// As the tool does it: the host is told when it can be.
WebResult setAlarm(CVeltoGemCtrl &control, int32_t alid, const std::string &value) {
  const CHGemAlarmAlid *alarm =
      control.engine().gem()->data().alarms.FindAlid(static_cast<uint32_t>(alid));
  if (alarm == nullptr)
    return {false, "there is no such alarm"};
  const bool set = value == "1";
  const int alcd = alarm->category() | (set ? CHGemAlarmAlid::kSet : 0);
  if (control.InvokeAlarm(alid, static_cast<int16_t>(alcd)))
    return {true, ""};
  control.SetALIDSet(alid, set);
  return {true, std::string("the host was not told: ") + kOffline};
}

WebResult sendEvent(CVeltoGemCtrl &control, int32_t ceid, const std::string &) {
  const bool sent = control.InvokeEvent(ceid);
  return {sent, sent ? "" : std::string("not sent: the event is not enabled, or ") + kOffline};
}

WebResult switchOnline(CVeltoGemCtrl &control, int32_t, const std::string &value) {
  control.SetControlStateSwitch(value == "1");
  return {true, ""};
}

WebResult switchMode(CVeltoGemCtrl &control, int32_t, const std::string &value) {
  const int16_t state = value == "1" ? ControlState::OnlineRemote : ControlState::OnlineLocal;
  if (!isOnline(static_cast<uint8_t>(control.ControlState())))
    return {false, "the equipment is not on-line"};
  control.SetControlState(state);
  return {true, ""};
}

constexpr Row kActions[] = {
    {"variable", setVariable}, {"alarm", setAlarm},  {"event", sendEvent},
    {"online", switchOnline},  {"mode", switchMode},
};

} // namespace

WebSnapshot EquipmentPage::snapshot() {
  WebSnapshot snapshot;
  snapshot.program = "equipment";
  gem_.addTo(snapshot);
  const CHGem *gem = control_.engine().gem();
  if (gem == nullptr)
    return snapshot;
  const GemData &data = gem->data();
  snapshot.title =
      webCell(data.communication.modelName + ' ' + data.communication.softwareRevision);
  snapshot.forms = {{"On-line", "online", "1"},
                    {"Off-line", "online", "0"},
                    {"Local", "mode", "0"},
                    {"Remote", "mode", "1"}};
  snapshot.gauges.push_back({"Alarms set", alarmsSet(data), true});
  snapshot.tables = {alarmTable(data), variableTable(data), eventTable(data)};
  return snapshot;
}

void EquipmentPage::act(const WebAction &action, std::function<void(WebResult)> done) {
  const Row *row = std::ranges::find(kActions, std::string_view(action.name), &Row::name);
  const auto number = wholeText<uint32_t>(action.key);
  if (row == std::end(kActions) || (!number && !action.key.empty()))
    return done({false, "there is no such thing to do"});
  if (control_.engine().gem() == nullptr)
    return done({false, "the equipment model is switched off"});
  done(row->run(control_, static_cast<int32_t>(number.value_or(0)), action.value));
}

} // namespace velto
