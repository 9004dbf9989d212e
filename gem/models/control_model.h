#pragma once

#include "gem/models/model.h"

#include <cstdint>
#include <optional>

namespace velto {

class CHGemEventVid;

/// The control state model (SEMI E30, 3.3): whether the equipment is off-line or on-line, and who
/// is in charge of it. The state is the value of the variable with the role ControlState; without
/// one it reads 0 and never changes.
class CHGemControlModel final : public GemModel {
public:
  CHGemControlModel(GemModelOwner &owner, GemData &data)
      : GemModel(owner, data), settings_(data.control) {}

  uint8_t GetState() const;
  /// Whether the host is being told of an off-line state, which comes when it has been.
  bool isGoingOffline() const { return reported_.has_value(); }
  /// Changes the state where SEMI E30 and the settings allow it. To an off-line state (0 to 2) it
  /// is reported before the value changes, to an on-line state after it did; when the host changes
  /// the state inside the report, its change holds. An attempt to go on-line sends S1F1, and fails
  /// at once when that cannot be sent. False when nothing changed.
  bool SwitchState(uint8_t next);
  /// What the host application may ask for; an attempt to go on-line ends by itself.
  bool SetStateByHost(uint8_t next);
  /// The operator's switch: off takes the equipment off-line, on attempts to go on-line.
  void SetOnlineSwitch(bool on);

  void fillParameters(ListView &view) const override;
  void addStatus(TreeNode &parent) const override;
  bool OnReceive(CHSecsVerifier &slot) override;
  Share share() const override { return Share::Nobody; }
  void OnReceived() override;
  void OnProblem(LinkProblem problem, const CHSecsHeader &header) override;

private:
  const CHGemEventVid *stateVariable() const;
  bool isAllowed(uint8_t current, uint8_t next) const;
  bool setValue(uint8_t state);
  bool switchOffline(uint8_t current, uint8_t next);
  void startAttempt();
  bool answerAreYouThere(CHSecsVerifier &slot);
  bool receiveInAttempt(CHSecsVerifier &slot);
  bool receiveHostOffline(CHSecsVerifier &slot);
  bool receiveOnline(CHSecsVerifier &slot);
  bool acceptRequest(CHSecsVerifier &slot, uint8_t next);

  ControlSettings &settings_;
  std::optional<uint8_t> reported_; // the off-line state that is being reported and comes next
};

} // namespace velto
