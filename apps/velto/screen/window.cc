#include "apps/velto/screen/window.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>

namespace velto {

namespace {

constexpr Size kSmallest{12, 40};

// Joins as many hints as fit into a row.
std::string joinHints(std::span<const std::string> hints, int columns) {
  std::string line;
  for (const std::string &hint : hints) {
    const size_t fitting = line.size();
    line.append(line.empty() ? "" : "  ").append(hint);
    if (cellCount(line) > columns)
      return line.substr(0, fitting);
  }
  return line;
}

} // namespace

bool isTooSmall(Size size) {
  return size.rows < kSmallest.rows || size.columns < kSmallest.columns;
}

void drawWindows(Screen &screen, std::span<Window *const> windows) {
  const auto [rows, columns] = screen.size();
  if (isTooSmall(screen.size())) {
    const std::string needed =
        std::to_string(kSmallest.columns) + " x " + std::to_string(kSmallest.rows);
    screen.put(0, 0, "The window is too small.", columns);
    screen.put(1, 0, needed + " is needed.", columns);
    screen.put(2, 0, "Esc: cancel", columns);
    return;
  }
  for (Window *window : windows)
    window->draw(screen, {0, 0, rows - 1, columns});
  screen.fill({rows - 1, 0, 1, columns}, Look::Reverse);
  if (!windows.empty())
    screen.put(rows - 1, 1, joinHints(windows.back()->hints(), columns - 2), columns - 2,
               Look::Reverse);
}

Rect drawBox(Screen &screen, const Rect &area, std::string_view title, Size inside) {
  const int rows = std::min(inside.rows + 2, area.rows);
  const int columns = std::min(inside.columns + 4, area.columns);
  const Rect box{area.row + (area.rows - rows) / 2, area.column + (area.columns - columns) / 2,
                 rows, columns};
  screen.fill(box);
  for (const int row : {box.row, box.row + rows - 1}) {
    screen.fill({row, box.column, 1, columns}, Look::Plain, '-');
    for (const int column : {box.column, box.column + columns - 1})
      screen.put(row, column, "+", 1);
  }
  for (const int column : {box.column, box.column + columns - 1})
    screen.fill({box.row + 1, column, rows - 2, 1}, Look::Plain, '|');
  if (!title.empty()) {
    const int room = columns - 6;
    screen.putCentred({box.row, box.column + 2, 1, columns - 4},
                      ' ' + std::string(title.substr(0, bytesWithin(title, room))) + ' ',
                      Look::Bold);
  }
  return {box.row + 1, box.column + 2, rows - 2, columns - 4};
}

void ButtonRow::draw(Screen &screen, const Rect &row, bool focused) const {
  constexpr std::string_view kOk = " [ OK ] ";
  constexpr std::string_view kCancel = " [ Cancel ] ";
  const auto width = static_cast<int>(kOk.size() + (cancel_ ? 1 + kCancel.size() : 0));
  int column = row.column + std::max(row.columns - width, 0) / 2;
  const auto button = [&](std::string_view text, bool on) {
    screen.put(row.row, column, text, row.columns, on ? Look::Reverse : Look::Plain);
    if (on)
      screen.put(row.row, column, ">", 1, Look::Reverse);
    column += static_cast<int>(text.size()) + 1;
  };
  button(kOk, focused && !onCancel_);
  if (cancel_)
    button(kCancel, focused && onCancel_);
}

bool ButtonRow::move(int step) {
  if (!cancel_ || onCancel_ == (step > 0))
    return false;
  onCancel_ = !onCancel_;
  return true;
}

} // namespace velto
