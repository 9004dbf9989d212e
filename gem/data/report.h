#pragma once

#include "ui/view.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace velto {

/// A report: the variables whose values it carries.
class CHGemEventReport {
public:
  uint32_t rptid = 0;
  std::string description;         ///< empty when the host defined it
  std::vector<uint32_t> variables; ///< VIDs in order of definition

  uint32_t number() const { return rptid; }
  bool operator==(const CHGemEventReport &) const = default;
};

/// All reports, in order of definition. They are found by number in a sorted index: hosts choose
/// the RPTIDs, and none that they choose may make the search slow.
class CHGemEventReportList {
public:
  size_t Count() const { return reports_.size(); }
  const CHGemEventReport &at(size_t index) const { return *reports_[index]; }
  CHGemEventReport *FindReport(uint32_t rptid);
  const CHGemEventReport *FindReport(uint32_t rptid) const;
  const CHGemEventReport *FindReport(std::optional<uint32_t> rptid) const {
    return rptid ? FindReport(*rptid) : nullptr;
  }
  /// Adds at the end.
  CHGemEventReport &Add(CHGemEventReport report);
  /// Removes those reports in one pass; false when none of them exists.
  bool Remove(const std::set<uint32_t> &rptids);
  void Clear();
  void CopyFrom(const CHGemEventReportList &other);

  /// The list window: Report ID, Linked VID, Definition.
  ListView view() const;
  /// Adds the branch "Reports (n)": one line per report, under it its variables.
  void addStatus(TreeNode &parent) const;

  bool operator==(const CHGemEventReportList &other) const;

private:
  std::vector<std::unique_ptr<CHGemEventReport>> reports_;
  std::map<uint32_t, CHGemEventReport *> byNumber_;
};

} // namespace velto
