#include "apps/velto/screen/curses.h"

#include "apps/velto/screen/curses_keys.h"
#include "apps/velto/screen/terminal_kind.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace velto {

namespace {

/// While it exists, texts are what the user's terminal takes. A locale that is not installed counts
/// as one of UTF-8.
class TerminalLocale {
public:
  TerminalLocale() : before_(uselocale(locale())) {}
  ~TerminalLocale() { uselocale(before_); }
  TerminalLocale(const TerminalLocale &) = delete;
  TerminalLocale &operator=(const TerminalLocale &) = delete;

private:
  static locale_t locale() {
    static const locale_t users = newlocale(LC_CTYPE_MASK, "", nullptr);
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return users != nullptr ? users : utf8;
  }

  locale_t before_;
};

/// Keeps the handlers of signals: ncurses sets some of its own, which end the program.
class KeptSignals {
public:
  KeptSignals() {
    for (size_t i = 0; i < kSignals.size(); ++i)
      sigaction(kSignals[i], nullptr, &before_[i]);
  }
  ~KeptSignals() {
    for (size_t i = 0; i < kSignals.size(); ++i)
      sigaction(kSignals[i], &before_[i], nullptr);
  }
  KeptSignals(const KeptSignals &) = delete;
  KeptSignals &operator=(const KeptSignals &) = delete;

private:
  static constexpr std::array kSignals{SIGINT, SIGTERM, SIGTSTP, SIGWINCH};
  std::array<struct sigaction, kSignals.size()> before_{};
};

cchar_t drawnCell(const Screen::Cell &cell, char32_t code) {
  constexpr attr_t kLooks[] = {A_NORMAL, A_BOLD, A_REVERSE};
  const wchar_t text[] = {static_cast<wchar_t>(code), L'\0'};
  cchar_t drawn;
  setcchar(&drawn, text, kLooks[static_cast<size_t>(cell.look)], 0, nullptr);
  return drawn;
}

// A character that the terminal cannot show, or that ncurses would give other cells, is a question
// mark.
std::vector<cchar_t> drawnRow(const Screen &screen, int row) {
  const int columns = screen.size().columns;
  std::vector<cchar_t> drawn;
  for (int column = 0; column < columns; ++column) {
    const Screen::Cell &cell = screen.cell(row, column);
    if (cell.code == 0)
      continue;
    const int cells = column + 1 < columns && screen.cell(row, column + 1).code == 0 ? 2 : 1;
    const bool shows = wcwidth(static_cast<wchar_t>(cell.code)) == cells;
    drawn.push_back(drawnCell(cell, shows ? cell.code : U'?'));
    if (!shows && cells == 2)
      drawn.push_back(drawnCell(cell, U' '));
  }
  return drawn;
}

} // namespace

/// An ncurses screen that writes to a file in memory and reads from a pipe, which never block.
class Curses::Engine {
public:
  explicit Engine(Size size) {
    const TerminalLocale locale;
    const KeptSignals kept;
    use_env(FALSE);
    out_ = fdopen(memfd_create("screen", MFD_CLOEXEC), "w");
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) == 0)
      in_ = fdopen(ends[0], "r");
    feed_ = ends[1];
    if (out_ == nullptr || in_ == nullptr)
      return;
    screen_ = newterm(terminalKind(), out_, in_);
    if (!works())
      return;
    setUp();
    resize(size);
  }
  ~Engine() {
    keys_.reset();
    if (works()) {
      const KeptSignals kept;
      endwin();
      delscreen(screen_);
    }
    if (in_ != nullptr)
      fclose(in_);
    if (out_ != nullptr)
      fclose(out_);
    close(feed_);
  }
  Engine(const Engine &) = delete;
  Engine &operator=(const Engine &) = delete;

  /// False where there are no descriptors left, or no description of a terminal.
  bool works() const { return screen_ != nullptr; }

  void resize(Size size) const {
    const TerminalLocale locale;
    resize_term(size.rows, size.columns);
    repaint();
  }
  static void repaint() { clearok(curscr, TRUE); }

  std::string draw(const Screen &screen) {
    const TerminalLocale locale;
    const KeptSignals kept;
    for (int row = 0; row < screen.size().rows; ++row) {
      const std::vector<cchar_t> drawn = drawnRow(screen, row);
      mvadd_wchnstr(row, 0, drawn.data(), static_cast<int>(drawn.size()));
    }
    refresh();
    return takeOutput();
  }

  std::string leave() const {
    if (isendwin())
      return "";
    const KeptSignals kept;
    endwin();
    return takeOutput();
  }

  CursesKeys &keys() { return *keys_; }

private:
  // ncurses takes bytes above 0x7f for characters only when the terminal is told so, which makes
  // some send other bytes for Alt. So whatever it says here is dropped.
  void setUp() {
    keys_.emplace(feed_);
    meta(stdscr, TRUE);
    typeahead(-1);
    noecho();
    nonl();
    curs_set(0);
    leaveok(stdscr, TRUE);
    refresh();
    endwin();
    takeOutput();
  }

  std::string takeOutput() const {
    const int fd = fileno(out_);
    struct stat status {};
    fstat(fd, &status);
    std::string bytes(static_cast<size_t>(status.st_size), '\0');
    const ssize_t count = pread(fd, bytes.data(), bytes.size(), 0);
    bytes.resize(static_cast<size_t>(std::max(count, ssize_t{0})));
    [[maybe_unused]] const int failed = ftruncate(fd, 0);
    lseek(fd, 0, SEEK_SET);
    return bytes;
  }

  FILE *out_ = nullptr;
  FILE *in_ = nullptr;
  int feed_ = -1; ///< the end of the pipe that in_ reads from
  SCREEN *screen_ = nullptr;
  std::optional<CursesKeys> keys_;
};

bool Curses::isThere() { return Engine({1, 1}).works(); }

bool Curses::isBuiltIn() { return true; }

Curses::Curses(Size size) : engine_(std::make_unique<Engine>(size)) {
  if (!engine_->works())
    engine_.reset();
}

Curses::~Curses() = default;

void Curses::resize(Size size) {
  if (engine_)
    engine_->resize(size);
}

std::string Curses::draw(const Screen &screen) { return engine_ ? engine_->draw(screen) : ""; }

void Curses::repaint() {
  if (engine_)
    Engine::repaint();
}

std::string Curses::leave() { return engine_ ? engine_->leave() : ""; }

void Curses::feed(std::string_view bytes) {
  if (engine_)
    engine_->keys().feed(bytes);
}

std::optional<Key> Curses::nextKey() { return engine_ ? engine_->keys().next() : std::nullopt; }

bool Curses::isWaiting() const { return engine_ && engine_->keys().isWaiting(); }

void Curses::flush() {
  if (engine_)
    engine_->keys().flush();
}

} // namespace velto
