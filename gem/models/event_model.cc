#include "gem/models/event_model.h"

#include <utility>

namespace velto {

bool CHGemEventModel::InvokeEvent(uint32_t ceid) {
  const CHGemEventCeid *event = data_.events.FindCeid(ceid);
  if (event == nullptr || !event->enable)
    return false;
  std::optional<CHSecsItem> body = BuildEventData(*event, dataId_);
  if (!body)
    return false;
  CHSecsMessage message;
  message.SetFromSml("s6f11w");
  message.root = std::move(*body);
  // Counted before it is sent: the host may invoke further events meanwhile.
  const uint32_t used = dataId_++;
  if (owner().Send(std::move(message)))
    return true;
  if (dataId_ == used + 1)
    dataId_ = used;
  return false;
}

bool CHGemEventModel::InvokeRole(uint8_t eventRole) {
  const CHGemEventCeid *event = data_.events.FindByRole(eventRole);
  return event != nullptr && InvokeEvent(event->ceid);
}

std::optional<CHSecsItem> CHGemEventModel::BuildEventData(const CHGemEventCeid &event,
                                                          uint32_t dataId) const {
  CHSecsItem dataIdItem = numberItem(dataId);
  CHSecsItem ceidItem = numberItem(event.ceid);
  ItemCollector reports(kShortListHead + bytesOf(dataIdItem) + bytesOf(ceidItem));
  ReportedValues reported;
  for (const uint32_t rptid : event.reports) {
    const CHGemEventReport *report = data_.reports.FindReport(rptid);
    if (report == nullptr)
      return std::nullopt;
    ItemCollector values;
    if (!collectValues(*report, reported, values))
      return std::nullopt;
    CHSecsItem rptidItem = numberItem(rptid);
    const size_t size = kShortListHead + bytesOf(rptidItem) + values.listSize();
    if (!reports.add(listItem(std::move(rptidItem), values.list()), size))
      return std::nullopt;
  }
  return listItem(std::move(dataIdItem), std::move(ceidItem), reports.list());
}

std::optional<CHSecsItem> CHGemEventModel::BuildReportData(const CHGemEventReport &report) const {
  ReportedValues reported;
  ItemCollector values;
  return collectValues(report, reported, values) ? std::optional(values.list()) : std::nullopt;
}

bool CHGemEventModel::collectValues(const CHGemEventReport &report, ReportedValues &reported,
                                    ItemCollector &values) const {
  values.reserve(report.variables.size());
  for (const uint32_t vid : report.variables) {
    const CHGemEventVid *variable = data_.variables.FindVid(vid);
    if (variable == nullptr || !values.add(reported.item(*variable)))
      return false;
  }
  return true;
}

bool CHGemEventModel::RegisterCEID(uint32_t ceid, uint8_t role, std::string description) {
  if (data_.events.FindCeid(ceid) != nullptr)
    return false;
  CHGemEventCeid event;
  event.ceid = ceid;
  event.role = role;
  event.description = std::move(description);
  data_.events.Add(std::move(event));
  setModified();
  return true;
}

bool CHGemEventModel::RegisterVID(CHGemEventVid variable) {
  const uint8_t kind = variable.kind;
  if ((kind != EquipmentConstant && kind != StatusVariable && kind != DataVariable) ||
      data_.variables.find(variable.vid) != nullptr)
    return false;
  if (std::string value = variable.FormatBound(Bound::Default); !value.empty())
    variable.setRawValue(value);
  data_.variables.Add(std::move(variable));
  setModified();
  return true;
}

bool CHGemEventModel::UnregisterVID(uint32_t vid) {
  if (!data_.variables.Remove(vid))
    return false;
  setModified();
  return true;
}

bool CHGemEventModel::RemoveReport(uint32_t rptid) {
  if (!removeReports({rptid}))
    return false;
  setModified();
  return true;
}

bool CHGemEventModel::removeReports(const std::set<uint32_t> &rptids) {
  if (!data_.reports.Remove(rptids))
    return false;
  data_.events.unlink(rptids);
  return true;
}

void CHGemEventModel::Reset() {
  data_.events.Clear();
  data_.reports.Clear();
  data_.variables.Clear();
  dataId_ = 1;
  clearModified();
}

void CHGemEventModel::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add("Event");
  data_.events.addStatus(branch);
  data_.reports.addStatus(branch);
  data_.variables.addStatus(branch);
}

} // namespace velto
