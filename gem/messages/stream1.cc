#include "gem/messages/stream1.h"

#include "gem/data/model_data.h"
#include "gem/messages/variables.h"

#include <set>
#include <utility>

namespace velto::stream1 {

namespace {

CHSecsItem nameEntry(CHSecsItem &&vid, const CHGemEventVid *variable) {
  if (variable == nullptr)
    return listItem(std::move(vid), textItem(""), textItem(""));
  return listItem(std::move(vid), textItem(variable->description()), textItem(variable->unit()));
}

// The variables of an event, each once; an item that no message can carry when too many links and
// variables were looked at for the answer: many events may share long reports of few variables.
CHSecsItem eventVariables(const GemData &data, const CHGemEventCeid &event, size_t &steps) {
  constexpr size_t kMostSteps = 2'000'000; // as many VIDs are too long for a message
  std::set<uint32_t> reports;
  std::set<uint32_t> known;
  ItemCollector vids;
  for (const uint32_t rptid : event.reports) {
    const CHGemEventReport *report = data.reports.FindReport(rptid);
    const bool counts = report != nullptr && reports.insert(rptid).second;
    steps += 1 + (counts ? report->variables.size() : 0);
    if (steps > kMostSteps)
      return tooLongItem();
    for (size_t i = 0; counts && i < report->variables.size(); ++i)
      if (known.insert(report->variables[i]).second)
        vids.add(numberItem(report->variables[i]));
  }
  return vids.list();
}

} // namespace

std::optional<CHSecsItem> statusValues(const GemData &data, const CHSecsItem &request) {
  return listValues(data, request, StatusVariable);
}

std::optional<CHSecsItem> statusNames(const GemData &data, const CHSecsItem &request) {
  return listVariables(data, request, StatusVariable, kSmallestName, nameEntry);
}

std::optional<CHSecsItem> dataNames(const GemData &data, const CHSecsItem &request) {
  return listVariables(data, request, DataVariable, kSmallestName, nameEntry);
}

std::optional<CHSecsItem> eventNames(const GemData &data, const CHSecsItem &request) {
  ItemCollector entries;
  size_t steps = 0;
  const auto add = [&](CHSecsItem &&ceid, const CHGemEventCeid *event) {
    return entries.add(event == nullptr ? listItem(std::move(ceid), textItem(""), listItem())
                                        : listItem(std::move(ceid), textItem(event->description),
                                                   eventVariables(data, *event, steps)));
  };
  const NamedIdentifiers ceids(request, data.edition);
  if (isTooMany(ceids.size(), kSmallestName))
    return tooLongItem();
  bool fits = true;
  for (size_t i = 0; fits && i < ceids.size(); ++i)
    fits = add(ceids.item(i), data.events.find(ceids[i]));
  for (size_t i = 0; fits && ceids.empty() && i < data.events.Count(); ++i)
    fits = add(numberItem(data.events.at(i).ceid), &data.events.at(i));
  return entries.list();
}

} // namespace velto::stream1
