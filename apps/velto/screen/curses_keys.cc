#include "apps/velto/screen/curses_keys.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>
#include <iterator>
#include <unistd.h>

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

} // namespace

CursesKeys::CursesKeys(int feed) : feed_(feed), pad_(newpad(1, 1)) {
  keypad(pad_, TRUE);
  nodelay(pad_, TRUE);
  set_escdelay(0); // all bytes of a sequence are there when it is read
  defineKeys();
}

CursesKeys::~CursesKeys() { delwin(pad_); }

void CursesKeys::feed(std::string_view bytes) {
  pending_ += bytes;
  pass(completeBytes(pending_));
}
void CursesKeys::flush() {
  pass(pending_.size());
  flushed_ = !text_.empty();
}

std::optional<Key> CursesKeys::next() {
  while (true) {
    if (!text_.empty() && (flushed_ || !isCutShort(text_)))
      return takeText();
    const int byte = wgetch(pad_);
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

// A pipe takes more than the terminal gives at once.
void CursesKeys::pass(size_t count) {
  const ssize_t passed = write(feed_, pending_.data(), count);
  pending_.erase(0, static_cast<size_t>(std::max(passed, ssize_t{0})));
}

Key CursesKeys::takeText() {
  Key key{Code::Character, text_.substr(0, firstGlyph(text_).bytes)};
  text_.erase(0, key.text.size());
  flushed_ = flushed_ && !text_.empty();
  return key;
}

Key CursesKeys::takeKey(int byte) {
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
Key CursesKeys::takeEscape() {
  int byte = wgetch(pad_);
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
    while (isCutShort(character) && isText(byte = wgetch(pad_)))
      character += static_cast<char>(byte);
  }
  return {Code::Other};
}

void CursesKeys::skipSequence() {
  for (size_t i = 0; i < kLongestSequence; ++i) {
    const int byte = wgetch(pad_);
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

} // namespace velto
