#include "apps/velto/screen/list_pane.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

namespace {

constexpr int kScrollStep = 8;
constexpr int kColumnGap = 2; // between columns

std::vector<int> columnWidths(const ListView &view) {
  std::vector<int> widths;
  const auto widen = [&widths](const std::vector<std::string> &cells) {
    widths.resize(std::max(widths.size(), cells.size()));
    for (size_t i = 0; i < cells.size(); ++i)
      widths[i] = std::max(widths[i], cellCount(cells[i]));
  };
  widen(view.columns);
  for (const auto &row : view.rows)
    widen(row);
  return widths;
}

std::string joined(const std::vector<std::string> &cells, const std::vector<int> &widths) {
  std::string line;
  for (size_t i = 0; i < cells.size(); ++i) {
    line += cells[i];
    line.append(static_cast<size_t>(widths[i] - cellCount(cells[i]) + kColumnGap), ' ');
  }
  return line;
}

} // namespace

bool ListPane::press(const Key &key, PageList &list) {
  const size_t count = list.view.rows.size();
  const size_t last = std::max(count, size_t{1}) - 1;
  size_t &selected = list.selected;
  switch (key.code) {
  case Key::Code::Up:
    if (selected == 0)
      return false;
    --selected;
    return true;
  case Key::Code::Down:
    selected = std::min(selected + 1, last);
    return true;
  case Key::Code::PageUp:
    selected -= std::min(selected, shown_);
    return true;
  case Key::Code::PageDown:
    selected = std::min(selected + shown_, last);
    return true;
  case Key::Code::Home:
    selected = 0;
    return true;
  case Key::Code::End:
    selected = last;
    return true;
  case Key::Code::Left:
    left_ = std::max(left_ - kScrollStep, 0);
    return true;
  case Key::Code::Right:
    left_ = std::min(left_ + kScrollStep, hidden_);
    return true;
  default:
    return false;
  }
}

// Scrolls so that the selected row is shown.
void ListPane::scroll(const PageList &list) {
  const size_t count = list.view.rows.size();
  first_ = std::min(first_, count - std::min(count, shown_));
  first_ = std::min(first_, list.selected);
  if (list.selected >= first_ + shown_)
    first_ = list.selected - shown_ + 1;
}

void ListPane::draw(Screen &screen, const Rect &area, const PageList &list, bool focused) {
  const std::vector<int> widths = columnWidths(list.view);
  int width = 0;
  for (const int column : widths)
    width += column + kColumnGap;
  constexpr int kMark = 2; // in front of the rows
  hidden_ = std::max(width - kColumnGap - (area.columns - kMark), 0);
  left_ = std::min(left_, hidden_);
  const int heading = list.view.columns.empty() ? 0 : 1;
  shown_ = static_cast<size_t>(std::max(area.rows - heading, 1));
  scroll(list);
  screen.fill(area);
  const auto put = [&](int row, const std::vector<std::string> &cells, bool marked, Look look) {
    const std::string line = joined(cells, widths);
    const std::string_view seen = std::string_view(line).substr(bytesWithin(line, left_));
    if (look == Look::Reverse)
      screen.fill({row, area.column, 1, area.columns}, look);
    screen.put(row, area.column, marked ? "> " : "  ", area.columns, look);
    screen.put(row, area.column + kMark, seen, area.columns - kMark, look);
  };
  if (heading != 0)
    put(area.row, list.view.columns, false, Look::Bold);
  for (size_t i = 0; i < shown_ && first_ + i < list.view.rows.size(); ++i) {
    const bool marked = first_ + i == list.selected;
    put(area.row + heading + static_cast<int>(i), list.view.rows[first_ + i], marked,
        marked && focused ? Look::Reverse : Look::Plain);
  }
}

} // namespace velto
