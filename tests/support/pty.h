#pragma once

#include "platform/pseudo_terminal.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <sys/ioctl.h>
#include <termios.h>

namespace velto {

/// A serial line whose far end is the test, which sees the settings that the near end was given.
class PtyLine : public PseudoTerminal {
public:
  termios settings() const {
    termios now{};
    if (tcgetattr(fd(), &now) != 0)
      std::abort();
    return now;
  }
  /// The rate, which <termios.h> shows only when it has a name: the kernel's own settings hold it
  /// in their last word.
  int32_t baudRate() const {
    struct Settings {
      std::array<uint32_t, 4> flags;
      std::array<uint8_t, 20> characters;
      int32_t inputRate;
      int32_t outputRate;
    } now{};
    ioctl(fd(), _IOR('T', 0x2A, Settings), &now);
    return now.outputRate;
  }
  void setSettings(const termios &settings) { tcsetattr(fd(), TCSANOW, &settings); }
};

} // namespace velto
