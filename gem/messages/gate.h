#pragma once

#include "gem/messages/send_stage.h"
#include "gem/models/model.h"

namespace velto {

/// The gate: refuses what may not go out in the present communication and control states (SEMI E30
/// 3.2, 3.3).
class CHGemGate final : public GemSendStage {
public:
  explicit CHGemGate(const GemModelOwner &owner) : owner_(owner) {}

  std::optional<bool> stop(const CHSecsMessage &message) override;

private:
  bool mayPass(const CHSecsHeader &header) const;

  const GemModelOwner &owner_;
};

} // namespace velto
