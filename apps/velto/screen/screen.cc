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
      if (cell(row, column).code != 0)
        appendUtf8(out, cell(row, column).code);
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
  }
  return out;
}

} // namespace velto
