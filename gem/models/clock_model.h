#pragma once

#include "gem/models/model.h"

namespace velto {

/// The clock services (SEMI E30, clock): tells the host the time, and lets it set the clock where
/// the equipment's data allow that.
class CHGemClockModel final : public GemModel {
public:
  using GemModel::GemModel;

  std::span<const GemRequest> requests() const override;
  Share share() const override { return Share::Capabilities; }
};

} // namespace velto
