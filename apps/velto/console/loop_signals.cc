#include "apps/velto/console/loop_signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

namespace velto {

namespace {

bool isIgnored(int signal) {
  struct sigaction action {};
  sigaction(signal, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

} // namespace

LoopSignals::LoopSignals(EventLoop &loop, std::initializer_list<int> signals,
                         std::function<void(int signal)> onSignal) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals)
    if (signal != SIGHUP || !isIgnored(signal))
      sigaddset(&set, signal);
  sigprocmask(SIG_BLOCK, &set, &before_);
  fd_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
  watch_ = std::make_unique<DescriptorWatch>(loop, fd_, DescriptorWatch::kReadable,
                                             [this, onSignal = std::move(onSignal)](unsigned) {
                                               if (const int signal = take(); signal != 0)
                                                 onSignal(signal);
                                             });
}

LoopSignals::~LoopSignals() {
  watch_.reset();
  while (take() != 0)
    continue;
  close(fd_);
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

// Takes one signal that has arrived; 0 when there is none.
int LoopSignals::take() {
  signalfd_siginfo signal{};
  return read(fd_, &signal, sizeof signal) == sizeof signal ? static_cast<int>(signal.ssi_signo)
                                                            : 0;
}

} // namespace velto
