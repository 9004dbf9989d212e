#pragma once

#include "base/bytes.h"

#include <string>

namespace velto {

/// A serial line without hardware: the near end is a device, to be opened as any serial port, the
/// far end is this object. It carries every byte unchanged and takes any settings.
class PseudoTerminal {
public:
  PseudoTerminal();
  ~PseudoTerminal() { hangUp(); }
  PseudoTerminal(const PseudoTerminal &) = delete;
  PseudoTerminal &operator=(const PseudoTerminal &) = delete;

  /// The device of the near end, which is there until hangUp(), opened or not. Empty when the
  /// system has no pseudo terminal left.
  const std::string &path() const { return path_; }
  /// The descriptor of the far end, to wait for what arrives.
  int fd() const { return far_; }

  /// Sends to the near end; the count of bytes taken. Some thousands wait there to be read.
  size_t send(ByteView bytes);
  /// Everything that has arrived from the near end.
  Bytes read();

  /// Ends the line, as when an adapter is unplugged.
  void hangUp();

private:
  bool open();

  int far_;
  int near_ = -1; // kept open, so that the line outlives those who open the device
  std::string path_;
};

} // namespace velto
