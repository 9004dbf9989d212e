#pragma once

#include "gem/capabilities/capability.h"

#include <cstdint>

namespace velto {

/// The variables that SEMI E30 names are true by themselves (E30 4.2, 4.3): the clock and the lists
/// of alarms and events whenever they are read, the alarm and the processing state when they
/// change. Each by its role; one that the equipment does not have is passed over. S2F25 is echoed.
class CHGemKeptVariables final : public GemCapability {
public:
  using GemCapability::GemCapability;

  /// Another processing state, as the equipment numbers them: sets the two variables and reports
  /// the event of the change. False when there is no variable of the role ProcessState or the state
  /// is the same; whether the event is sent does not matter.
  bool SetProcessState(uint32_t state);
  /// The operator changed constants at the equipment.
  void ConstantsChanged() { events().InvokeRole(RoleOperatorChangedConstant); }

  bool OnReceive(CHSecsVerifier &slot) override;
  void beforeReading(const CHGemEventCeid *event) override;
  void beforeSampling(std::span<const uint32_t> vids) override;
  void OnAlarmChanged(uint32_t alid, bool set) override;

private:
  void refresh(CHGemEventVid &variable);
};

} // namespace velto
