#pragma once

#include "platform/event_loop.h"

#include <csignal>
#include <functional>
#include <initializer_list>
#include <memory>

namespace velto {

/// Delivers signals through the loop while this object exists. When two such objects wait for the
/// same signal, only one of them gets it.
class LoopSignals {
public:
  /// A SIGHUP that the caller has told the program to ignore (nohup) stays ignored.
  LoopSignals(EventLoop &loop, std::initializer_list<int> signals,
              std::function<void(int signal)> onSignal);
  /// Signals that arrived and were not delivered yet are dropped.
  ~LoopSignals();
  LoopSignals(const LoopSignals &) = delete;
  LoopSignals &operator=(const LoopSignals &) = delete;

private:
  int take();

  sigset_t before_;
  int fd_;
  std::unique_ptr<DescriptorWatch> watch_;
};

/// The signals that ask a program to end: SIGINT (Ctrl-C), SIGTERM, and SIGHUP when its terminal is
/// gone.
inline constexpr std::initializer_list<int> kStopSignals = {SIGINT, SIGTERM, SIGHUP};

} // namespace velto
