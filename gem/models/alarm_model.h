#pragma once

#include "gem/models/model.h"

#include <cstdint>
#include <string>

namespace velto {

/// Alarms (SEMI E30 alarm management). Carries out S5F3 and answers S5F5 and S5F7; a request that
/// is refused changes nothing.
class CHGemAlarmModel final : public GemModel {
public:
  using GemModel::GemModel;

  /// Sets or clears an alarm, as bit 7 of `alcd` says, without a word to anybody. False for an
  /// unknown alarm and one in that state already.
  bool SetAlarm(uint32_t alid, uint8_t alcd);
  /// Sets or clears an alarm, as bit 7 of `alcd` says, and sends S5F1 with the registered category.
  /// False, and nothing changes, for an unknown or disabled alarm and one in that state already;
  /// else whether the message was sent.
  bool InvokeAlarm(uint32_t alid, uint8_t alcd);

  /// Adds an enabled alarm; false when the ALID exists.
  bool RegisterALID(uint32_t alid, uint8_t alcd, std::string altx);
  /// False when there is none.
  bool UnregisterALID(uint32_t alid);

  /// Empties the list.
  void Reset() override;

  void addStatus(TreeNode &parent) const override { data().alarms.addStatus(parent); }
  std::span<const GemRequest> requests() const override;
};

} // namespace velto
