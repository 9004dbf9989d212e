#include "gem/data/collection_event.h"

#include "gem/data/list_text.h"

#include <utility>

namespace velto {

const CHGemEventCeid *CHGemEventCeidList::FindByRole(uint8_t role) const {
  if (role != kNoRole)
    for (const auto &item : items_)
      if (item->role == role)
        return item;
  return nullptr;
}

CHGemEventCeid *CHGemEventCeidList::FindByRole(uint8_t role) {
  return const_cast<CHGemEventCeid *>(std::as_const(*this).FindByRole(role));
}

void CHGemEventCeidList::SetRole(CHGemEventCeid &event, uint8_t role) {
  if (role != kNoRole)
    for (const auto &item : items_)
      if (item->role == role)
        item->role = kNoRole;
  event.role = role;
}

void CHGemEventCeidList::unlinkAll() {
  for (const auto &item : items_)
    item->reports.clear();
}

void CHGemEventCeidList::unlink(const std::set<uint32_t> &rptids) {
  for (const auto &item : items_)
    std::erase_if(item->reports, [&rptids](uint32_t rptid) { return rptids.contains(rptid); });
}

ListView CHGemEventCeidList::view() const {
  ListView view;
  view.columns = {"CEID", "Enable", "Description", "Definition", "Linked Report"};
  view.rows.reserve(items_.size());
  for (const auto &item : items_)
    view.rows.push_back({std::to_string(item->ceid), yesText(item->enable), item->description,
                         roleText(item->role), joinNumbers(item->reports)});
  return view;
}

void CHGemEventCeidList::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add(countedTitle("CEIDs", items_.size()));
  for (const auto &item : items_) {
    TreeNode &line = branch.add(numberedLine(item->ceid, item->description));
    for (const uint32_t rptid : item->reports)
      line.add(std::to_string(rptid));
  }
}

} // namespace velto
