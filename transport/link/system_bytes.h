#pragma once

#include "secs2/header.h"

#include <cstdint>

namespace velto {

/// The system bytes of what a link sends by itself. The upper bit tells two ends apart (see
/// LinkSettings), so a number comes again after 2^31 - 1 of them.
class SystemBytes {
public:
  uint32_t next(bool high) {
    const uint32_t now = next_;
    next_ = now == kHighBit - 1 ? 1 : now + 1;
    return high ? now | kHighBit : now;
  }
  /// Gives a data message new ones: every primary with the W-bit, and any other that has none.
  void complete(CHSecsHeader &header, bool high) {
    const bool isPrimary = header.function() % 2 == 1;
    if (header.wbit() || (isPrimary && header.systemBytes == 0))
      header.systemBytes = next(high);
  }

private:
  static constexpr uint32_t kHighBit = 0x80000000;
  uint32_t next_ = 1;
};

} // namespace velto
