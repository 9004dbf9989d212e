#include "gem/models/event_model.h"

#include "gem/messages/stream1.h"
#include "gem/messages/stream2.h"
#include "gem/messages/stream6.h"

#include <algorithm>
#include <utility>

namespace velto {

bool CHGemEventModel::InvokeEvent(uint32_t ceid) {
  const CHGemEventCeid *event = data().events.FindCeid(ceid);
  if (event == nullptr || !event->enable)
    return false;
  owner().beforeReading(*event);
  std::optional<CHSecsItem> body = stream6::eventData(data(), *event, data().nextDataId);
  if (!body)
    return false;
  CHSecsMessage message;
  message.SetFromSml("s6f11w");
  message.root = std::move(*body);
  // Counted before it is sent: the host may invoke further events meanwhile.
  const uint32_t used = data().nextDataId++;
  if (owner().Send(std::move(message)))
    return true;
  if (data().nextDataId == used + 1)
    data().nextDataId = used;
  return false;
}

bool CHGemEventModel::InvokeRole(uint8_t eventRole) {
  const CHGemEventCeid *event = data().events.FindByRole(eventRole);
  return event != nullptr && InvokeEvent(event->ceid);
}

bool CHGemEventModel::RegisterCEID(uint32_t ceid, uint8_t role, std::string description) {
  if (data().events.FindCeid(ceid) != nullptr)
    return false;
  CHGemEventCeid event;
  event.ceid = ceid;
  event.role = role;
  event.description = std::move(description);
  data().events.Add(std::move(event));
  setModified();
  return true;
}

bool CHGemEventModel::RegisterVID(CHGemEventVid variable) {
  const uint8_t kind = variable.kind;
  if ((kind != EquipmentConstant && kind != StatusVariable && kind != DataVariable) ||
      data().variables.find(variable.vid) != nullptr)
    return false;
  if (std::string value = variable.FormatBound(Bound::Default); !value.empty())
    variable.setRawValue(value);
  data().variables.Add(std::move(variable));
  setModified();
  return true;
}

bool CHGemEventModel::UnregisterVID(uint32_t vid) {
  if (!data().variables.Remove(vid))
    return false;
  owner().variableRemoved(vid);
  setModified();
  return true;
}

bool CHGemEventModel::SetVIDRole(uint32_t vid, uint8_t role) {
  CHGemEventVid *variable = data().variables.find(vid);
  if (variable == nullptr || (role != kNoRole && role >= variableRoleNames().size()))
    return false;
  data().variables.SetRole(*variable, role);
  setModified();
  return true;
}

bool CHGemEventModel::SetReport(uint32_t rptid, std::vector<uint32_t> vids) {
  if (vids.empty())
    return RemoveReport(rptid);
  const auto isKnown = [this](uint32_t vid) { return data().variables.find(vid) != nullptr; };
  if (!std::ranges::all_of(vids, isKnown))
    return false;
  if (CHGemEventReport *report = data().reports.FindReport(rptid))
    report->variables = std::move(vids);
  else
    data().reports.Add({rptid, "", std::move(vids)});
  setModified();
  return true;
}

bool CHGemEventModel::LinkReport(uint32_t ceid, uint32_t rptid) {
  CHGemEventCeid *event = data().events.FindCeid(ceid);
  if (event == nullptr || data().reports.FindReport(rptid) == nullptr ||
      std::ranges::find(event->reports, rptid) != event->reports.end())
    return false;
  event->reports.push_back(rptid);
  setModified();
  return true;
}

bool CHGemEventModel::RemoveReport(uint32_t rptid) {
  if (!data().removeReports({rptid}))
    return false;
  setModified();
  return true;
}

void CHGemEventModel::Reset() {
  data().events.Clear();
  data().reports.Clear();
  data().variables.Clear();
  data().nextDataId = 1;
  clearModified();
}

void CHGemEventModel::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add("Event");
  data().events.addStatus(branch);
  data().reports.addStatus(branch);
  data().variables.addStatus(branch);
}

std::span<const GemRequest> CHGemEventModel::requests() const {
  static constexpr GemRequest kRequests[] = {
      {.stream = 1, .function = 3, .body = stream1::statusValues},
      {.stream = 1, .function = 11, .body = stream1::statusNames},
      {.stream = 1, .function = 21, .body = stream1::dataNames},
      {.stream = 1, .function = 23, .body = stream1::eventNames},
      {.stream = 2, .function = 13, .body = stream2::constantValues},
      {2, 15, stream2::checkConstants, stream2::setConstants},
      {.stream = 2, .function = 29, .body = stream2::constantNames},
      {2, 33, stream2::checkReports, stream2::defineReports},
      {2, 35, stream2::checkLinks, stream2::linkEvents},
      {2, 37, stream2::checkEvents, stream2::enableEvents},
      {.stream = 6, .function = 15, .body = stream6::eventReport, .takesDataId = true},
      {.stream = 6, .function = 19, .body = stream6::individualReport},
  };
  return kRequests;
}

} // namespace velto
