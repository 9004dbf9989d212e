#include "gem/messages/stream6.h"

#include "gem/data/model_data.h"
#include "gem/messages/items.h"

#include <utility>

namespace velto::stream6 {

namespace {

// False when a variable is missing. Cut where no message can carry the values any more.
bool collectValues(const CHGemEventVidList &variables, const CHGemEventReport &report,
                   ReportedValues &reported, ItemCollector &values) {
  values.reserve(report.variables.size());
  for (const uint32_t vid : report.variables) {
    const CHGemEventVid *variable = variables.FindVid(vid);
    if (variable == nullptr)
      return false;
    if (!values.add(reported.item(*variable)))
      break;
  }
  return true;
}

} // namespace

std::optional<CHSecsItem> eventData(const GemData &data, const CHGemEventCeid &event,
                                    uint32_t dataId) {
  CHSecsItem dataIdItem = numberItem(dataId);
  CHSecsItem ceidItem = numberItem(event.ceid);
  ItemCollector reports(kShortListHead + bytesOf(dataIdItem) + bytesOf(ceidItem));
  ReportedValues reported;
  for (const uint32_t rptid : event.reports) {
    const CHGemEventReport *report = data.reports.FindReport(rptid);
    if (report == nullptr)
      return std::nullopt;
    ItemCollector values;
    if (!collectValues(data.variables, *report, reported, values))
      return std::nullopt;
    CHSecsItem rptidItem = numberItem(rptid);
    const size_t size = kShortListHead + bytesOf(rptidItem) + values.listSize();
    if (!reports.add(listItem(std::move(rptidItem), values.list()), size))
      break;
  }
  return listItem(std::move(dataIdItem), std::move(ceidItem), reports.list());
}

std::optional<CHSecsItem> reportData(const GemData &data, const CHGemEventReport &report) {
  ReportedValues reported;
  ItemCollector values;
  return collectValues(data.variables, report, reported, values) ? std::optional(values.list())
                                                                 : std::nullopt;
}

std::optional<CHSecsItem> eventReport(const GemData &data, const CHSecsItem &request) {
  const CHGemEventCeid *event = data.events.find(identifierOf(request, data.edition));
  return event == nullptr ? std::nullopt : eventData(data, *event, data.nextDataId);
}

std::optional<CHSecsItem> individualReport(const GemData &data, const CHSecsItem &request) {
  const CHGemEventReport *report = data.reports.FindReport(identifierOf(request, data.edition));
  return report == nullptr ? std::nullopt : reportData(data, *report);
}

} // namespace velto::stream6
