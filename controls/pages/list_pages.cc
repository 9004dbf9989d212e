#include "controls/pages/list_pages.h"

#include "base/text.h"
#include "gem/data/list_text.h"

#include <limits>

namespace velto {

namespace {

constexpr int64_t kMaxByte = std::numeric_limits<uint8_t>::max();
constexpr uint8_t kKinds[] = {EquipmentConstant, StatusVariable, DataVariable};

// Of a field that the operator left alone, the live value stays.
template <typename T> void mergeField(T &live, const T &before, const T &after) {
  if (before != after)
    live = after;
}

struct VariableText {
  std::string_view (CHGemEventVid::*get)() const;
  void (CHGemEventVid::*set)(std::string_view);
};
constexpr VariableText kVariableTexts[] = {
    {&CHGemEventVid::minimum, &CHGemEventVid::setMinimum},
    {&CHGemEventVid::maximum, &CHGemEventVid::setMaximum},
    {&CHGemEventVid::defaultValue, &CHGemEventVid::setDefaultValue},
    {&CHGemEventVid::unit, &CHGemEventVid::setUnit},
    {&CHGemEventVid::description, &CHGemEventVid::setDescription},
    {&CHGemEventVid::rawValue, &CHGemEventVid::setRawValue},
};

bool isChecked(const PropertyPage &dialog, const char *key) {
  return dialog.field(key).value == "true";
}

} // namespace

// Alarms -----------------------------------------------------------------------------------------

CPropAlid::CPropAlid(SetupDesk &desk)
    : ListPage(desk, {.name = "ALID",
                      .number = &CHGemAlarmAlid::alid,
                      .text = [](const CHGemAlarmAlid &alarm) { return alarm.altx; },
                      .copy = &ModelLists::alarms,
                      .live = &GemData::alarms,
                      .columns = {"ALID#", "Enable", "Code", "Text"}}) {}

std::vector<std::string> CPropAlid::row(const CHGemAlarmAlid &alarm) const {
  return {yesText(alarm.enable), std::to_string(alarm.alcd), alarm.altx};
}

void CPropAlid::ask(PropertyPage &dialog, const CHGemAlarmAlid &alarm) const {
  dialog.check("Enable", "Enable", alarm.enable);
  dialog.integer("ALCD", "Code", alarm.alcd, 0, kMaxByte);
  dialog.text("ALTX", "Text", alarm.altx);
}

void CPropAlid::take(const PropertyPage &dialog, CHGemAlarmAlid &alarm) const {
  alarm.enable = isChecked(dialog, "Enable");
  alarm.alcd = static_cast<uint8_t>(decimal32(dialog.field("ALCD").value));
  alarm.altx = dialog.field("ALTX").value;
}

// Bit by bit: the alarm may have been set or cleared while its category was edited.
void CPropAlid::merge(CHGemAlarmAlid &live, const CHGemAlarmAlid &before,
                      const CHGemAlarmAlid &after) const {
  live.alcd = static_cast<uint8_t>(live.alcd ^ before.alcd ^ after.alcd);
  mergeField(live.enable, before.enable, after.enable);
  mergeField(live.altx, before.altx, after.altx);
}

// Events -----------------------------------------------------------------------------------------

CPropCeid::CPropCeid(SetupDesk &desk)
    : ListPage(desk, {.name = "CEID",
                      .number = &CHGemEventCeid::ceid,
                      .text = [](const CHGemEventCeid &event) { return event.description; },
                      .copy = &ModelLists::events,
                      .live = &GemData::events,
                      .columns = {"CEID#", "Enable", "Description", "Linked Report#"},
                      .editShowsSigned = true}) {}

std::vector<std::string> CPropCeid::row(const CHGemEventCeid &event) const {
  return {yesText(event.enable), event.description, joinNumbers(event.reports)};
}

void CPropCeid::ask(PropertyPage &dialog, const CHGemEventCeid &event) const {
  dialog.check("Enable", "Enable", event.enable);
  dialog.text("Description", "Description", event.description);
}

void CPropCeid::take(const PropertyPage &dialog, CHGemEventCeid &event) const {
  event.enable = isChecked(dialog, "Enable");
  event.description = dialog.field("Description").value;
}

void CPropCeid::merge(CHGemEventCeid &live, const CHGemEventCeid &before,
                      const CHGemEventCeid &after) const {
  mergeField(live.enable, before.enable, after.enable);
  mergeField(live.description, before.description, after.description);
}

// Variables --------------------------------------------------------------------------------------

CPropVid::CPropVid(SetupDesk &desk)
    : ListPage(desk, {.name = "VID",
                      .number = &CHGemEventVid::vid,
                      .text =
                          [](const CHGemEventVid &variable) {
                            return std::string(variable.description());
                          },
                      .copy = &ModelLists::variables,
                      .live = &GemData::variables,
                      .columns = {"VID#", "Type", "Node", "Description", "Default", "Unit"}}) {}

std::vector<std::string> CPropVid::row(const CHGemEventVid &variable) const {
  return {variableKindLabel(variable.kind), variableTypeName(variable.nodeType),
          std::string(variable.description()), std::string(variable.defaultValue()),
          std::string(variable.unit())};
}

void CPropVid::ask(PropertyPage &dialog, const CHGemEventVid &variable) const {
  std::vector<std::string> kinds;
  for (const uint8_t kind : kKinds)
    kinds.emplace_back(variableKindLabel(kind));
  std::vector<std::string> types;
  for (uint8_t type = SecsList; type <= SecsAscii2; ++type)
    types.emplace_back(variableTypeName(type));
  dialog.choice("Type", "Type", variableKindLabel(variable.kind), std::move(kinds));
  dialog.choice("Node", "Node", variableTypeName(variable.nodeType), std::move(types));
  dialog.text("Description", "Description", std::string(variable.description()));
  dialog.text("Min", "Minimum", std::string(variable.minimum()));
  dialog.text("Max", "Maximum", std::string(variable.maximum()));
  dialog.text("Default", "Default", std::string(variable.defaultValue()));
  dialog.text("Unit", "Unit", std::string(variable.unit()));
  dialog.text("Value", "Value", std::string(variable.rawValue()));
}

std::string CPropVid::entryProblem(const PropertyPage &dialog) const {
  const Field &value = dialog.field("Value");
  return !value.changed() || isItemSml(value.value)
             ? ""
             : value.label + " takes the SML of one item, not \"" + value.value + "\".";
}

// A kind or type without a name stays what it was.
void CPropVid::take(const PropertyPage &dialog, CHGemEventVid &variable) const {
  for (const uint8_t kind : kKinds)
    if (dialog.field("Type").value == variableKindLabel(kind))
      variable.kind = kind;
  for (uint8_t type = SecsList; type <= SecsAscii2; ++type)
    if (dialog.field("Node").value == variableTypeName(type))
      variable.nodeType = type;
  variable.setDescription(dialog.field("Description").value);
  variable.setMinimum(dialog.field("Min").value);
  variable.setMaximum(dialog.field("Max").value);
  variable.setDefaultValue(dialog.field("Default").value);
  variable.setUnit(dialog.field("Unit").value);
  variable.setRawValue(dialog.field("Value").value);
}

void CPropVid::merge(CHGemEventVid &live, const CHGemEventVid &before,
                     const CHGemEventVid &after) const {
  mergeField(live.kind, before.kind, after.kind);
  mergeField(live.nodeType, before.nodeType, after.nodeType);
  for (const VariableText &text : kVariableTexts)
    if ((before.*text.get)() != (after.*text.get)())
      (live.*text.set)((after.*text.get)());
}

} // namespace velto
