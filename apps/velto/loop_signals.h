#pragma once

#include "platform/event_loop.h"

#include <csignal>
#include <functional>
#include <initializer_list>
#include <memory>

namespace velto {

/// Takes signals through the loop while it lives. When two take the same signal, either gets it.
class LoopSignals {
public:
  LoopSignals(EventLoop &loop, std::initializer_list<int> signals,
              std::function<void(int signal)> onSignal);
  /// Those that came and were not taken yet are dropped.
  ~LoopSignals();
  LoopSignals(const LoopSignals &) = delete;
  LoopSignals &operator=(const LoopSignals &) = delete;

private:
  int take();

  sigset_t before_;
  int fd_;
  std::unique_ptr<DescriptorWatch> watch_;
};

/// What asks a program to end: Ctrl-C, and SIGTERM.
inline constexpr std::initializer_list<int> kStopSignals = {SIGINT, SIGTERM};

} // namespace velto
