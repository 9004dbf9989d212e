#pragma once

#include "transport/link/statistics.h"
#include "ui/view.h"

namespace velto {

/// The property `Statistics`: a part of the controls whose window can show what their link has
/// carried.
class StatisticsProperty {
public:
  /// Whether the window has the branch "Statistics". Not kept with the other properties.
  bool Statistics() const { return statistics_; }
  void SetStatistics(bool shown) {
    statistics_ = shown;
    statisticsChanged();
  }

protected:
  ~StatisticsProperty() = default;
  virtual void statisticsChanged() = 0;
  /// Adds the branch, when it is wanted: all counters of the link, and below them a branch for each
  /// connection with those that are not 0.
  void addStatistics(TreeView &view, const LinkCounters &counters,
                     const std::vector<ConnectionCounters> &connections = {}) const;

private:
  bool statistics_ = false;
};

} // namespace velto
