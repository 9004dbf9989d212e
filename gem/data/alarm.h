#pragma once

#include "gem/data/numbered_list.h"
#include "ui/view.h"

#include <cstdint>
#include <string>

namespace velto {

/// An alarm (SEMI E30; SEMI E5 ALID, ALCD, ALTX).
class CHGemAlarmAlid {
public:
  static constexpr uint8_t kSet = 0x80;

  uint32_t alid = 0;
  uint8_t alcd = 0; ///< bit 7: set; bits 0 to 6: category
  std::string altx;
  bool enable = true; ///< changes of state are reported

  uint32_t number() const { return alid; }
  bool isSet() const { return (alcd & kSet) != 0; }
  uint8_t category() const { return alcd & 0x7F; }
  bool operator==(const CHGemAlarmAlid &) const = default;
};

/// All alarms, in order of ALID.
class CHGemAlarmAlidList : public NumberedList<CHGemAlarmAlid> {
public:
  CHGemAlarmAlid *FindAlid(uint32_t alid) { return find(alid); }
  const CHGemAlarmAlid *FindAlid(uint32_t alid) const { return find(alid); }

  /// The list window: ALID, Set, ALCD, Enable, ALTX.
  ListView view() const;
  /// Adds the branch "Alarms (n)": one line per alarm, image 1 when it is enabled.
  void addStatus(TreeNode &parent) const;
};

} // namespace velto
