#include "apps/velto/screen/terminal.h"

#include "base/text.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <utility>

namespace velto {

namespace {

constexpr uint32_t kKeyPatience = 50; // ms to wait for further bytes of a key
constexpr int kLeavePatience = 200;   // ms to wait at the end for a terminal that accepts no output
constexpr Size kUsualSize{24, 80};

Terminal *current = nullptr; // for onTerminate()
std::terminate_handler terminateBefore = nullptr;

// Opens the terminal of a descriptor once more, for a descriptor of our own that does not block.
// The given descriptor is shared with the shell, which would suffer if that one were set not to
// block.
int reopen(int fd) {
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  const int own = open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  return own >= 0 ? own : fcntl(fd, F_DUPFD_CLOEXEC, 0);
}

Size sizeOf(int out) {
  winsize size{};
  const bool known = ioctl(out, TIOCGWINSZ, &size) == 0 && size.ws_row != 0 && size.ws_col != 0;
  return known ? Size{size.ws_row, size.ws_col} : kUsualSize;
}

bool isReady(int fd, short events, int patience) {
  pollfd descriptor{fd, events, 0};
  return poll(&descriptor, 1, patience) > 0 && (descriptor.revents & events) != 0;
}

} // namespace

bool Terminal::usable(int in, int out) {
  const char *kind = std::getenv("TERM");
  return isatty(in) != 0 && isatty(out) != 0 && kind != nullptr && *kind != '\0' &&
         std::string_view(kind) != "dumb" && Curses::isThere();
}

const char *Terminal::needed() {
  return Curses::isBuiltIn() ? "a terminal for its keys and its screen"
                             : "a program that was built with ncurses";
}

Terminal::Terminal(EventLoop &loop, std::function<void()> onEvent, int in, int out)
    : onEvent_(std::move(onEvent)), loop_(loop), in_(reopen(in)), out_(reopen(out)),
      size_(sizeOf(out_)), curses_(size_), keyTimer_(loop,
                                                     [this] {
                                                       curses_.flush();
                                                       takeKeys();
                                                       changed();
                                                     }),
      signals_(loop, {SIGINT, SIGTERM, SIGHUP, SIGWINCH, SIGTSTP, SIGCONT},
               [this](int signal) { takeSignal(signal); }) {
  tcgetattr(in_, &modes_);
  current = this;
  terminateBefore = std::set_terminate(onTerminate);
  inputWatch_.emplace(loop_, in_, DescriptorWatch::kReadable, [this](unsigned) { readKeys(); });
  enter();
}

Terminal::~Terminal() {
  leave();
  std::set_terminate(terminateBefore);
  current = nullptr;
  inputWatch_.reset();
  outputWatch_.reset();
  close(in_);
  close(out_);
}

void Terminal::onTerminate() {
  if (current != nullptr)
    current->leave();
  if (terminateBefore != nullptr)
    terminateBefore();
  std::abort();
}

void Terminal::enter() {
  termios raw = modes_;
  cfmakeraw(&raw);
  tcsetattr(in_, TCSANOW, &raw);
  active_ = true;
  measure();
  flush();
}

// Waits a moment for the terminal to accept the output, but not longer: a serial line that hangs
// must not hold up the program.
void Terminal::leave() {
  if (!std::exchange(active_, false))
    return;
  output_ += curses_.leave();
  write();
  while (!output_.empty() && isReady(out_, POLLOUT, kLeavePatience))
    write();
  output_.clear();
  tcsetattr(in_, TCSANOW, &modes_);
}

// SIGSTOP stops the program until the shell continues it; SIGCONT then draws the screen again.
void Terminal::suspend() {
  leave();
  raise(SIGSTOP);
}

void Terminal::measure() {
  size_ = sizeOf(out_);
  curses_.resize(size_);
}

void Terminal::takeSignal(int signal) {
  switch (signal) {
  case SIGTSTP:
    return suspend();
  case SIGCONT: // another program may have changed the terminal meanwhile
    enter();
    break;
  case SIGWINCH:
    measure();
    break;
  default:
    stopSignal_ = signal;
    break;
  }
  changed();
}

void Terminal::readKeys() {
  std::array<char, 4096> bytes{};
  const ssize_t count = read(in_, bytes.data(), bytes.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN))
    return;
  if (count <= 0) {
    inputWatch_.reset();
    stopSignal_ = SIGHUP;
  } else {
    curses_.feed({bytes.data(), static_cast<size_t>(count)});
    takeKeys();
  }
  changed();
}

void Terminal::takeKeys() {
  while (auto key = curses_.nextKey())
    takeKey(std::move(*key));
  if (curses_.isWaiting())
    keyTimer_.start(kKeyPatience);
  else
    keyTimer_.stop();
}

void Terminal::takeKey(Key key) {
  if (key.isControl('Z')) {
    suspend();
  } else if (key.isControl('L')) {
    curses_.repaint();
    flush();
  } else {
    keys_.push_back(std::move(key));
  }
}

std::optional<Key> Terminal::nextKey() {
  if (keys_.empty())
    return std::nullopt;
  Key key = std::move(keys_.front());
  keys_.pop_front();
  return key;
}

void Terminal::draw(Screen screen) {
  wanted_ = std::move(screen);
  flush();
}

void Terminal::flush() {
  if (!active_ || outputWatch_)
    return;
  if (wanted_.size() == size_)
    output_ += curses_.draw(wanted_);
  write();
  if (!output_.empty())
    outputWatch_.emplace(loop_, out_, DescriptorWatch::kWritable, [this](unsigned) {
      write();
      if (!output_.empty())
        return;
      outputWatch_.reset();
      flush();
    });
}

// After an error the terminal will not accept the output any more: it is dropped.
void Terminal::write() {
  while (!output_.empty()) {
    const ssize_t count = ::write(out_, output_.data(), output_.size());
    if (count > 0)
      output_.erase(0, static_cast<size_t>(count));
    else if (errno == EAGAIN)
      return;
    else if (errno != EINTR)
      output_.clear();
  }
}

// Must be the last call of an event handler: onEvent may destroy this object.
void Terminal::changed() {
  if (const auto onEvent = onEvent_)
    onEvent();
}

} // namespace velto
