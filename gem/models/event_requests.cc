#include "gem/messages/items.h"
#include "gem/messages/reply.h"
#include "gem/models/event_model.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace velto {

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

// The variable of that number and of exactly that kind; null when there is none.
template <typename Variables> auto findOfKind(Variables &variables, uint32_t vid, uint8_t kind) {
  const auto found = variables.FindVid(vid, kind);
  return found != nullptr && found->kind == kind ? found : nullptr;
}

bool accepts(const CHGemEventVid *constant, const std::string &value) {
  return constant != nullptr && constant->IsInRange(value);
}

// One entry for each variable that a request names, in its order; where it names none, for each
// variable of that kind. `entry(vid, variable)` makes it, the variable null when it is unknown or
// of another kind.
template <typename Entry>
std::optional<CHSecsItem> listVariables(const CHGemEventVidList &variables,
                                        const CHSecsItem &request, uint8_t kind, Entry entry) {
  ItemCollector entries;
  const std::vector<uint32_t> vids = numbersOf(request);
  for (const uint32_t vid : vids)
    if (!entries.add(entry(vid, findOfKind(variables, vid, kind))))
      return std::nullopt;
  for (size_t i = 0; vids.empty() && i < variables.Count(); ++i) {
    const CHGemEventVid &variable = variables.at(i);
    if (variable.kind == kind && !entries.add(entry(variable.vid, &variable)))
      return std::nullopt;
  }
  return entries.list();
}

std::optional<CHSecsItem> listValues(const CHGemEventVidList &variables, const CHSecsItem &request,
                                     uint8_t kind) {
  ReportedValues reported;
  return listVariables(variables, request, kind, [&](uint32_t, const CHGemEventVid *variable) {
    return variable == nullptr ? listItem() : reported.item(*variable);
  });
}

CHSecsItem statusEntry(uint32_t vid, const CHGemEventVid *variable) {
  if (variable == nullptr)
    return listItem(numberItem(vid), textItem(""), textItem(""));
  return listItem(numberItem(vid), textItem(variable->description()), textItem(variable->unit()));
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

// What the model does with one message: a check and the change that it allows, or an answer.
struct CHGemEventModel::Request {
  uint8_t stream;
  uint8_t function;
  uint8_t (CHGemEventModel::*check)(const CHSecsItem &body) const = nullptr;
  void (CHGemEventModel::*apply)(const CHSecsItem &body) = nullptr;
  std::optional<CHSecsItem> (CHGemEventModel::*body)(const CHSecsItem &request) = nullptr;
  bool takesDataId = false; ///< the answer carries one
};

bool CHGemEventModel::OnReceive(CHSecsVerifier &slot) {
  using Model = CHGemEventModel;
  static constexpr Request kRequests[] = {
      {.stream = 1, .function = 3, .body = &Model::statusValues},
      {.stream = 1, .function = 11, .body = &Model::statusNames},
      {.stream = 2, .function = 13, .body = &Model::constantValues},
      {2, 15, &Model::checkConstants, &Model::setConstants},
      {.stream = 2, .function = 29, .body = &Model::constantNames},
      {2, 33, &Model::checkReports, &Model::defineReports},
      {2, 35, &Model::checkLinks, &Model::linkEvents},
      {2, 37, &Model::checkEvents, &Model::enableEvents},
      {.stream = 6, .function = 15, .body = &Model::eventReport, .takesDataId = true},
      {.stream = 6, .function = 19, .body = &Model::individualReport},
  };
  if (slot.result != VerificationCorrect)
    return false;
  const CHSecsHeader &header = slot.message.header;
  const auto *request = std::ranges::find_if(kRequests, [&header](const Request &row) {
    return row.stream == header.stream() && row.function == header.function();
  });
  if (request == std::end(kRequests))
    return false;
  return request->body != nullptr ? answer(*request, slot) : change(*request, slot);
}

// Only the reply's body is made anew; the header that it answers with stays.
bool CHGemEventModel::answer(const Request &request, CHSecsVerifier &slot) {
  std::optional<CHSecsItem> body = (this->*request.body)(slot.message.root);
  const bool answered = body.has_value();
  slot.partner()->message.root = answered ? std::move(*body) : listItem();
  if (answered && request.takesDataId && slot.partner()->replyValid)
    ++dataId_;
  return answered;
}

bool CHGemEventModel::change(const Request &request, CHSecsVerifier &slot) {
  const uint8_t acknowledge = (this->*request.check)(slot.message.root);
  rebuildReply(slot, {std::to_string(acknowledge)});
  if (acknowledge != kAccepted)
    return false;
  setModified(); // before the host hears of anything and may load another model
  (this->*request.apply)(slot.message.root);
  return true;
}

// S2F15.

uint8_t CHGemEventModel::checkConstants(const CHSecsItem &body) const {
  for (const CHSecsItem &entry : body.children())
    if (!accepts(findOfKind(data_.variables, numberOf(childOf(entry, 1)), EquipmentConstant),
                 valueText(childOf(entry, 2), ValueForm::Decimal)))
      return kConstantRefused;
  return kAccepted;
}

// The host hears of each change and may do anything then: neither the message nor the lists need be
// there afterwards.
void CHGemEventModel::setConstants(const CHSecsItem &body) {
  std::vector<std::pair<uint32_t, std::string>> constants;
  for (const CHSecsItem &entry : body.children())
    constants.emplace_back(numberOf(childOf(entry, 1)),
                           valueText(childOf(entry, 2), ValueForm::Decimal));
  for (const auto &[ecid, value] : constants) {
    CHGemEventVid *constant = findOfKind(data_.variables, ecid, EquipmentConstant);
    if (!accepts(constant, value))
      continue;
    constant->SetValue(value);
    setModified();
    owner().reportVariable(ecid);
  }
}

// S2F33. A report is defined once, also within one message.

uint8_t CHGemEventModel::checkReports(const CHSecsItem &body) const {
  std::set<uint32_t> defined;
  for (const CHSecsItem &entry : entriesOf(body)) {
    const auto variables = childOf(entry, 2).children();
    if (variables.empty())
      continue;
    const uint32_t rptid = numberOf(childOf(entry, 1));
    if (data_.reports.FindReport(rptid) != nullptr || !defined.insert(rptid).second)
      return kReportDefined;
    for (const CHSecsItem &variable : variables)
      if (data_.variables.FindVid(numberOf(variable)) == nullptr)
        return kNoSuchVariable;
  }
  return kAccepted;
}

void CHGemEventModel::defineReports(const CHSecsItem &body) {
  const auto entries = entriesOf(body);
  if (entries.empty()) {
    data_.reports.Clear();
    data_.events.unlinkAll();
  }
  std::set<uint32_t> deleted;
  for (const CHSecsItem &entry : entries) {
    const uint32_t rptid = numberOf(childOf(entry, 1));
    const CHSecsItem &variables = childOf(entry, 2);
    if (!variables.children().empty())
      data_.reports.Add({rptid, "", numbersOf(variables)});
    else if (data_.reports.FindReport(rptid) != nullptr)
      deleted.insert(rptid);
  }
  removeReports(deleted);
}

// S2F35. An event is linked once, also within one message.

uint8_t CHGemEventModel::checkLinks(const CHSecsItem &body) const {
  std::set<uint32_t> linked;
  for (const CHSecsItem &entry : entriesOf(body)) {
    const uint32_t ceid = numberOf(childOf(entry, 1));
    const CHGemEventCeid *event = data_.events.FindCeid(ceid);
    if (event == nullptr)
      return kNoSuchEventToLink;
    const auto reports = childOf(entry, 2).children();
    if (reports.empty())
      continue;
    if (!event->reports.empty() || !linked.insert(ceid).second)
      return kEventLinked;
    for (const CHSecsItem &report : reports)
      if (data_.reports.FindReport(numberOf(report)) == nullptr)
        return kNoSuchReport;
  }
  return kAccepted;
}

void CHGemEventModel::linkEvents(const CHSecsItem &body) {
  const auto entries = entriesOf(body);
  if (entries.empty())
    data_.events.unlinkAll();
  for (const CHSecsItem &entry : entries)
    data_.events.FindCeid(numberOf(childOf(entry, 1)))->reports = numbersOf(childOf(entry, 2));
}

// S2F37.

uint8_t CHGemEventModel::checkEvents(const CHSecsItem &body) const {
  for (const CHSecsItem &ceid : entriesOf(body))
    if (data_.events.FindCeid(numberOf(ceid)) == nullptr)
      return kNoSuchEventToEnable;
  return kAccepted;
}

void CHGemEventModel::enableEvents(const CHSecsItem &body) {
  const bool enable = numberOf(childOf(body, 1)) != 0;
  const auto entries = entriesOf(body);
  for (const CHSecsItem &ceid : entries)
    data_.events.FindCeid(numberOf(ceid))->enable = enable;
  for (size_t i = 0; entries.empty() && i < data_.events.Count(); ++i)
    data_.events.at(i).enable = enable;
}

// The questions.

std::optional<CHSecsItem> CHGemEventModel::statusValues(const CHSecsItem &request) {
  return listValues(data_.variables, request, StatusVariable);
}

std::optional<CHSecsItem> CHGemEventModel::statusNames(const CHSecsItem &request) {
  return listVariables(data_.variables, request, StatusVariable, statusEntry);
}

std::optional<CHSecsItem> CHGemEventModel::constantValues(const CHSecsItem &request) {
  return listValues(data_.variables, request, EquipmentConstant);
}

std::optional<CHSecsItem> CHGemEventModel::constantNames(const CHSecsItem &request) {
  return listVariables(data_.variables, request, EquipmentConstant, constantEntry);
}

std::optional<CHSecsItem> CHGemEventModel::eventReport(const CHSecsItem &request) {
  const CHGemEventCeid *event = data_.events.FindCeid(numberOf(request));
  return event == nullptr ? std::nullopt : BuildEventData(*event, dataId_);
}

std::optional<CHSecsItem> CHGemEventModel::individualReport(const CHSecsItem &request) {
  const CHGemEventReport *report = data_.reports.FindReport(numberOf(request));
  return report == nullptr ? std::nullopt : BuildReportData(*report);
}

} // namespace velto
