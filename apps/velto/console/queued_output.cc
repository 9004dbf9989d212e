#include "apps/velto/console/queued_output.h"

#include "apps/velto/console/literal.h"
#include "apps/velto/console/systemd.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <iostream>
#include <mutex>
#include <poll.h>

namespace velto {

namespace {

constexpr size_t kJoined = size_t{64} * 1024; // bytes up to which pieces are written as one

// Writes all of a text. Returns 0, or the error that prevents it.
int writeText(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(fd, text.data(), text.size());
    if (count >= 0) {
      text.remove_prefix(static_cast<size_t>(count));
    } else if (errno == EAGAIN) { // whoever shares the descriptor has set it not to block
      pollfd descriptor{fd, POLLOUT, 0};
      poll(&descriptor, 1, -1);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

// A medium without room may have some again; all other errors mean that nobody is there to read.
bool isClosed(int error) { return error != ENOSPC && error != EDQUOT && error != EFBIG; }

// A thread that gets no signals: those are for the thread of the loop.
template <typename Work> std::thread quietThread(Work work) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread(std::move(work));
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

} // namespace

struct QueuedOutput::State {
  struct Piece {
    int fd;
    std::string text;
    std::vector<std::string> entry; ///< for the journal in place of the text, when it has fields
  };

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Piece> pieces;
  size_t bytes = 0; ///< of the pieces, and of the one that is being written
  bool ending = false;
  bool lost = false;   ///< something could not be written
  bool closed = false; ///< standard output cannot be written any more
  int out = -1;
  EventLoop *loop = nullptr; ///< null once nobody is to be told
  std::function<void()> onClosed;

  void add(int fd, std::string_view text, std::vector<std::string> entry = {}) {
    if (pieces.empty() || pieces.back().fd != fd || pieces.back().text.size() >= kJoined ||
        !entry.empty() || !pieces.back().entry.empty())
      pieces.push_back({fd, "", std::move(entry)});
    pieces.back().text += text;
    bytes += text.size();
    changed.notify_all();
  }
  void failed(int fd, int error) {
    lost = lost || fd == out;
    if (fd != out || closed || !isClosed(error))
      return;
    closed = true;
    if (loop != nullptr)
      loop->postFromAnyThread(onClosed);
  }
};

QueuedOutput::QueuedOutput(EventLoop &loop, std::function<void()> onClosed,
                           std::function<std::string(uint64_t)> leftOut, const Settings &settings)
    : settings_(settings), leftOut_(std::move(leftOut)), state_(std::make_shared<State>()),
      out_(*this, settings.out, false), err_(*this, settings.err, true) {
  std::signal(SIGPIPE, SIG_IGN);
  state_->out = settings.out;
  state_->loop = &loop;
  state_->onClosed = std::move(onClosed);
  writer_ = quietThread([state = state_] { run(state); });
  watchReader(loop);
  std::cout.flush();
  outBefore_ = std::cout.rdbuf(&out_);
  errBefore_ = std::cerr.rdbuf(&err_);
}

QueuedOutput::~QueuedOutput() {
  finish();
  std::cout.rdbuf(outBefore_);
  std::cerr.rdbuf(errBefore_);
  bool idle = false;
  {
    const std::scoped_lock lock(state_->mutex);
    idle = state_->bytes == 0;
    state_->loop = nullptr;
    state_->pieces.clear();
    state_->ending = true;
    state_->changed.notify_all();
  }
  if (idle)
    writer_.join();
  else
    writer_.detach(); // in a write that may never return; the process ends it
}

// A link may have nothing to tell for hours. Nobody can close a file, which takes no watch.
void QueuedOutput::watchReader(EventLoop &loop) {
  reader_ = std::make_unique<DescriptorWatch>(loop, settings_.out, 0U, [this](unsigned) {
    const std::shared_ptr<State> state = state_;
    reader_.reset();
    const std::scoped_lock lock(state->mutex);
    state->failed(state->out, EPIPE);
  });
}

void QueuedOutput::run(const std::shared_ptr<State> &state) {
  std::unique_lock lock(state->mutex);
  for (;;) {
    state->changed.wait(lock, [&state] { return state->ending || !state->pieces.empty(); });
    if (state->pieces.empty())
      return;
    const State::Piece piece = std::move(state->pieces.front());
    state->pieces.pop_front();
    if (piece.fd != state->out || !state->closed) {
      lock.unlock();
      const bool isEntry = !piece.entry.empty() && sendToJournal(piece.entry);
      const int error = isEntry ? 0 : writeText(piece.fd, piece.text);
      lock.lock();
      if (error != 0)
        state->failed(piece.fd, error);
    }
    state->bytes -= piece.text.size();
    state->changed.notify_all();
  }
}

// A single piece is taken however long it is.
void QueuedOutput::push(int fd, std::string_view text, std::vector<std::string> entry) {
  const std::scoped_lock lock(state_->mutex);
  const size_t held = state_->bytes;
  dropping_ =
      dropping_ ? held > settings_.most / 2 : held != 0 && held + text.size() > settings_.most;
  if (dropping_) {
    dropped_ += static_cast<uint64_t>(std::ranges::count(text, '\n'));
    return;
  }
  if (dropped_ != 0)
    state_->add(settings_.out, leftOut_(std::exchange(dropped_, 0)));
  state_->add(fd, text, std::move(entry));
}

void QueuedOutput::journal(const std::string &message, std::vector<std::string> fields) {
  push(settings_.err, visibleText(message) + '\n', std::move(fields));
}

bool QueuedOutput::finish() {
  if (finished_)
    return *finished_;
  std::cout.flush();
  std::cerr.flush();
  std::unique_lock lock(state_->mutex);
  if (dropped_ != 0)
    state_->add(settings_.out, leftOut_(std::exchange(dropped_, 0)));
  if (state_->lost)
    state_->add(settings_.err, "velto: standard output cannot be written\n");
  const bool drained = state_->changed.wait_for(lock, std::chrono::milliseconds(settings_.patience),
                                                [this] { return state_->bytes == 0; });
  finished_ = drained && !state_->lost;
  return *finished_;
}

QueuedOutput::Buffer::int_type QueuedOutput::Buffer::overflow(int_type c) {
  if (c != traits_type::eof())
    text_ += traits_type::to_char_type(c);
  return traits_type::not_eof(c);
}

std::streamsize QueuedOutput::Buffer::xsputn(const char *text, std::streamsize count) {
  text_.append(text, static_cast<size_t>(count));
  return count;
}

int QueuedOutput::Buffer::sync() {
  if (text_.empty() || (isError_ && !text_.ends_with('\n')))
    return 0;
  output_.push(fd_, isError_ ? visibleText(text_) : text_);
  text_.clear();
  return 0;
}

} // namespace velto
