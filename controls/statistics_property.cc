#include "controls/statistics_property.h"

#include <string>

namespace velto {

void StatisticsProperty::addStatistics(TreeView &view, const LinkCounters &counters) const {
  if (!statistics_)
    return;
  TreeNode &branch = view.add("Statistics");
  for (const NamedCounter &counter : namedCounters(counters))
    branch.add(std::string(counter.name) + " : " + std::to_string(counter.value));
}

} // namespace velto
