#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace velto {

/// A descriptor held back for the moment when the process has no more of them: released, it lets a
/// listener accept a pending connection once more, only to close it. Otherwise that connection
/// would keep the listener ready, and the loop busy.
class SpareDescriptor {
public:
  SpareDescriptor() = default;
  ~SpareDescriptor() { release(); }
  SpareDescriptor(const SpareDescriptor &) = delete;
  SpareDescriptor &operator=(const SpareDescriptor &) = delete;

  bool held() const { return fd_ >= 0; }
  void acquire() {
    if (!held())
      fd_ = open("/dev/null", O_RDONLY | O_CLOEXEC);
  }
  void release() {
    if (held())
      close(std::exchange(fd_, -1));
  }

private:
  int fd_ = -1;
};

} // namespace velto
