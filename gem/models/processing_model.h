#pragma once

#include "gem/models/model.h"

#include <cstdint>

namespace velto {

/// The processing state (SEMI E30, 3.4) as the status tree shows it.
class CHGemProcessingModel final : public GemModel {
public:
  enum class States : uint32_t { Idle, Setup, Ready, Executing, Pause };

  explicit CHGemProcessingModel(GemModelOwner &owner) : GemModel(owner) {}

  States State() const { return state_; }
  void SetState(States state) { state_ = state; }
  void Reset() { state_ = States::Idle; }

  void addStatus(TreeNode &parent) const override;

private:
  States state_ = States::Idle;
};

} // namespace velto
