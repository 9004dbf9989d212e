#include "gem/data/alarm.h"

#include "gem/data/list_text.h"

namespace velto {

ListView CHGemAlarmAlidList::view() const {
  ListView view;
  view.columns = {"ALID", "Set", "ALCD", "Enable", "ALTX"};
  view.rows.reserve(items_.size());
  for (const auto &item : items_)
    view.rows.push_back({std::to_string(item->alid), item->isSet() ? "Set" : "",
                         std::to_string(item->category()), yesText(item->enable), item->altx});
  return view;
}

void CHGemAlarmAlidList::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add(countedTitle("Alarms", items_.size()));
  for (const auto &item : items_)
    branch.add(numberedLine(item->alid, item->altx), item->enable ? 1 : 0);
}

} // namespace velto
