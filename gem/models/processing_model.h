#pragma once

#include "gem/models/model.h"

namespace velto {

/// The processing state (SEMI E30, 3.4) as the status tree shows it.
class CHGemProcessingModel final : public GemModel {
public:
  using GemModel::GemModel;

  uint8_t State() const { return state_; }
  /// A ProcessingState; false, and nothing changes, for a number that is none.
  bool SetState(int state);
  void Reset() override { state_ = ProcessingState::Idle; }

  void addStatus(TreeNode &parent) const override;

private:
  uint8_t state_ = ProcessingState::Idle;
};

} // namespace velto
