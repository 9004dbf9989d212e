#include "gem/messages/stream2.h"

#include "gem/data/model_data.h"
#include "gem/messages/variables.h"
#include "gem/models/equipment_clock.h"
#include "gem/models/model.h"

#include <set>
#include <span>
#include <utility>

namespace velto::stream2 {

namespace {

// Acknowledge codes (SEMI E5: EAC, DRACK, LRACK, ERACK).
constexpr uint8_t kAccepted = 0;
constexpr uint8_t kConstantRefused = 1;
constexpr uint8_t kReportDefined = 3;
constexpr uint8_t kNoSuchVariable = 4;
constexpr uint8_t kEventLinked = 3;
constexpr uint8_t kNoSuchEventToLink = 4;
constexpr uint8_t kNoSuchReport = 5;
constexpr uint8_t kNoSuchEventToEnable = 1;

// What S2F33, S2F35 and S2F37 name stands in the second item.
std::span<const CHSecsItem> entriesOf(const CHSecsItem &body) {
  return childOf(body, 2).children();
}

bool accepts(const CHGemEventVid *constant, const std::string &value) {
  return constant != nullptr && constant->IsInRange(value);
}

CHSecsItem constantEntry(uint32_t vid, const CHGemEventVid *variable) {
  if (variable == nullptr)
    return listItem(numberItem(vid), textItem(""), textItem(""), textItem(""), textItem(""),
                    textItem(""));
  const auto bound = [variable](Bound which) { return itemFromSml(variable->FormatBound(which)); };
  return listItem(numberItem(vid), textItem(variable->description()), bound(Bound::Minimum),
                  bound(Bound::Maximum), bound(Bound::Default), textItem(variable->unit()));
}

} // namespace

std::optional<CHSecsItem> constantValues(const GemData &data, const CHSecsItem &request) {
  return listValues(data.variables, request, EquipmentConstant);
}

std::optional<CHSecsItem> constantNames(const GemData &data, const CHSecsItem &request) {
  return listVariables(data.variables, request, EquipmentConstant, constantEntry);
}

// S2F15.

uint8_t checkConstants(const GemData &data, const CHSecsItem &body) {
  for (const CHSecsItem &entry : body.children())
    if (!accepts(findOfKind(data.variables, numberOf(childOf(entry, 1)), EquipmentConstant),
                 valueText(childOf(entry, 2), ValueForm::Decimal)))
      return kConstantRefused;
  return kAccepted;
}

// The host hears of each change and may do anything then: neither the message nor the lists need be
// there afterwards.
void setConstants(const GemRequestScope &scope, const CHSecsItem &body) {
  GemData &data = scope.data;
  std::vector<std::pair<uint32_t, std::string>> constants;
  for (const CHSecsItem &entry : body.children())
    constants.emplace_back(numberOf(childOf(entry, 1)),
                           valueText(childOf(entry, 2), ValueForm::Decimal));
  for (const auto &[ecid, value] : constants) {
    CHGemEventVid *constant = findOfKind(data.variables, ecid, EquipmentConstant);
    if (!accepts(constant, value))
      continue;
    constant->SetValue(value);
    scope.model.setModified();
    scope.owner.reportVariable(ecid);
  }
}

// S2F17, S2F18 and S2F31.

std::string timeText(const GemRequestScope &scope, const CHSecsItem &) {
  const CHGemEventVid *format = scope.data.variables.FindByRole(RoleTimeFormat);
  const int32_t style = format == nullptr ? 1 : static_cast<int32_t>(format->GetNumber());
  return currentTimeText(scope.owner.clock(), style, scope.owner.edition());
}

// A time that this side did not ask for is nobody's business.
void takeTime(const GemRequestScope &scope, const CHSecsItem &body) {
  if (!scope.owner.answersRequest())
    return;
  setClockFromHost(scope.owner.clock(), scope.data.changePCClock, body);
}

std::string setTime(const GemRequestScope &scope, const CHSecsItem &body) {
  const bool allowed = scope.data.changePCClock &&
                       scope.owner.communicationState() == CommunicationState::Communicating;
  return std::to_string(setClockFromHost(scope.owner.clock(), allowed, body));
}

// S2F33.

uint8_t checkReports(const GemData &data, const CHSecsItem &body) {
  std::set<uint32_t> defined;
  for (const CHSecsItem &entry : entriesOf(body)) {
    const auto variables = childOf(entry, 2).children();
    if (variables.empty())
      continue;
    const uint32_t rptid = numberOf(childOf(entry, 1));
    if (data.reports.FindReport(rptid) != nullptr || !defined.insert(rptid).second)
      return kReportDefined;
    for (const CHSecsItem &variable : variables)
      if (data.variables.FindVid(numberOf(variable)) == nullptr)
        return kNoSuchVariable;
  }
  return kAccepted;
}

void defineReports(const GemRequestScope &scope, const CHSecsItem &body) {
  GemData &data = scope.data;
  const auto entries = entriesOf(body);
  if (entries.empty()) {
    data.reports.Clear();
    data.events.unlinkAll();
  }
  std::set<uint32_t> deleted;
  for (const CHSecsItem &entry : entries) {
    const uint32_t rptid = numberOf(childOf(entry, 1));
    const CHSecsItem &variables = childOf(entry, 2);
    if (!variables.children().empty())
      data.reports.Add({rptid, "", numbersOf(variables)});
    else if (data.reports.FindReport(rptid) != nullptr)
      deleted.insert(rptid);
  }
  data.removeReports(deleted);
}

// S2F35.

uint8_t checkLinks(const GemData &data, const CHSecsItem &body) {
  std::set<uint32_t> linked;
  for (const CHSecsItem &entry : entriesOf(body)) {
    const uint32_t ceid = numberOf(childOf(entry, 1));
    const CHGemEventCeid *event = data.events.FindCeid(ceid);
    if (event == nullptr)
      return kNoSuchEventToLink;
    const auto reports = childOf(entry, 2).children();
    if (reports.empty())
      continue;
    if (!event->reports.empty() || !linked.insert(ceid).second)
      return kEventLinked;
    for (const CHSecsItem &report : reports)
      if (data.reports.FindReport(numberOf(report)) == nullptr)
        return kNoSuchReport;
  }
  return kAccepted;
}

void linkEvents(const GemRequestScope &scope, const CHSecsItem &body) {
  GemData &data = scope.data;
  const auto entries = entriesOf(body);
  if (entries.empty())
    data.events.unlinkAll();
  for (const CHSecsItem &entry : entries)
    data.events.FindCeid(numberOf(childOf(entry, 1)))->reports = numbersOf(childOf(entry, 2));
}

// S2F37.

uint8_t checkEvents(const GemData &data, const CHSecsItem &body) {
  for (const CHSecsItem &ceid : entriesOf(body))
    if (data.events.FindCeid(numberOf(ceid)) == nullptr)
      return kNoSuchEventToEnable;
  return kAccepted;
}

void enableEvents(const GemRequestScope &scope, const CHSecsItem &body) {
  GemData &data = scope.data;
  const bool enable = numberOf(childOf(body, 1)) != 0;
  const auto entries = entriesOf(body);
  for (const CHSecsItem &ceid : entries)
    data.events.FindCeid(numberOf(ceid))->enable = enable;
  for (size_t i = 0; entries.empty() && i < data.events.Count(); ++i)
    data.events.at(i).enable = enable;
}

} // namespace velto::stream2
