#include "gem/variable_list.h"

#include "gem/list_text.h"

#include <utility>

namespace velto {

namespace {

// A constant or status variable with all that is known of it.
std::string fullLine(const CHGemEventVid &variable, const char *kind) {
  return numberedLine(variable.vid, kind)
      .append(" " + variable.GetValue() + " [" + variable.unit + "] '" + variable.description)
      .append("' (min=" + variable.minimum + ", max=" + variable.maximum)
      .append(", default=" + variable.defaultValue + ")  " + variable.rawValue);
}

std::string statusLine(const CHGemEventVid &variable) {
  switch (variable.kind) {
  case EquipmentConstant:
    return fullLine(variable, "EC");
  case StatusVariable:
    return fullLine(variable, "SV");
  default:
    return numberedLine(variable.vid, variable.kind == DataVariable ? "DV '" : "'")
        .append(variable.description + "'  " + variable.rawValue);
  }
}

} // namespace

const CHGemEventVid *CHGemEventVidList::FindVid(uint32_t vid, uint8_t kindMask) const {
  for (size_t i = lowerBound(vid); i < items_.size() && items_[i]->vid == vid; ++i)
    if ((items_[i]->kind & kindMask) != 0)
      return items_[i].get();
  return nullptr;
}

CHGemEventVid *CHGemEventVidList::FindVid(uint32_t vid, uint8_t kindMask) {
  return const_cast<CHGemEventVid *>(std::as_const(*this).FindVid(vid, kindMask));
}

const CHGemEventVid *CHGemEventVidList::FindByRole(uint8_t role) const {
  if (role == kNoRole)
    return nullptr;
  if (!indexed_)
    indexRoles();
  return byRole_[role];
}

CHGemEventVid *CHGemEventVidList::FindByRole(uint8_t role) {
  return const_cast<CHGemEventVid *>(std::as_const(*this).FindByRole(role));
}

void CHGemEventVidList::SetRole(CHGemEventVid &variable, uint8_t role) {
  if (role != kNoRole)
    for (const auto &item : items_)
      if (item->role == role)
        item->role = kNoRole;
  variable.role = role;
  indexed_ = false;
}

CHGemEventVid &CHGemEventVidList::Add(CHGemEventVid variable) {
  indexed_ = indexed_ && variable.role == kNoRole;
  return NumberedList::Add(std::move(variable));
}

CHGemEventVid &CHGemEventVidList::Append() {
  indexed_ = false;
  return NumberedList::Append();
}

void CHGemEventVidList::Append(CHGemEventVid variable) {
  indexed_ = false;
  NumberedList::Append(std::move(variable));
}

bool CHGemEventVidList::Remove(uint32_t vid) {
  indexed_ = false;
  return NumberedList::Remove(vid);
}

void CHGemEventVidList::Clear() {
  indexed_ = false;
  NumberedList::Clear();
}

void CHGemEventVidList::CopyFrom(const CHGemEventVidList &other) {
  indexed_ = false;
  NumberedList::CopyFrom(other);
}

// From the back, so that the first variable of a role stays.
void CHGemEventVidList::indexRoles() const {
  byRole_.fill(nullptr);
  for (size_t i = items_.size(); i-- > 0;)
    byRole_[items_[i]->role] = items_[i].get();
  indexed_ = true;
}

ListView CHGemEventVidList::view() const {
  ListView view;
  view.columns = {"VID",     "ID Type", "Type",        "Min", "Max",
                  "Default", "Unit",    "Description", "SML", "Definition"};
  view.rows.reserve(items_.size());
  for (const auto &item : items_)
    view.rows.push_back({std::to_string(item->vid), variableKindLabel(item->kind),
                         variableTypeName(item->nodeType), item->minimum, item->maximum,
                         item->defaultValue, item->unit, item->description, item->rawValue,
                         roleText(item->role)});
  return view;
}

void CHGemEventVidList::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add(countedTitle("VIDs", items_.size()));
  for (const auto &item : items_)
    branch.add(statusLine(*item));
}

} // namespace velto
