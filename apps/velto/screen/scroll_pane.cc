#include "apps/velto/screen/scroll_pane.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>

namespace velto {

void ScrollPane::press(const Key &key) {
  switch (key.code) {
  case Key::Code::Up:
    first_ -= std::min(first_, size_t{1});
    break;
  case Key::Code::Down:
    first_ += 1;
    break;
  case Key::Code::PageUp:
    first_ -= std::min(first_, shown_);
    break;
  case Key::Code::PageDown:
    first_ += shown_;
    break;
  case Key::Code::Home:
    first_ = 0;
    break;
  case Key::Code::End:
    first_ = last_;
    break;
  default:
    return;
  }
  first_ = std::min(first_, last_);
  atEnd_ = follow_ && first_ == last_;
}

void ScrollPane::draw(Screen &screen, const Rect &area, const LineSource &lines, bool focused) {
  shown_ = static_cast<size_t>(std::max(area.rows - 1, 1));
  last_ = lines.count - std::min(lines.count, shown_);
  first_ = atEnd_ ? last_ : std::min(first_, last_);
  screen.fill(area);
  screen.fill({area.row, area.column, 1, area.columns}, Look::Plain, '-');
  screen.put(area.row, area.column + 1, (focused ? "[" : " ") + title_ + (focused ? "]" : " "),
             area.columns - 2, Look::Bold);
  if (last_ > 0) {
    const std::string place = ' ' + std::to_string(first_ + 1) + " to " +
                              std::to_string(std::min(first_ + shown_, lines.count)) + " of " +
                              std::to_string(lines.count) + ' ';
    screen.put(area.row, area.column + area.columns - cellCount(place) - 1, place, area.columns);
  }
  for (size_t i = 0; i < shown_ && first_ + i < lines.count; ++i)
    screen.put(area.row + 1 + static_cast<int>(i), area.column + 1, lines.line(first_ + i),
               area.columns - 2);
}

} // namespace velto
