#pragma once

#include "apps/velto/screen/keys.h"

#include <ncurses.h>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// The keys of the ncurses screen that exists: makes them of the bytes that a terminal sends.
///
/// The key Esc sends the byte with which the sequences of other keys begin, and a byte of 8-bit
/// text may look like the first one of a character in UTF-8. So bytes that may be the beginning of
/// more are kept; when nothing follows for a while, the caller asks for them with flush().
class CursesKeys {
public:
  /// `feed` is the end to write to of the pipe that the screen reads from.
  explicit CursesKeys(int feed);
  ~CursesKeys();
  CursesKeys(const CursesKeys &) = delete;
  CursesKeys &operator=(const CursesKeys &) = delete;

  void feed(std::string_view bytes);
  std::optional<Key> next();
  bool isWaiting() const { return !pending_.empty() || !text_.empty(); }
  void flush();

private:
  void pass(size_t count);
  Key takeText();
  Key takeKey(int byte);
  Key takeEscape();
  void skipSequence();

  int feed_;
  WINDOW *pad_;          ///< of the keys alone: reading them draws nothing
  std::string pending_;  ///< bytes that may be the beginning of a sequence
  std::string text_;     ///< bytes that may be the beginning of a character
  bool flushed_ = false; ///< no more bytes come for text_
};

} // namespace velto
