#pragma once

#include "base/local_time.h"

#include <cstdint>

namespace velto {

/// When something was seen.
struct SpyMoment {
  uint64_t micros = 0; ///< of a clock that only goes on; what intervals are measured by
  LocalTime local;
  uint64_t since1970 = 0; ///< microseconds, UTC
};

/// Which way bytes go through a connection between the end that made it and the one that it was
/// made to.
enum class SpyDirection : uint8_t { ToTarget, FromTarget };

constexpr SpyDirection opposite(SpyDirection direction) {
  return direction == SpyDirection::ToTarget ? SpyDirection::FromTarget : SpyDirection::ToTarget;
}
/// As an index of what there is for each way.
constexpr size_t indexOf(SpyDirection direction) { return static_cast<size_t>(direction); }

} // namespace velto
