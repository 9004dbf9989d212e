#include "gem/messages/stream1.h"

#include "gem/data/model_data.h"
#include "gem/messages/variables.h"

namespace velto::stream1 {

namespace {

CHSecsItem statusEntry(uint32_t vid, const CHGemEventVid *variable) {
  if (variable == nullptr)
    return listItem(numberItem(vid), textItem(""), textItem(""));
  return listItem(numberItem(vid), textItem(variable->description()), textItem(variable->unit()));
}

} // namespace

std::optional<CHSecsItem> statusValues(const GemData &data, const CHSecsItem &request) {
  return listValues(data.variables, request, StatusVariable);
}

std::optional<CHSecsItem> statusNames(const GemData &data, const CHSecsItem &request) {
  return listVariables(data.variables, request, StatusVariable, statusEntry);
}

} // namespace velto::stream1
