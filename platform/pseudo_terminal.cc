#include "platform/pseudo_terminal.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace velto {

PseudoTerminal::PseudoTerminal() : far_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
  if (!open())
    hangUp();
}

bool PseudoTerminal::open() {
  std::array<char, 64> name{};
  if (far_ < 0 || grantpt(far_) != 0 || unlockpt(far_) != 0 ||
      ptsname_r(far_, name.data(), name.size()) != 0)
    return false;
  near_ = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios raw{};
  if (near_ < 0 || tcgetattr(near_, &raw) != 0)
    return false;
  cfmakeraw(&raw);
  if (tcsetattr(near_, TCSANOW, &raw) != 0)
    return false;
  path_ = name.data();
  return true;
}

size_t PseudoTerminal::send(ByteView bytes) {
  const ssize_t count = write(far_, bytes.data(), bytes.size());
  return count < 0 ? 0 : static_cast<size_t>(count);
}

Bytes PseudoTerminal::read() {
  Bytes all;
  std::array<uint8_t, 4096> chunk;
  for (ssize_t count = 0; (count = ::read(far_, chunk.data(), chunk.size())) > 0;)
    all.insert(all.end(), chunk.begin(), chunk.begin() + count);
  return all;
}

void PseudoTerminal::hangUp() {
  for (int *end : {&near_, &far_})
    if (*end >= 0)
      close(std::exchange(*end, -1));
}

} // namespace velto
