#pragma once

#include "gem/data/model_data.h"
#include "gem/models/model.h"

#include <cstdint>
#include <string>

namespace velto {

/// Alarms (SEMI E30 alarm management). Carries out S5F3 and answers S5F5 and S5F7; a request that
/// is refused changes nothing.
class CHGemAlarmModel final : public GemModel {
public:
  CHGemAlarmModel(GemModelOwner &owner, GemData &data) : GemModel(owner), data_(data) {}

  /// Sets or clears an alarm, as bit 7 of `alcd` says, and sends S5F1 with the registered category.
  /// False, and nothing changes, for an unknown or disabled alarm and one in that state already;
  /// else whether the message was sent.
  bool InvokeAlarm(uint32_t alid, uint8_t alcd);

  /// Adds an enabled alarm; false when the ALID exists.
  bool RegisterALID(uint32_t alid, uint8_t alcd, std::string altx);
  /// False when there is none.
  bool UnregisterALID(uint32_t alid);

  /// Empties the list.
  void Reset();

  void addStatus(TreeNode &parent) const override { data_.alarms.addStatus(parent); }
  bool OnReceive(CHSecsVerifier &slot) override;

private:
  bool enableAlarms(CHSecsVerifier &slot);
  bool listAlarms(CHSecsVerifier &slot) const;
  bool listEnabledAlarms(CHSecsVerifier &slot) const;

  GemData &data_;
};

} // namespace velto
