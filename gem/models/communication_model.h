#pragma once

#include "gem/models/model.h"

#include <cstdint>
#include <optional>

namespace velto {

/// The communication state model (SEMI E30, 3.2): establishes communications by S1F13 and S1F14 in
/// either direction, and asks again after a delay when nobody answers.
class CHGemCommunicationModel final : public GemModel {
public:
  CHGemCommunicationModel(GemModelOwner &owner, GemData &data)
      : GemModel(owner, data), settings_(data.communication) {}

  uint8_t State() const { return state_; }
  /// Also while the host is told that it will be.
  bool isDisabled() const {
    return state_ == CommunicationState::Disabled || reported_ == CommunicationState::Disabled;
  }
  /// S1F13 was sent and its S1F14 is awaited.
  bool WaitingCRA() const { return waitingCRA_; }
  /// Changes the state and reports it, before it changes. False for no change, for a number that is
  /// no state, and from disabled to anything but not communicating. When the host changes the state
  /// inside the report, its change holds.
  bool SwitchState(uint8_t next);
  /// Disabled, nothing awaited, nothing reported. The settings stay.
  void Reset() override;

  /// The establish communications timeout: how long to wait before S1F13 is sent again.
  uint32_t timeoutMs() const;
  /// The transaction of S1F13 ended without an S1F14: asks again after the timeout.
  void OnUnanswered();

  void fillParameters(ListView &view) const override;
  void addStatus(TreeNode &parent) const override;
  void Tick() override;
  std::optional<uint32_t> NextTick() const override;
  bool OnReceive(CHSecsVerifier &slot) override;
  Share share() const override { return Share::Nobody; }
  void OnReceived() override;
  void OnConnectionReset() override;
  void OnDisable() override;
  void OnRejected(const CHSecsHeader &primary) override;
  void OnProblem(LinkProblem problem, const CHSecsHeader &header) override;

private:
  void sendRequest();
  void startDelay();
  uint32_t delay() const;
  bool answerRequest(CHSecsVerifier &slot);
  bool takeAnswer(const CHSecsMessage &answer);

  CommunicationSettings &settings_;
  uint8_t state_ = CommunicationState::Disabled;
  std::optional<uint8_t> reported_; // the state that is being reported and comes next
  bool waitingCRA_ = false;
  bool denied_ = false;                // the last answer was a denial
  std::optional<uint32_t> delayStart_; // tick
  bool rejected_ = false;              // the delay is that after a rejection
  std::optional<uint32_t> refusedAt_;  // tick at which S1F13 could not be sent
};

} // namespace velto
