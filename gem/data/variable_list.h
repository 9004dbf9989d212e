#pragma once

#include "gem/data/numbered_list.h"
#include "gem/data/variable.h"
#include "ui/view.h"

#include <array>
#include <memory>
#include <utility>

namespace velto {

/// All variables, in order of VID.
class CHGemEventVidList : public NumberedList<CHGemEventVid> {
public:
  CHGemEventVidList() = default;
  CHGemEventVidList(CHGemEventVidList &&other) noexcept { *this = std::move(other); }
  CHGemEventVidList &operator=(CHGemEventVidList &&other) noexcept;

  /// The first variable with that VID whose kind shares a bit with the mask; null when there is
  /// none.
  CHGemEventVid *FindVid(uint32_t vid, uint8_t kindMask = kAnyKind);
  const CHGemEventVid *FindVid(uint32_t vid, uint8_t kindMask = kAnyKind) const;
  /// The first variable with that role; null when there is none. Constant time.
  CHGemEventVid *FindByRole(uint8_t role);
  const CHGemEventVid *FindByRole(uint8_t role) const;
  /// Gives a variable a role (kNoRole: takes it away); whoever had it keeps no role.
  void SetRole(CHGemEventVid &variable, uint8_t role);

  CHGemEventVid &Add(CHGemEventVid variable);
  void Append(CHGemEventVid variable);
  CHGemEventVid &Append() {
    indexed_ = false;
    return NumberedList::Append();
  }
  bool Remove(uint32_t vid);
  void Clear();
  void CopyFrom(const CHGemEventVidList &other);
  /// Holds on to what the texts of variables have been borrowed from, until the list is cleared.
  void KeepAlive(std::shared_ptr<const void> lender) { lender_ = std::move(lender); }

  /// The list window: VID, ID Type, Type, Min, Max, Default, Unit, Description, SML, Definition.
  ListView view() const;
  /// Adds the branch "VIDs (n)" with one line per variable.
  void addStatus(TreeNode &parent) const;

private:
  void indexRoles() const;

  std::shared_ptr<const void> lender_;
  mutable std::array<CHGemEventVid *, 256> byRole_{};
  mutable bool indexed_ = false;
};

} // namespace velto
