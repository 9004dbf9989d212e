#include "apps/velto/console/line_reader.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace velto {

std::optional<std::string> LineReader::next(const std::function<bool()> &cancelled) {
  // The watch is removed when it fires. Otherwise input that waits while a handler runs would make
  // every turn of the loop return at once.
  std::optional<DescriptorWatch> watch;
  while (!cancelled()) {
    if (auto line = takeLine())
      return line;
    if (ended_)
      return std::nullopt;
    if (readable()) {
      fill();
      continue;
    }
    if (!watch)
      watch.emplace(loop_, fd_, DescriptorWatch::kReadable, [&watch](unsigned) { watch.reset(); });
    loop_.runOnce(-1);
  }
  return std::nullopt;
}

bool LineReader::readable() const {
  pollfd descriptor{fd_, POLLIN, 0};
  return poll(&descriptor, 1, 0) > 0;
}

void LineReader::fill() {
  std::array<char, 4096> bytes{};
  const ssize_t count = read(fd_, bytes.data(), bytes.size());
  if (count > 0)
    buffer_.append(bytes.data(), static_cast<size_t>(count));
  else if (count == 0 || (errno != EINTR && errno != EAGAIN))
    ended_ = true;
}

// The last line of the input may have no line end.
std::optional<std::string> LineReader::takeLine() {
  const size_t end = buffer_.find('\n', searched_);
  searched_ = buffer_.size();
  if (end == std::string::npos && (!ended_ || buffer_.empty()))
    return std::nullopt;
  std::string line = buffer_.substr(0, end);
  buffer_.erase(0, end == std::string::npos ? end : end + 1);
  searched_ = 0;
  return line;
}

} // namespace velto
