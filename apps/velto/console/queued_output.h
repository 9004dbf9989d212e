#pragma once

#include "platform/event_loop.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace velto {

/// Standard output and standard error of a program that runs links. While this object exists
/// std::cout and std::cerr put what is printed in a queue, which a thread writes: a reader that
/// stops (a full pipe, Ctrl-S, a network file system) never holds up the loop. The descriptors stay
/// as they are, as other processes may share them.
///
/// When the queue is full, lines are left out until half of it has been written; their number is
/// told in their place. SIGPIPE is ignored.
class QueuedOutput {
public:
  struct Settings {
    int out = STDOUT_FILENO;
    int err = STDERR_FILENO;
    size_t most = size_t{8} * 1024 * 1024; ///< bytes in the queue
    uint32_t patience = 2000;              ///< ms that finish() waits for a reader
  };

  /// `onClosed` is called from the loop when standard output has been closed at its other end.
  /// `leftOut` gives the line that tells how many lines were left out.
  QueuedOutput(EventLoop &loop, std::function<void()> onClosed,
               std::function<std::string(uint64_t lines)> leftOut)
      : QueuedOutput(loop, std::move(onClosed), std::move(leftOut), Settings{}) {}
  QueuedOutput(EventLoop &loop, std::function<void()> onClosed,
               std::function<std::string(uint64_t lines)> leftOut, const Settings &settings);
  ~QueuedOutput();
  QueuedOutput(const QueuedOutput &) = delete;
  QueuedOutput &operator=(const QueuedOutput &) = delete;

  /// Sends an entry to the journal, where its message would be written; when the journal does not
  /// take it, the message goes to standard error.
  void journal(const std::string &message, std::vector<std::string> fields);

  /// Waits until all is written, but no longer than the patience. False when not all of standard
  /// output could be written. What is printed later need not be.
  bool finish();

private:
  struct State;

  /// The buffer of one of the two streams. What is flushed is one piece of output.
  class Buffer final : public std::streambuf {
  public:
    Buffer(QueuedOutput &output, int fd, bool isError)
        : output_(output), fd_(fd), isError_(isError) {}

  private:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char *text, std::streamsize count) override;
    int sync() override;

    QueuedOutput &output_;
    const int fd_;
    const bool isError_; ///< flushed by parts of lines, and shown as it may stand on a terminal
    std::string text_;
  };

  void push(int fd, std::string_view text, std::vector<std::string> entry = {});
  void watchReader(EventLoop &loop);
  static void run(const std::shared_ptr<State> &state);

  const Settings settings_;
  const std::function<std::string(uint64_t)> leftOut_;
  std::shared_ptr<State> state_; ///< the thread's too: it may be held in a write for ever
  std::thread writer_;
  std::unique_ptr<DescriptorWatch> reader_; ///< tells that standard output has been closed
  bool dropping_ = false;
  uint64_t dropped_ = 0; ///< lines left out since the last remark
  std::optional<bool> finished_;
  Buffer out_;
  Buffer err_;
  std::streambuf *outBefore_;
  std::streambuf *errBefore_;
};

} // namespace velto
