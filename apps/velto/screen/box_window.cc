#include "apps/velto/screen/box_window.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>
#include <string_view>

namespace velto {

namespace {

constexpr int kLineWidth = 60;
constexpr int kButtonRows = 2;

std::string titleOf(const MessageBox &box) {
  switch (box.icon) {
  case MessageBox::Icon::Stop:
    return "(!) " + box.title;
  case MessageBox::Icon::Question:
    return "(?) " + box.title;
  case MessageBox::Icon::None:
    break;
  }
  return box.title;
}

} // namespace

BoxWindow::BoxWindow(const MessageBox &box) : box_(box), buttons_(box.cancel) {}

void BoxWindow::press(const Key &key) {
  using Code = Key::Code;
  switch (key.code) {
  case Code::Escape:
    return close(!box_.cancel);
  case Code::Enter:
    return close(!buttons_.onCancel());
  case Code::Left:
  case Code::Right:
    buttons_.move(key.code == Code::Left ? -1 : 1);
    break;
  case Code::Tab:
  case Code::BackTab:
    if (!buttons_.move(1))
      buttons_.toFirst();
    break;
  case Code::Up:
    top_ = std::max(top_ - 1, 0);
    break;
  case Code::Down:
    top_ = std::min(top_ + 1, below_);
    break;
  default:
    if (key.is(' '))
      close(!buttons_.onCancel());
    break;
  }
}

void BoxWindow::draw(Screen &screen, const Rect &area) {
  const std::string title = titleOf(box_);
  const auto lines = wrapped(box_.text, std::min(kLineWidth, area.columns - 4));
  int width = std::max(cellCount(title) + 2, 24);
  for (const std::string_view line : lines)
    width = std::max(width, cellCount(line));
  const Rect inside =
      drawBox(screen, area, title,
              {static_cast<int>(std::min(lines.size(), size_t{1000})) + kButtonRows, width});
  const int rows = inside.rows - kButtonRows;
  below_ = std::max(static_cast<int>(lines.size()) - rows, 0);
  top_ = std::min(top_, below_);
  for (int i = 0; i < rows && top_ + i < static_cast<int>(lines.size()); ++i)
    screen.put(inside.row + i, inside.column, lines[static_cast<size_t>(top_ + i)], inside.columns);
  buttons_.draw(screen, {inside.row + inside.rows - 1, inside.column, 1, inside.columns}, true);
}

std::vector<std::string> BoxWindow::hints() const {
  std::vector<std::string> hints = {buttons_.onCancel() ? "Enter: Cancel" : "Enter: OK"};
  if (box_.cancel)
    hints.insert(hints.end(), {"Left/Right: other button", "Esc: cancel"});
  if (below_ > 0)
    hints.emplace_back("Up/Down: more text");
  return hints;
}

} // namespace velto
