#include "apps/velto/stop_signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

namespace velto {

StopSignals::StopSignals(EventLoop &loop, std::function<void()> onStop) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &signals, &before_);
  fd_ = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
  watch_ = std::make_unique<DescriptorWatch>(loop, fd_, DescriptorWatch::kReadable,
                                             [this, onStop = std::move(onStop)](unsigned) {
                                               if (take())
                                                 onStop();
                                             });
}

StopSignals::~StopSignals() {
  watch_.reset();
  while (take())
    continue;
  close(fd_);
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool StopSignals::take() {
  signalfd_siginfo signal{};
  return read(fd_, &signal, sizeof signal) == sizeof signal;
}

} // namespace velto
