#include "gem/data/variable_list.h"

#include "gem/data/list_text.h"

#include <utility>

namespace velto {

namespace {

// A constant or status variable with all that is known of it.
std::string fullLine(const CHGemEventVid &variable, const char *kind) {
  return numberedLine(variable.vid, kind)
      .append(" " + variable.GetValue() + " [")
      .append(variable.unit())
      .append("] '")
      .append(variable.description())
      .append("' (min=")
      .append(variable.minimum())
      .append(", max=")
      .append(variable.maximum())
      .append(", default=")
      .append(variable.defaultValue())
      .append(")  ")
      .append(variable.rawValue());
}

std::string statusLine(const CHGemEventVid &variable) {
  switch (variable.kind) {
  case EquipmentConstant:
    return fullLine(variable, "EC");
  case StatusVariable:
    return fullLine(variable, "SV");
  default:
    return numberedLine(variable.vid, variable.kind == DataVariable ? "DV '" : "'")
        .append(variable.description())
        .append("'  ")
        .append(variable.rawValue());
  }
}

} // namespace

// Both look for their roles anew: the variables of the other one are these now.
CHGemEventVidList &CHGemEventVidList::operator=(CHGemEventVidList &&other) noexcept {
  lender_ = std::move(other.lender_);
  indexed_ = other.indexed_ = false;
  NumberedList::operator=(std::move(other));
  return *this;
}

const CHGemEventVid *CHGemEventVidList::FindVid(uint32_t vid, uint8_t kindMask) const {
  for (size_t i = lowerBound(vid); i < items_.size() && items_[i]->vid == vid; ++i)
    if ((items_[i]->kind & kindMask) != 0)
      return items_[i];
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
  lender_.reset();
}

void CHGemEventVidList::CopyFrom(const CHGemEventVidList &other) {
  indexed_ = false;
  NumberedList::CopyFrom(other); // a copy has borrowed nothing
  if (this != &other)
    lender_.reset();
}

// From the back, so that the first variable of a role stays.
void CHGemEventVidList::indexRoles() const {
  byRole_.fill(nullptr);
  for (size_t i = items_.size(); i-- > 0;)
    byRole_[items_[i]->role] = items_[i];
  indexed_ = true;
}

ListView CHGemEventVidList::view() const {
  ListView view;
  view.columns = {"VID",     "ID Type", "Type",        "Min", "Max",
                  "Default", "Unit",    "Description", "SML", "Definition"};
  view.rows.reserve(items_.size());
  for (const auto &item : items_)
    view.rows.push_back({std::to_string(item->vid), variableKindLabel(item->kind),
                         variableTypeName(item->nodeType), std::string(item->minimum()),
                         std::string(item->maximum()), std::string(item->defaultValue()),
                         std::string(item->unit()), std::string(item->description()),
                         std::string(item->rawValue()), roleText(item->role)});
  return view;
}

void CHGemEventVidList::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add(countedTitle("VIDs", items_.size()));
  for (const auto &item : items_)
    branch.add(statusLine(*item));
}

} // namespace velto
