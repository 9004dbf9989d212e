#include "gem/messages/stream2.h"

#include "gem/data/data_file.h"
#include "gem/messages/variables.h"
#include "gem/models/equipment_clock.h"
#include "gem/models/model.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <set>
#include <span>
#include <utility>

namespace velto::stream2 {

namespace {

// Acknowledge codes (SEMI E5: EAC, DRACK, LRACK, ERACK).
constexpr uint8_t kAccepted = 0;
constexpr uint8_t kConstantRefused = 1;
constexpr uint8_t kNoSpace = 1;          // DRACK, LRACK
constexpr uint8_t kImpossibleReport = 2; // an identifier that none of ours can be
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

// What a report, and one more VID or RPTID, adds to the data file at the most.
constexpr size_t kReportBytes = 64;
constexpr size_t kReferenceBytes = 8;

// What a request adds to the reports and to the VIDs and RPTIDs that are named, and what it
// deletes.
struct Growth {
  static size_t count(int32_t limit) { return static_cast<size_t>(std::max(limit, 0)); }

  size_t reports = 0;
  size_t references = 0;
  size_t deletedReports = 0;
  size_t deletedReferences = 0;

  bool fits(const GemData &data) const {
    if (reports == 0 && references == 0)
      return true;
    return data.reports.Count() + reports <= count(data.limits.reports) + deletedReports &&
           data.references() + references <= count(data.limits.references) + deletedReferences &&
           canBeSaved(data, reports * kReportBytes + references * kReferenceBytes);
  }
};

template <typename T> void appendExact(std::string &out, T value, const std::string &shown) {
  T read{};
  std::from_chars(shown.data(), shown.data() + shown.size(), read);
  if (read == value || !std::isfinite(value)) {
    out += shown;
    return;
  }
  std::array<char, 512> digits{}; // the smallest fraction takes fewer
  const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed);
  out.append(digits.data(), end.ptr);
}

// What came, all decimals of it: value texts have six. A bound may lie between the two.
std::string exactText(const CHSecsItem &item) {
  const uint8_t code = item.format();
  if (code != format::kF4 && code != format::kF8)
    return valueText(item, ValueForm::Decimal);
  std::string out;
  for (size_t i = 0; i < item.count(); ++i) {
    const std::string shown = valueText(item, ValueForm::Decimal, i);
    out += i == 0 ? "" : " ";
    if (code == format::kF4)
      appendExact(out, item.element<float>(i), shown);
    else
      appendExact(out, item.element<double>(i), shown);
  }
  return out;
}

// A new value of a constant, as S2F15 names it.
struct NewConstant {
  NewConstant(const CHSecsItem &entry, E5Edition edition)
      : ecid(identifierOf(childOf(entry, 1), edition)), isList(childOf(entry, 2).isList()) {
    const CHSecsItem &item = childOf(entry, 2);
    const std::optional<std::string> text =
        isList ? listValue(item) : std::optional(valueText(item, ValueForm::Decimal));
    isStated = text.has_value();
    value = text.value_or("");
    exact = isList ? value : exactText(item);
  }

  /// The constant, if it may have that value.
  CHGemEventVid *accepted(CHGemEventVidList &variables) const {
    return const_cast<CHGemEventVid *>(accepted(std::as_const(variables)));
  }
  const CHGemEventVid *accepted(const CHGemEventVidList &variables) const {
    const CHGemEventVid *constant = findOfKind(variables, ecid, EquipmentConstant);
    const bool fits = constant != nullptr && isStated &&
                      (!isList || constant->nodeType == SecsList) && constant->IsInRange(exact) &&
                      constant->CanHold(exact);
    return fits ? constant : nullptr;
  }

  std::optional<uint32_t> ecid;
  bool isList;
  bool isStated; ///< whether the text says all that came
  std::string value;
  std::string exact; ///< what it is judged by
};

CHSecsItem constantEntry(CHSecsItem &&vid, const CHGemEventVid *variable) {
  if (variable == nullptr)
    return listItem(std::move(vid), textItem(""), textItem(""), textItem(""), textItem(""),
                    textItem(""));
  const auto bound = [variable](Bound which) { return itemFromSml(variable->FormatBound(which)); };
  return listItem(std::move(vid), textItem(variable->description()), bound(Bound::Minimum),
                  bound(Bound::Maximum), bound(Bound::Default), textItem(variable->unit()));
}

} // namespace

std::optional<CHSecsItem> constantValues(const GemData &data, const CHSecsItem &request) {
  return listValues(data, request, EquipmentConstant);
}

std::optional<CHSecsItem> constantNames(const GemData &data, const CHSecsItem &request) {
  return listVariables(data, request, EquipmentConstant, kSmallestName, constantEntry);
}

// S2F15.

uint8_t checkConstants(const GemData &data, const CHSecsItem &body) {
  size_t growth = 0;
  for (const CHSecsItem &entry : body.children()) {
    const NewConstant fresh(entry, data.edition);
    const CHGemEventVid *constant = fresh.accepted(data.variables);
    if (constant == nullptr)
      return kConstantRefused;
    CHGemEventVid changed; // without the old value, which may be long
    changed.nodeType = constant->nodeType;
    changed.SetValue(fresh.value);
    const size_t before = constant->rawValue().size();
    growth += std::max(changed.rawValue().size() + kReferenceBytes, before) - before;
  }
  return growth == 0 || canBeSaved(data, growth) ? kAccepted : kConstantRefused;
}

// The host hears of each change and may do anything then: neither the message nor the lists need be
// there afterwards.
void setConstants(const GemRequestScope &scope, const CHSecsItem &body) {
  GemData &data = scope.data;
  std::vector<NewConstant> constants;
  for (const CHSecsItem &entry : body.children())
    constants.emplace_back(entry, data.edition);
  for (const NewConstant &fresh : constants) {
    CHGemEventVid *constant = fresh.accepted(data.variables);
    if (constant == nullptr)
      continue;
    const uint32_t ecid = constant->vid;
    constant->SetValue(fresh.value);
    scope.model.setModified();
    scope.owner.variableChanged(ecid);
    scope.owner.reportVariable(ecid);
  }
}

// S2F17, S2F18 and S2F31.

std::string timeText(const GemRequestScope &scope, const CHSecsItem &) {
  return currentTimeText(scope.owner, scope.data);
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
  std::set<uint32_t> deleted;
  Growth growth;
  for (const CHSecsItem &entry : entriesOf(body)) {
    const auto variables = childOf(entry, 2).children();
    const auto rptid = identifierOf(childOf(entry, 1), data.edition);
    const CHGemEventReport *report = data.reports.FindReport(rptid);
    if (variables.empty()) {
      if (report != nullptr && deleted.insert(*rptid).second)
        growth.deletedReferences += report->variables.size();
      continue;
    }
    growth.references += variables.size();
    if (!rptid)
      return kImpossibleReport;
    if (report != nullptr || !defined.insert(*rptid).second)
      return kReportDefined;
    for (const CHSecsItem &variable : variables)
      if (data.variables.find(identifierOf(variable, data.edition)) == nullptr)
        return kNoSuchVariable;
  }
  growth.reports = defined.size();
  growth.deletedReports = deleted.size();
  return growth.fits(data) ? kAccepted : kNoSpace;
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
    const auto rptid = identifierOf(childOf(entry, 1), data.edition);
    const NamedIdentifiers variables(childOf(entry, 2), data.edition);
    if (!variables.empty())
      data.reports.Add({rptid.value_or(0), "", numbersOf(variables)});
    else if (data.reports.FindReport(rptid) != nullptr)
      deleted.insert(*rptid);
  }
  data.removeReports(deleted);
}

// S2F35.

uint8_t checkLinks(const GemData &data, const CHSecsItem &body) {
  std::set<uint32_t> linked;
  Growth growth;
  for (const CHSecsItem &entry : entriesOf(body)) {
    const CHGemEventCeid *event = data.events.find(identifierOf(childOf(entry, 1), data.edition));
    if (event == nullptr)
      return kNoSuchEventToLink;
    const auto reports = childOf(entry, 2).children();
    if (reports.empty())
      continue;
    if (!event->reports.empty() || !linked.insert(event->ceid).second)
      return kEventLinked;
    for (const CHSecsItem &report : reports)
      if (data.reports.FindReport(identifierOf(report, data.edition)) == nullptr)
        return kNoSuchReport;
    growth.references += reports.size();
  }
  return growth.fits(data) ? kAccepted : kNoSpace;
}

void linkEvents(const GemRequestScope &scope, const CHSecsItem &body) {
  GemData &data = scope.data;
  const auto entries = entriesOf(body);
  if (entries.empty())
    data.events.unlinkAll();
  for (const CHSecsItem &entry : entries)
    data.events.find(identifierOf(childOf(entry, 1), data.edition))->reports =
        numbersOf({childOf(entry, 2), data.edition});
}

// S2F37.

uint8_t checkEvents(const GemData &data, const CHSecsItem &body) {
  for (const CHSecsItem &ceid : entriesOf(body)) {
    const bool isOne = ceid.format() == format::kAscii || ceid.count() <= 1;
    if (!isOne || data.events.find(identifierOf(ceid, data.edition)) == nullptr)
      return kNoSuchEventToEnable;
  }
  return kAccepted;
}

void enableEvents(const GemRequestScope &scope, const CHSecsItem &body) {
  GemData &data = scope.data;
  const bool enable = numberOf(childOf(body, 1)) != 0;
  const auto entries = entriesOf(body);
  for (const CHSecsItem &ceid : entries)
    data.events.find(identifierOf(ceid, data.edition))->enable = enable;
  for (size_t i = 0; entries.empty() && i < data.events.Count(); ++i)
    data.events.at(i).enable = enable;
}

} // namespace velto::stream2
