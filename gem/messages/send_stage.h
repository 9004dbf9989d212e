#pragma once

#include "secs2/message.h"

#include <optional>

namespace velto {

/// A stage on the way of a message from the equipment to the link. The core object hands every
/// message that models or the host application send to each stage in a fixed order.
class GemSendStage {
public:
  virtual ~GemSendStage() = default;

  /// Nothing: the message goes on. Else it stops here, and the sender hears this: false when it is
  /// refused, true when the stage takes care of it.
  virtual std::optional<bool> stop(const CHSecsMessage &message) = 0;
};

} // namespace velto
