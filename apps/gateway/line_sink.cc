// Sinks of lines of JSON: standard output, and files that are begun anew when they are full.

#include "apps/gateway/json.h"
#include "apps/gateway/sink.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace velto::gateway {

namespace {

std::string lineOf(const Publication &publication) {
  return JsonObject().text("topic", publication.topic).json("payload", publication.payload).take() +
         '\n';
}

/// Standard output. A reader that stops holds up nobody: publications wait, and are acknowledged
/// when they have been written.
class StdoutSink final : public Sink {
public:
  StdoutSink(EventLoop &loop, Owner &owner)
      : owner_(owner), opener_(loop, [this] { owner_.sinkReady(true); }),
        writer_(loop, [this] { write(); }) {}

  std::string open() override {
    opener_.start(1);
    return "";
  }
  bool ready() const override { return waiting() < kMost; }
  void publish(uint64_t id, const Publication &publication) override {
    text_ += lineOf(publication);
    ends_.push_back({id, waiting() + written_});
  }
  void flush() override {
    if (waiting() != 0 && !writer_.running())
      writer_.start(1);
  }
  void close(uint32_t patience) override {
    pollfd out{STDOUT_FILENO, POLLOUT, 0};
    while (waiting() != 0 && poll(&out, 1, static_cast<int>(patience)) > 0 && writeSome()) {
    }
  }

private:
  struct End {
    uint64_t id;
    uint64_t at; ///< byte behind it, of all that was ever written
  };
  static constexpr size_t kMost = size_t{1} * 1024 * 1024;
  static constexpr uint32_t kPause = 20; // ms until a full pipe is tried again

  size_t waiting() const { return text_.size() - begin_; }

  void write() {
    const bool wasReady = ready();
    pollfd out{STDOUT_FILENO, POLLOUT, 0};
    while (waiting() != 0 && poll(&out, 1, 0) > 0)
      if (!writeSome())
        return owner_.sinkFailed(std::string("standard output: ") + std::strerror(errno));
    if (waiting() != 0)
      writer_.start(kPause);
    if (!wasReady && ready())
      owner_.sinkReady(false);
  }

  // No more than a pipe takes at once, so that the write does not wait.
  bool writeSome() {
    const size_t size = std::min<size_t>(waiting(), PIPE_BUF);
    const ssize_t count = ::write(STDOUT_FILENO, text_.data() + begin_, size);
    if (count < 0)
      return errno == EINTR || errno == EAGAIN;
    begin_ += static_cast<size_t>(count);
    if (begin_ * 2 > text_.size()) {
      text_.erase(0, begin_);
      begin_ = 0;
    }
    written_ += static_cast<uint64_t>(count);
    while (!ends_.empty() && ends_.front().at <= written_) {
      const uint64_t id = ends_.front().id;
      ends_.pop_front();
      owner_.delivered(id);
    }
    return true;
  }

  Owner &owner_;
  Timer opener_;
  Timer writer_;
  std::string text_;
  size_t begin_ = 0; ///< what stands before it has been written
  uint64_t written_ = 0;
  std::deque<End> ends_;
};

/// A file PATH, and PATH.1 and so on that are full, the first of them the latest.
class FileSink final : public Sink {
public:
  FileSink(EventLoop &loop, Owner &owner, const FileConfig &file)
      : owner_(owner), file_(file), opener_(loop, [this] { owner_.sinkReady(true); }),
        retry_(loop, [this] { flush(); }) {}
  ~FileSink() override {
    if (fd_ >= 0)
      ::close(fd_);
  }

  std::string open() override {
    fd_ = ::open(file_.path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
    struct stat state {};
    if (fd_ < 0 || fstat(fd_, &state) != 0)
      return file_.path + ": " + std::strerror(errno);
    size_ = static_cast<uint64_t>(state.st_size);
    opener_.start(1);
    return "";
  }
  bool ready() const override { return text_.size() < kMost && fd_ >= 0; }
  void publish(uint64_t id, const Publication &publication) override {
    text_ += lineOf(publication);
    ids_.push_back(id);
  }
  void flush() override {
    if (text_.empty() || retry_.running())
      return;
    const bool wasReady = ready();
    if (fd_ < 0 || !writeAll() || fdatasync(fd_) != 0) {
      lost_ = true;
      owner_.sinkLost(file_.path + ": " + std::strerror(errno));
      retry_.start(kRetry);
      return;
    }
    std::deque<uint64_t> ids;
    ids.swap(ids_);
    for (const uint64_t id : ids)
      owner_.delivered(id);
    if (size_ >= uint64_t{1024} * 1024 * static_cast<uint64_t>(file_.megabytes))
      rotate();
    const bool afresh = std::exchange(lost_, false);
    if (afresh || (!wasReady && ready()))
      owner_.sinkReady(afresh);
  }

private:
  static constexpr size_t kMost = size_t{4} * 1024 * 1024;
  static constexpr uint32_t kRetry = 1000; // ms until a full disk is tried again

  bool writeAll() {
    while (!text_.empty()) {
      const ssize_t count = ::write(fd_, text_.data(), text_.size());
      if (count < 0 && errno != EINTR)
        return false;
      if (count > 0) {
        text_.erase(0, static_cast<size_t>(count));
        size_ += static_cast<uint64_t>(count);
      }
    }
    return true;
  }

  void rotate() {
    ::close(fd_);
    FileSystem &files = systemFiles();
    const auto numbered = [this](int32_t number) {
      return file_.path + '.' + std::to_string(number);
    };
    files.remove(numbered(file_.keep));
    for (int32_t number = file_.keep - 1; number >= 1; --number)
      files.rename(numbered(number), numbered(number + 1));
    files.rename(file_.path, numbered(1));
    fd_ = ::open(file_.path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
    if (fd_ < 0)
      return owner_.sinkFailed(file_.path + ": " + std::strerror(errno));
    files.syncDirectory(file_.path);
    size_ = 0;
  }

  Owner &owner_;
  const FileConfig file_;
  Timer opener_;
  Timer retry_;
  int fd_ = -1;
  bool lost_ = false; ///< the disk takes nothing
  uint64_t size_ = 0;
  std::string text_;
  std::deque<uint64_t> ids_;
};

} // namespace

std::unique_ptr<Sink> makeLineSink(EventLoop &loop, Sink::Owner &owner, const OutConfig &out) {
  if (out.sink == SinkKind::File)
    return std::make_unique<FileSink>(loop, owner, out.file);
  return std::make_unique<StdoutSink>(loop, owner);
}

} // namespace velto::gateway
