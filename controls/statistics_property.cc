#include "controls/statistics_property.h"

#include <string>

namespace velto {

namespace {

void addCounters(TreeNode &branch, const LinkCounters &counters, bool all) {
  for (const NamedCounter &counter : namedCounters(counters))
    if (all || counter.value != 0)
      branch.add(std::string(counter.name) + " : " + std::to_string(counter.value));
}

} // namespace

void StatisticsProperty::addStatistics(TreeView &view, const LinkCounters &counters,
                                       const std::vector<ConnectionCounters> &connections) const {
  if (!statistics_)
    return;
  TreeNode &branch = view.add("Statistics");
  addCounters(branch, counters, true);
  for (const ConnectionCounters &connection : connections)
    addCounters(branch.add(connection.remote), connection.counters, false);
}

} // namespace velto
