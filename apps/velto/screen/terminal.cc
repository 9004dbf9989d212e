#include "apps/velto/screen/terminal.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace velto::screen {

namespace {

using Code = Key::Code;

constexpr size_t kLongestSequence = 32;
constexpr int kEscapePause = 50; // ms in which the rest of a control sequence comes

struct Sequence {
  std::string_view bytes;
  Code code;
};

// What follows ESC; xterm, the Linux console, tmux and their like.
constexpr Sequence kSequences[] = {
    {"[A", Code::Up},          {"[B", Code::Down},
    {"[C", Code::Right},       {"[D", Code::Left},
    {"OA", Code::Up},          {"OB", Code::Down},
    {"OC", Code::Right},       {"OD", Code::Left},
    {"[H", Code::Home},        {"[F", Code::End},
    {"OH", Code::Home},        {"OF", Code::End},
    {"[1~", Code::Home},       {"[4~", Code::End},
    {"[7~", Code::Home},       {"[8~", Code::End},
    {"[2~", Code::Insert},     {"[3~", Code::Delete},
    {"[5~", Code::PageUp},     {"[6~", Code::PageDown},
    {"[Z", Code::BackTab},     {"[1;5D", Code::PreviousPage},
    {"[1;5C", Code::NextPage}, {"[5;5~", Code::PreviousPage},
    {"[6;5~", Code::NextPage},
};

// The end of a control sequence that begins behind ESC; npos while it is incomplete.
size_t sequenceEnd(std::string_view input) {
  if (input.size() < 2)
    return std::string_view::npos;
  if (input[1] == 'O')
    return input.size() < 3 ? std::string_view::npos : 3;
  if (input[1] != '[')
    return 1;
  for (size_t i = 2; i < input.size(); ++i)
    if (input[i] >= 0x40 && input[i] <= 0x7e)
      return i + 1;
  return std::string_view::npos;
}

Key takeSequence(std::string &input, bool complete) {
  const size_t end = sequenceEnd(input);
  if (end == std::string::npos && !complete && input.size() <= kLongestSequence)
    return {};
  if (end == std::string::npos || end == 1) {
    input.erase(0, 1);
    return {Code::Escape};
  }
  const std::string bytes = input.substr(1, end - 1);
  input.erase(0, end);
  for (const Sequence &sequence : kSequences)
    if (sequence.bytes == bytes)
      return {sequence.code};
  return {};
}

void writeAll(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR && errno != EAGAIN)
      return;
    bytes.remove_prefix(count > 0 ? static_cast<size_t>(count) : 0);
  }
}

} // namespace

Key takeKey(std::string &input, bool complete) {
  if (input.empty())
    return {};
  const char first = input[0];
  if (first == 0x1b)
    return takeSequence(input, complete);
  if (static_cast<unsigned char>(first) >= 0x20 && first != 0x7f) {
    const size_t bytes = characterSize(input, 0);
    Key key{Code::Character, input.substr(0, bytes)};
    input.erase(0, bytes);
    return key;
  }
  input.erase(0, 1);
  switch (first) {
  case '\r':
  case '\n':
    return {Code::Enter};
  case '\t':
    return {Code::Tab};
  case 0x08:
  case 0x7f:
    return {Code::Backspace};
  case 0x03:
    return {Code::Quit};
  default:
    return {};
  }
}

void Terminal::enter() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGWINCH})
    sigaddset(&signals, number);
  sigprocmask(SIG_BLOCK, &signals, &signalsBefore_);
  signals_ = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
  tcgetattr(STDIN_FILENO, &before_);
  termios raw = before_;
  cfmakeraw(&raw);
  tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  writeAll("\x1b[?1049h");
}

Terminal::~Terminal() {
  if (signals_ < 0)
    return;
  writeAll("\x1b[0m\x1b[?25h\x1b[?1049l");
  tcsetattr(STDIN_FILENO, TCSANOW, &before_);
  close(signals_);
  sigprocmask(SIG_SETMASK, &signalsBefore_, nullptr);
}

Area Terminal::size() {
  winsize window{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col != 0;
  return {0, 0, known ? window.ws_col : 80, known ? window.ws_row : 24};
}

void Terminal::show(const Frame &frame) {
  if (signals_ < 0)
    enter();
  writeAll(frame.sequences());
}

Key Terminal::readKey() {
  for (;;) {
    Key key;
    if (ended_)
      return {Code::Quit};
    const size_t waiting = input_.size();
    key = takeKey(input_, false);
    if (key.code == Code::Unknown && waiting != 0 && input_.size() == waiting &&
        !waitForInput(kEscapePause))
      key = takeKey(input_, true);
    if (key.code != Code::Unknown)
      return key;
    if (input_.empty() && !waitForInput(-1) && takeSignal(key))
      return key;
  }
}

// True when input came; false after the time, or when there is a signal.
bool Terminal::waitForInput(int milliseconds) {
  std::array<pollfd, 2> fds{{{STDIN_FILENO, POLLIN, 0}, {signals_, POLLIN, 0}}};
  if (poll(fds.data(), fds.size(), milliseconds) <= 0 || fds[1].revents != 0 || fds[0].revents == 0)
    return false;
  std::array<char, 256> bytes{};
  const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
  if (count > 0)
    input_.append(bytes.data(), static_cast<size_t>(count));
  else if (count == 0 || (errno != EINTR && errno != EAGAIN))
    ended_ = true;
  return true;
}

bool Terminal::takeSignal(Key &key) {
  signalfd_siginfo taken{};
  if (read(signals_, &taken, sizeof taken) != sizeof taken)
    return false;
  ended_ = taken.ssi_signo != SIGWINCH;
  key = {ended_ ? Code::Quit : Code::Resize};
  return true;
}

} // namespace velto::screen
