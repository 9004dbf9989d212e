#include "apps/velto/screen/curses.h"

#include "apps/velto/console/glyph.h"
#include "apps/velto/screen/terminal_kind.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <fcntl.h>
#include <ncurses.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace velto {

namespace {

using Code = Key::Code;

constexpr int kEscape = 0x1b;
constexpr size_t kLongestSequence = 32;

// What the ANSI terminals send for a key (ECMA-48 5.4): Esc, "[" or "O", and a letter, or "[", a
// number and "~". ncurses has only one of them from the description of the terminal, if it is the
// right one.
struct Letter {
  char letter;
  Code code;
};
constexpr Letter kLetters[] = {
    {'A', Code::Up},  {'B', Code::Down}, {'C', Code::Right},   {'D', Code::Left},
    {'F', Code::End}, {'H', Code::Home}, {'Z', Code::BackTab}, {'M', Code::Enter},
};
constexpr Code kNumbers[] = {Code::Home,   Code::Insert,   Code::Delete, Code::End,
                             Code::PageUp, Code::PageDown, Code::Home,   Code::End};
constexpr int kModifiers = 8; // the number behind the semicolon, from 2 on
constexpr int kCtrl = 5;
constexpr int kOwnKeys = 0x1000; // numbers of ours for ncurses, beyond its own

// Those that only the description knows.
struct Named {
  int key;
  Code code;
};
constexpr Named kNamed[] = {
    {KEY_UP, Code::Up},        {KEY_DOWN, Code::Down},           {KEY_RIGHT, Code::Right},
    {KEY_LEFT, Code::Left},    {KEY_HOME, Code::Home},           {KEY_END, Code::End},
    {KEY_IC, Code::Insert},    {KEY_DC, Code::Delete},           {KEY_PPAGE, Code::PageUp},
    {KEY_BTAB, Code::BackTab}, {KEY_BACKSPACE, Code::Backspace}, {KEY_NPAGE, Code::PageDown},
    {KEY_ENTER, Code::Enter},
};

// Keys mean the same with Shift and Alt; some do not with Ctrl.
Code modified(Code code, int modifier) {
  if (modifier != kCtrl)
    return code;
  if (code == Code::Left || code == Code::PageUp)
    return Code::PreviousPage;
  return code == Code::Right || code == Code::PageDown ? Code::NextPage : code;
}

void define(const std::string &sequence, Code code) {
  define_key(sequence.c_str(), kOwnKeys + static_cast<int>(code));
}

void defineKeys() {
  for (const auto &[letter, code] : kLetters) {
    define(std::string("\x1b[") + letter, code);
    define(std::string("\x1bO") + letter, code);
    for (int modifier = 2; modifier <= kModifiers; ++modifier)
      define("\x1b[1;" + std::to_string(modifier) + letter, modified(code, modifier));
  }
  for (size_t i = 0; i < std::size(kNumbers); ++i) {
    const std::string begin = "\x1b[" + std::to_string(i + 1);
    define(begin + '~', kNumbers[i]);
    for (int modifier = 2; modifier <= kModifiers; ++modifier)
      define(begin + ';' + std::to_string(modifier) + '~', modified(kNumbers[i], modifier));
  }
}

Key controlKey(int byte) {
  switch (byte) {
  case '\r':
  case '\n':
    return {Code::Enter};
  case '\t':
    return {Code::Tab};
  case '\b':
  case 0x7f:
    return {Code::Backspace};
  default:
    return {Code::Control, std::string(1, static_cast<char>(byte + '@'))};
  }
}

bool isText(int byte) { return byte >= 0x20 && byte < 0x100 && byte != 0x7f; }
// Within a sequence, behind its beginning.
bool isParameter(int byte) { return byte >= 0x20 && byte <= 0x3f; }
bool isFinal(int byte) { return byte >= 0x40 && byte <= 0x7e; }

// How many bytes there are in front of an Esc that may be the beginning of a sequence to come.
size_t completeBytes(std::string_view bytes) {
  const size_t escape = bytes.rfind(kEscape);
  if (escape == std::string_view::npos || bytes.size() - escape > kLongestSequence)
    return bytes.size();
  const std::string_view sequence = bytes.substr(escape + 1);
  const bool introduced = sequence.starts_with('[') || sequence.starts_with('O');
  const size_t begin = sequence.starts_with("[[") ? 2 : 1; // function keys of the Linux console
  const bool ends =
      introduced ? !std::ranges::all_of(sequence.substr(begin), isParameter) : !sequence.empty();
  return ends ? bytes.size() : escape;
}

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
    [[maybe_unused]] const int failed = pipe2(ends, O_NONBLOCK | O_CLOEXEC);
    in_ = fdopen(ends[0], "r");
    feed_ = ends[1];
    screen_ = newterm(terminalKind(), out_, in_);
    if (!works())
      return;
    setUp();
    resize(size);
  }
  ~Engine() {
    if (works()) {
      const KeptSignals kept;
      endwin();
      delwin(keys_);
      delscreen(screen_);
    }
    fclose(in_);
    fclose(out_);
    close(feed_);
  }
  Engine(const Engine &) = delete;
  Engine &operator=(const Engine &) = delete;

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

  void feed(std::string_view bytes) {
    pending_ += bytes;
    pass(completeBytes(pending_));
  }
  void flush() {
    pass(pending_.size());
    flushed_ = !text_.empty();
  }
  bool isWaiting() const { return !pending_.empty() || !text_.empty(); }

  std::optional<Key> nextKey() {
    while (true) {
      if (!text_.empty() && (flushed_ || !isCutShort(text_)))
        return takeText();
      const int byte = wgetch(keys_);
      if (byte == ERR)
        return std::nullopt;
      if (isText(byte)) {
        text_ += static_cast<char>(byte);
        continue;
      }
      if (text_.empty())
        return takeKey(byte);
      ungetch(byte); // behind the text, of which no more comes
      flushed_ = true;
    }
  }

private:
  // ncurses takes bytes above 0x7f for characters only when the terminal is told so, which makes
  // some send other bytes for Alt. So whatever it says here is dropped.
  void setUp() {
    keys_ = newpad(1, 1); // of the keys alone: reading them draws nothing
    keypad(keys_, TRUE);
    nodelay(keys_, TRUE);
    meta(keys_, TRUE);
    set_escdelay(0); // all bytes of a sequence are there when it is read
    typeahead(-1);
    noecho();
    nonl();
    curs_set(0);
    leaveok(stdscr, TRUE);
    defineKeys();
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

  // A pipe takes more than the terminal gives at once.
  void pass(size_t count) {
    const ssize_t passed = write(feed_, pending_.data(), count);
    pending_.erase(0, static_cast<size_t>(std::max(passed, ssize_t{0})));
  }

  Key takeText() {
    Key key{Code::Character, text_.substr(0, firstGlyph(text_).bytes)};
    text_.erase(0, key.text.size());
    flushed_ = flushed_ && !text_.empty();
    return key;
  }

  Key takeKey(int byte) {
    if (byte == kEscape)
      return takeEscape();
    if (byte < 0x100)
      return controlKey(byte);
    if (byte >= kOwnKeys)
      return {static_cast<Code>(byte - kOwnKeys)};
    const auto *named = std::ranges::find(kNamed, byte, &Named::key);
    return {named == std::end(kNamed) ? Code::Other : named->code};
  }

  // Esc itself; or the beginning of a sequence that nobody knows; or of a key pressed together with
  // Alt, which comes as Esc and the key.
  Key takeEscape() {
    int byte = wgetch(keys_);
    if (byte == ERR)
      return {Code::Escape};
    if (byte == kEscape || byte >= 0x100) {
      ungetch(byte);
      return {Code::Escape};
    }
    if (byte == '[' || byte == 'O') {
      skipSequence();
    } else if (byte >= 0x80) {
      std::string character(1, static_cast<char>(byte));
      while (isCutShort(character) && isText(byte = wgetch(keys_)))
        character += static_cast<char>(byte);
    }
    return {Code::Other};
  }

  void skipSequence() {
    for (size_t i = 0; i < kLongestSequence; ++i) {
      const int byte = wgetch(keys_);
      if (i == 0 && byte == '[')
        continue;
      if (byte == ERR || isFinal(byte))
        return;
      if (!isParameter(byte)) {
        ungetch(byte);
        return;
      }
    }
  }

  FILE *out_ = nullptr;
  FILE *in_ = nullptr;
  int feed_ = -1; ///< the end of the pipe that in_ reads from
  SCREEN *screen_ = nullptr;
  WINDOW *keys_ = nullptr;
  std::string pending_;  ///< bytes that may be the beginning of a sequence
  std::string text_;     ///< bytes that may be the beginning of a character
  bool flushed_ = false; ///< no more bytes come for text_
};

bool Curses::isThere() { return Engine({1, 1}).works(); }

bool Curses::isBuiltIn() { return true; }
Curses::Curses(Size size) : engine_(std::make_unique<Engine>(size)) {}
Curses::~Curses() = default;
void Curses::resize(Size size) { engine_->resize(size); }
std::string Curses::draw(const Screen &screen) { return engine_->draw(screen); }
void Curses::repaint() { Engine::repaint(); }
std::string Curses::leave() { return engine_->leave(); }
void Curses::feed(std::string_view bytes) { engine_->feed(bytes); }
std::optional<Key> Curses::nextKey() { return engine_->nextKey(); }
bool Curses::isWaiting() const { return engine_->isWaiting(); }
void Curses::flush() { engine_->flush(); }

} // namespace velto
