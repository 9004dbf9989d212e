#include "apps/velto/screen/screen.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>

namespace velto {

namespace {

void appendUtf8(std::string &out, char32_t code) {
  const auto continuation = [&out, code](unsigned shift) {
    out += static_cast<char>(0x80U | (code >> shift & 0x3fU));
  };
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xc0U | code >> 6);
    continuation(0);
  } else if (code < 0x10000) {
    out += static_cast<char>(0xe0U | code >> 12);
    continuation(6);
    continuation(0);
  } else {
    out += static_cast<char>(0xf0U | code >> 18);
    continuation(12);
    continuation(6);
    continuation(0);
  }
}

void appendCharacter(std::string &out, char32_t code, bool utf8) {
  if (utf8)
    appendUtf8(out, code);
  else
    out += code < 0x100 ? static_cast<char>(code) : '?';
}

const char *sequence(Look look) {
  switch (look) {
  case Look::Bold:
    return "\x1b[0;1m";
  case Look::Reverse:
    return "\x1b[0;7m";
  case Look::Plain:
    break;
  }
  return "\x1b[0m";
}

} // namespace

Screen::Screen(Size size)
    : size_{std::max(size.rows, 0), std::max(size.columns, 0)},
      cells_(static_cast<size_t>(size_.rows) * static_cast<size_t>(size_.columns)) {}

// When one of the two cells of a wide character is overwritten, the other one becomes blank.
void Screen::set(int row, int column, Cell cell) {
  Cell &old = at(row, column);
  if (old.code == 0 && cell.code != 0 && column > 0)
    at(row, column - 1).code = U' ';
  if (old.code != 0 && column + 1 < size_.columns && at(row, column + 1).code == 0)
    at(row, column + 1).code = U' ';
  old = cell;
}

int Screen::put(int row, int column, std::string_view text, int width, Look look) {
  if (row < 0 || row >= size_.rows || column < 0)
    return 0;
  const int end = std::min(column + std::min(width, size_.columns), size_.columns);
  int next = column;
  while (!text.empty()) {
    const Glyph glyph = firstGlyph(text);
    if (glyph.cells > end - next)
      break;
    text.remove_prefix(glyph.bytes);
    if (glyph.cells > 0)
      set(row, next, {glyph.code, look});
    if (glyph.cells == 2)
      set(row, next + 1, {0, look});
    next += glyph.cells;
  }
  return next - column;
}

void Screen::fill(const Rect &part, Look look, char character) {
  const std::string line(static_cast<size_t>(std::max(part.columns, 0)), character);
  for (int row = part.row; row < part.row + part.rows; ++row)
    put(row, part.column, line, part.columns, look);
}

void Screen::putCentred(const Rect &part, std::string_view text, Look look) {
  const int free = std::max(part.columns - cellCount(text), 0);
  put(part.row, part.column + free / 2, text, part.columns, look);
}

std::string Screen::text() const {
  std::string out;
  for (int row = 0; row < size_.rows; ++row) {
    for (int column = 0; column < size_.columns; ++column)
      if (at(row, column).code != 0)
        appendUtf8(out, at(row, column).code);
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
  }
  return out;
}

// The right half of a wide character is not printed: it comes with the left half.
bool Screen::differs(const Screen &before, int row, int column) const {
  if (at(row, column) != before.at(row, column))
    return true;
  return column + 1 < size_.columns && at(row, column + 1).code == 0 &&
         at(row, column + 1) != before.at(row, column + 1);
}

std::string Screen::changes(const Screen &before, bool utf8) const {
  if (before.size_ != size_)
    return "\x1b[0m\x1b[2J" + changes(Screen(size_), utf8);
  std::string out;
  Look look = Look::Plain;
  for (int row = 0; row < size_.rows; ++row) {
    bool there = false; // whether the terminal's cursor stands in this cell
    for (int column = 0; column < size_.columns; ++column) {
      const Cell &cell = at(row, column);
      if (cell.code == 0)
        continue;
      if (!differs(before, row, column)) {
        there = false;
        continue;
      }
      if (!there)
        out += "\x1b[" + std::to_string(row + 1) + ';' + std::to_string(column + 1) + 'H';
      there = true;
      if (cell.look != look)
        out += sequence(look = cell.look);
      appendCharacter(out, cell.code, utf8);
    }
  }
  if (look != Look::Plain)
    out += sequence(Look::Plain);
  return out;
}

} // namespace velto
