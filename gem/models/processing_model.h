#pragma once

#include "gem/models/model.h"

namespace velto {

/// The processing state (SEMI E30, 3.4) as the status tree shows it.
class CHGemProcessingModel final : public GemModel {
public:
  using GemModel::GemModel;

  uint8_t State() const { return state_; }
  void SetState(uint8_t state) { state_ = state; }
  void Reset() override { state_ = ProcessingState::Idle; }

  void addStatus(TreeNode &parent) const override;

private:
  uint8_t state_ = ProcessingState::Idle;
};

} // namespace velto
