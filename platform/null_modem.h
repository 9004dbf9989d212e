#pragma once

#include "platform/event_loop.h"
#include "platform/pseudo_terminal.h"

#include <functional>

namespace velto {

/// Two serial ports with a null modem cable between them, without hardware: what is written to the
/// one device is read from the other, while the loop runs.
class NullModem {
public:
  explicit NullModem(EventLoop &loop);

  PseudoTerminal &a() { return a_; }
  PseudoTerminal &b() { return b_; }

  /// Sees the bytes that come from an end, before they go on to the other.
  std::function<void(const PseudoTerminal &from, ByteView bytes)> onBytes;

private:
  void pump();
  void forward(PseudoTerminal &from, PseudoTerminal &to, Bytes &held);

  PseudoTerminal a_;
  PseudoTerminal b_;
  Bytes toA_;
  Bytes toB_;
  DescriptorWatch watchA_;
  DescriptorWatch watchB_;
};

} // namespace velto
