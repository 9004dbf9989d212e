#include "apps/velto/screen/screen_front_end.h"

#include <algorithm>

namespace velto::screen {

namespace {

using Code = Key::Code;

constexpr int kMostBoxWidth = 72;

// The lines of a text that has to go into a width.
std::vector<std::string> wrapped(const std::string &text, int width) {
  std::vector<std::string> lines(1);
  for (size_t at = 0; at < text.size();) {
    if (text[at] == '\n') {
      lines.emplace_back();
      ++at;
      continue;
    }
    const size_t end = std::min(text.find_first_of(" \n", at + 1), text.size());
    const std::string word = text.substr(at, end - at);
    if (!lines.back().empty() && cellCount(lines.back()) + cellCount(word) > width)
      lines.emplace_back(word.substr(word.starts_with(' ') ? 1 : 0));
    else
      lines.back() += word;
    at = end;
  }
  return lines;
}

const char *iconText(MessageBox::Icon icon) {
  switch (icon) {
  case MessageBox::Icon::Stop:
    return "(x) ";
  case MessageBox::Icon::Question:
    return "(?) ";
  case MessageBox::Icon::None:
    break;
  }
  return "";
}

void drawBox(Frame &frame, const MessageBox &box, bool cancelFocused) {
  const int width = std::min(kMostBoxWidth, frame.width());
  const std::vector<std::string> lines = wrapped(iconText(box.icon) + box.text, width - 4);
  const int height = std::min(static_cast<int>(lines.size()) + 4, frame.height());
  const Area area{(frame.width() - width) / 2, (frame.height() - height) / 2, width, height};
  frame.box(area);
  if (!box.title.empty())
    frame.put(area.x + 2, area.y, " " + box.title + " ", width - 4);
  for (int i = 0; i < height - 4; ++i)
    frame.put(area.x + 2, area.y + 1 + i, lines[static_cast<size_t>(i)], width - 4);
  const int y = area.y + height - 2;
  frame.put(area.x + 2, y, "[ OK ]", width - 4, !cancelFocused);
  if (box.cancel)
    frame.put(area.x + 10, y, "[ Cancel ]", width - 12, cancelFocused);
}

} // namespace

Key ScreenFrontEnd::nextKey(const MessageBox *box, bool cancelFocused) {
  const Area size = display_.size();
  Frame frame(size.width, size.height);
  for (SheetWindow *window : windows_)
    window->draw(frame);
  if (box != nullptr)
    drawBox(frame, *box, cancelFocused);
  display_.show(frame);
  const Key key = display_.readKey();
  quit_ = quit_ || key.code == Code::Quit;
  return key;
}

bool ScreenFrontEnd::showBox(const MessageBox &box) {
  bool cancelFocused = false;
  while (!quit_) {
    switch (nextKey(&box, cancelFocused).code) {
    case Code::Enter:
      return !cancelFocused;
    case Code::Escape:
      return !box.cancel;
    case Code::Tab:
    case Code::BackTab:
    case Code::Left:
    case Code::Right:
      cancelFocused = box.cancel && !cancelFocused;
      break;
    default:
      break;
    }
  }
  return false;
}

bool ScreenFrontEnd::showSheet(PropertySheet &sheet) {
  SheetWindow window(sheet, *this);
  windows_.push_back(&window);
  SheetWindow::Result result = SheetWindow::Result::Open;
  while (result == SheetWindow::Result::Open && !quit_)
    result = window.handle(nextKey(nullptr, false));
  windows_.pop_back();
  return accepted_ = result == SheetWindow::Result::Accepted && !quit_;
}

} // namespace velto::screen
