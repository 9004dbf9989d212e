#pragma once

#include "gem/data/numbered_list.h"
#include "gem/data/roles.h"
#include "ui/view.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace velto {

/// A collection event (SEMI E30) and the reports that go out with it.
class CHGemEventCeid {
public:
  uint32_t ceid = 0;
  std::string description;
  bool enable = true;
  std::vector<uint32_t> reports; ///< RPTIDs in the order they were linked
  uint8_t role = kNoRole;

  uint32_t number() const { return ceid; }
  bool operator==(const CHGemEventCeid &) const = default;
};

/// All collection events, in order of CEID.
class CHGemEventCeidList : public NumberedList<CHGemEventCeid> {
public:
  CHGemEventCeid *FindCeid(uint32_t ceid) { return find(ceid); }
  const CHGemEventCeid *FindCeid(uint32_t ceid) const { return find(ceid); }
  /// The first event with that role; null when there is none.
  CHGemEventCeid *FindByRole(uint8_t role);
  const CHGemEventCeid *FindByRole(uint8_t role) const;
  /// Gives an event a role (kNoRole: takes it away); whoever had it keeps no role.
  void SetRole(CHGemEventCeid &event, uint8_t role);

  /// Empties every event's list of reports.
  void unlinkAll();
  /// Removes every link to those reports.
  void unlink(const std::set<uint32_t> &rptids);

  /// The list window: CEID, Enable, Description, Definition, Linked Report.
  ListView view() const;
  /// Adds the branch "CEIDs (n)": one line per event, under it its reports.
  void addStatus(TreeNode &parent) const;
};

} // namespace velto
