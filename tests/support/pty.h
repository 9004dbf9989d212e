#pragma once

#include "platform/bytes.h"
#include "platform/event_loop.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace velto {

/// A serial line whose far end is the test: a pseudo terminal that carries every byte unchanged.
class PtyLine {
public:
  PtyLine() : far_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    std::array<char, 64> name{};
    if (grantpt(far_) != 0 || unlockpt(far_) != 0 || ptsname_r(far_, name.data(), name.size()) != 0)
      std::abort();
    path_ = name.data();
    near_ = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios raw = settings();
    cfmakeraw(&raw);
    setSettings(raw);
  }
  ~PtyLine() { hangUp(); }
  PtyLine(const PtyLine &) = delete;
  PtyLine &operator=(const PtyLine &) = delete;

  /// The device of the near end. Opened or not, the line is there until hangUp().
  const std::string &path() const { return path_; }
  int fd() const { return far_; }

  /// The count of bytes taken; the line holds some thousands.
  size_t send(ByteView bytes) {
    const ssize_t count = write(far_, bytes.data(), bytes.size());
    return count < 0 ? 0 : static_cast<size_t>(count);
  }
  /// Everything that has arrived.
  Bytes read() {
    Bytes all;
    std::array<uint8_t, 4096> chunk;
    for (ssize_t count = 0; (count = ::read(far_, chunk.data(), chunk.size())) > 0;)
      all.insert(all.end(), chunk.begin(), chunk.begin() + count);
    return all;
  }

  termios settings() const {
    termios now{};
    if (tcgetattr(far_, &now) != 0)
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
    ioctl(far_, _IOR('T', 0x2A, Settings), &now);
    return now.outputRate;
  }
  void setSettings(const termios &settings) { tcsetattr(near_, TCSANOW, &settings); }

  /// As if the adapter was unplugged.
  void hangUp() {
    for (int *end : {&near_, &far_})
      if (*end >= 0)
        close(std::exchange(*end, -1));
  }

private:
  int far_;
  int near_ = -1;
  std::string path_;
};

/// Two lines with their far ends wired together while the loop runs: what goes into one end comes
/// out at the other.
class NullModem {
public:
  explicit NullModem(EventLoop &loop)
      : watchA_(loop, a_.fd(), DescriptorWatch::kReadable, [this](unsigned) { pump(); }),
        watchB_(loop, b_.fd(), DescriptorWatch::kReadable, [this](unsigned) { pump(); }) {}

  PtyLine &a() { return a_; }
  PtyLine &b() { return b_; }

private:
  void pump() {
    forward(a_, b_, toB_);
    forward(b_, a_, toA_);
    watchA_.setEvents(wanted(toB_, toA_));
    watchB_.setEvents(wanted(toA_, toB_));
  }
  static void forward(PtyLine &from, PtyLine &to, Bytes &held) {
    if (held.empty())
      held = from.read();
    held.erase(held.begin(), held.begin() + static_cast<ptrdiff_t>(to.send(held)));
  }
  /// An end is read once all that it said before has gone, and written while something waits.
  static unsigned wanted(const Bytes &said, const Bytes &waiting) {
    return (said.empty() ? DescriptorWatch::kReadable : 0) |
           (waiting.empty() ? 0 : DescriptorWatch::kWritable);
  }

  PtyLine a_;
  PtyLine b_;
  Bytes toA_;
  Bytes toB_;
  DescriptorWatch watchA_;
  DescriptorWatch watchB_;
};

} // namespace velto
