#pragma once

#include "platform/event_loop.h"

#include <csignal>
#include <functional>
#include <memory>

namespace velto {

/// Takes SIGINT and SIGTERM through the loop while it lives, so that a program ends cleanly.
class StopSignals {
public:
  StopSignals(EventLoop &loop, std::function<void()> onStop);
  /// Those that came and were not taken yet are dropped.
  ~StopSignals();
  StopSignals(const StopSignals &) = delete;
  StopSignals &operator=(const StopSignals &) = delete;

private:
  bool take();

  sigset_t before_;
  int fd_;
  std::unique_ptr<DescriptorWatch> watch_;
};

} // namespace velto
