#include "platform/null_modem.h"

namespace velto {

namespace {

// An end is read once all that it said before has gone, and written while something waits for it.
unsigned wanted(const Bytes &said, const Bytes &waiting) {
  return (said.empty() ? DescriptorWatch::kReadable : 0) |
         (waiting.empty() ? 0 : DescriptorWatch::kWritable);
}

} // namespace

NullModem::NullModem(EventLoop &loop)
    : watchA_(loop, a_.fd(), DescriptorWatch::kReadable, [this](unsigned) { pump(); }),
      watchB_(loop, b_.fd(), DescriptorWatch::kReadable, [this](unsigned) { pump(); }) {}

void NullModem::pump() {
  forward(a_, b_, toB_);
  forward(b_, a_, toA_);
  watchA_.setEvents(wanted(toB_, toA_));
  watchB_.setEvents(wanted(toA_, toB_));
}

void NullModem::forward(PseudoTerminal &from, PseudoTerminal &to, Bytes &held) {
  if (held.empty()) {
    held = from.read();
    if (onBytes && !held.empty())
      onBytes(from, held);
  }
  held.erase(held.begin(), held.begin() + static_cast<ptrdiff_t>(to.send(held)));
}

} // namespace velto
