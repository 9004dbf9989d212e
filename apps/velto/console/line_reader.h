#pragma once

#include "platform/event_loop.h"

#include <functional>
#include <optional>
#include <string>

namespace velto {

/// Reads lines from a descriptor, and keeps the loop running while it waits for one.
///
/// It reads only inside next(): input that arrives at other times stays in the descriptor. It works
/// for terminals and pipes, and also for files and devices, which the loop cannot watch.
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
  size_t searched_ = 0; ///< how many bytes of the buffer are known to hold no line end
  bool ended_ = false;
};

} // namespace velto
