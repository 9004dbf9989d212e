#include "apps/velto/screen/full_screen_front_end.h"

#include "apps/velto/screen/box_window.h"
#include "apps/velto/screen/sheet_window.h"

#include <csignal>
#include <iostream>

namespace velto {

namespace {

constexpr Size kSmallest{12, 40};

bool isTooSmall(Size size) {
  return size.rows < kSmallest.rows || size.columns < kSmallest.columns;
}

} // namespace

FullScreenFrontEnd::Display::Display(EventLoop &loop)
    : out(std::cout), err(std::cerr), terminal(loop) {}

bool FullScreenFrontEnd::showBox(const MessageBox &box) {
  BoxWindow window(box);
  return run(window);
}

bool FullScreenFrontEnd::showSheet(PropertySheet &sheet) {
  SheetWindow window(sheet, *this);
  return sheetAccepted_ = run(window);
}

// The first window brings the display, and takes it along.
bool FullScreenFrontEnd::run(Window &window) {
  if (display_) {
    work(window);
    return window.accepted();
  }
  display_.emplace(loop_);
  work(window);
  const int signal = display_->terminal.stopSignal();
  display_.reset();
  if (signal != 0)
    raise(signal);
  return window.accepted();
}

void FullScreenFrontEnd::work(Window &window) {
  Display &display = *display_;
  display.windows.push_back(&window);
  display.outdated = true;
  while (!window.closed() && !isEnding()) {
    if (const auto key = display.terminal.nextKey()) {
      press(window, *key);
    } else {
      draw();
      loop_.runOnce(-1);
    }
  }
  display.windows.pop_back();
  display.outdated = true;
}

bool FullScreenFrontEnd::isEnding() const {
  return display_->cancelled || display_->terminal.stopSignal() != 0 || (ended_ && ended_());
}

// Nobody presses what he cannot see.
void FullScreenFrontEnd::press(Window &window, const Key &key) {
  if (key.isControl('C'))
    display_->cancelled = true;
  else if (!isTooSmall(display_->terminal.size()) || key.code == Key::Code::Escape)
    window.press(key);
  display_->outdated = true;
}

void FullScreenFrontEnd::draw() {
  Display &display = *display_;
  const Size size = display.terminal.size();
  if (!display.outdated && display.screen.size() == size)
    return;
  display.outdated = false;
  display.screen = Screen(size);
  if (isTooSmall(size)) {
    display.screen.put(0, 0, "The window is too small.", size.columns);
    display.screen.put(1, 0,
                       "Needs " + std::to_string(kSmallest.columns) + " x " +
                           std::to_string(kSmallest.rows) + ".",
                       size.columns);
    display.screen.put(2, 0, "Esc: cancel", size.columns);
  } else {
    const Rect help{size.rows - 1, 0, 1, size.columns};
    for (Window *window : display.windows)
      window->draw(display.screen, {0, 0, size.rows - 1, size.columns});
    display.screen.fill(help, Look::Reverse);
    display.screen.put(help.row, 1, joinHints(display.windows.back()->hints(), size.columns - 2),
                       size.columns - 2, Look::Reverse);
  }
  display.terminal.draw(display.screen);
}

} // namespace velto
