#include "gem/models/terminal_model.h"

#include "gem/messages/stream10.h"

namespace velto {

std::span<const GemRequest> CHGemTerminalModel::requests() const {
  static constexpr GemRequest kRequests[] = {
      {.stream = 10, .function = 1, .answer = stream10::acceptText},
      {.stream = 10, .function = 3, .answer = stream10::acceptText},
      {.stream = 10, .function = 5, .answer = stream10::acceptText},
  };
  return kRequests;
}

} // namespace velto
