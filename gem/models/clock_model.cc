#include "gem/models/clock_model.h"

#include "gem/messages/stream2.h"

namespace velto {

std::span<const GemRequest> CHGemClockModel::requests() const {
  static constexpr GemRequest kRequests[] = {
      {.stream = 2, .function = 17, .answer = stream2::timeText},
      {.stream = 2, .function = 18, .apply = stream2::takeTime},
      {.stream = 2, .function = 31, .answer = stream2::setTime},
  };
  return kRequests;
}

} // namespace velto
