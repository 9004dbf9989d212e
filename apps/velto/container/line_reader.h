#pragma once

#include "platform/event_loop.h"

#include <functional>
#include <optional>
#include <string>

namespace velto::container {

/// Reads lines from a descriptor, and keeps the loop running while none is there.
///
/// What comes while nobody asks for a line stays in the descriptor. Works for terminals and pipes,
/// and for files and devices, which a loop cannot watch.
class LineReader {
public:
  LineReader(EventLoop &loop, int fd) : loop_(loop), fd_(fd) {}

  /// The next line, without its line end. Nothing at the end of the input, or once `cancelled` is
  /// true.
  std::optional<std::string> next(const std::function<bool()> &cancelled);

private:
  bool readable() const;
  void fill();
  std::optional<std::string> takeLine();

  EventLoop &loop_;
  int fd_;
  std::string buffer_;
  size_t searched_ = 0; ///< so much of the buffer has no line end
  bool ended_ = false;
};

} // namespace velto::container
