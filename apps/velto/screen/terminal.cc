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

// kEnter: alternate screen, cursor hidden, no wrap at the right edge. kLeave undoes that.
constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?25l\x1b[?7l";
constexpr std::string_view kLeave = "\x1b[0m\x1b[?7h\x1b[?25h\x1b[?1049l";

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

bool isUtf8Locale() {
  for (const char *name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char *value = std::getenv(name);
    if (value == nullptr || *value == '\0')
      continue;
    const std::string_view locale = value;
    const size_t dot = locale.find('.');
    const std::string_view set = dot == std::string_view::npos ? "" : locale.substr(dot + 1);
    return equalsIgnoreCase(set, "UTF-8") || equalsIgnoreCase(set, "utf8");
  }
  return false;
}

bool isReady(int fd, short events, int patience) {
  pollfd descriptor{fd, events, 0};
  return poll(&descriptor, 1, patience) > 0 && (descriptor.revents & events) != 0;
}

} // namespace

bool Terminal::usable(int in, int out) {
  const char *kind = std::getenv("TERM");
  return isatty(in) != 0 && isatty(out) != 0 && kind != nullptr && *kind != '\0' &&
         std::string_view(kind) != "dumb";
}

Terminal::Terminal(EventLoop &loop, std::function<void()> onEvent, int in, int out)
    : onEvent_(std::move(onEvent)), loop_(loop), in_(reopen(in)), out_(reopen(out)),
      utf8_(isUtf8Locale()), keyTimer_(loop,
                                       [this] {
                                         while (auto key = decoder_.flush())
                                           takeKey(std::move(*key));
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
  output_ += kEnter;
  shown_ = Screen();
  measure();
  flush();
}

// Waits a moment for the terminal to accept the output, but not longer: a serial line that hangs
// must not hold up the program.
void Terminal::leave() {
  if (!std::exchange(active_, false))
    return;
  output_ += kLeave;
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
  winsize size{};
  if (ioctl(out_, TIOCGWINSZ, &size) == 0 && size.ws_row != 0 && size.ws_col != 0)
    size_ = {size.ws_row, size.ws_col};
  else
    size_ = kUsualSize;
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
    decoder_.feed({bytes.data(), static_cast<size_t>(count)});
    while (auto key = decoder_.next())
      takeKey(std::move(*key));
    if (decoder_.waiting())
      keyTimer_.start(kKeyPatience);
    else
      keyTimer_.stop();
  }
  changed();
}

void Terminal::takeKey(Key key) {
  if (key.isControl('Z')) {
    suspend();
  } else if (key.isControl('L')) {
    shown_ = Screen();
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
  output_ += wanted_.changes(shown_, utf8_);
  shown_ = wanted_;
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
