#pragma once

#include <ostream>
#include <streambuf>

namespace velto {

/// While this object exists a stream prints text as a terminal may get it (visibleText()), wherever
/// it came from: a message, a file, the command line.
class VisibleOutput {
public:
  explicit VisibleOutput(std::ostream &stream)
      : stream_(stream), before_(stream.rdbuf()), buffer_(*before_) {
    stream_.rdbuf(&buffer_);
  }
  ~VisibleOutput() {
    stream_.flush();
    stream_.rdbuf(before_);
  }
  VisibleOutput(const VisibleOutput &) = delete;
  VisibleOutput &operator=(const VisibleOutput &) = delete;

private:
  class Buffer final : public std::streambuf {
  public:
    explicit Buffer(std::streambuf &target) : target_(target) {}

  private:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char *text, std::streamsize count) override;
    int sync() override { return target_.pubsync(); }

    std::streambuf &target_;
  };

  std::ostream &stream_;
  std::streambuf *before_;
  Buffer buffer_;
};

} // namespace velto
