#pragma once

#include "gem/models/model.h"

namespace velto {

/// The terminal services (SEMI E30, equipment terminal services): acknowledges texts that operators
/// and host send each other.
class CHGemTerminalModel final : public GemModel {
public:
  using GemModel::GemModel;

  std::span<const GemRequest> requests() const override;
  Share share() const override { return Share::Capabilities; }
};

} // namespace velto
