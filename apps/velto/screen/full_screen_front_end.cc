#include "apps/velto/screen/full_screen_front_end.h"

#include "apps/velto/screen/box_window.h"
#include "apps/velto/screen/sheet_window.h"

#include <csignal>
#include <iostream>

namespace velto {

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

// The first window takes over the terminal, and gives it back when it closes. Windows on top of it
// share it.
bool FullScreenFrontEnd::run(Window &window) {
  if (display_) {
    work(window);
    return window.accepted();
  }
  quit_ = false;
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
  return quit_ || display_->terminal.stopSignal() != 0 || (ended_ && ended_());
}

// On a screen that is too small the windows are not visible: only Esc and Ctrl-C work there.
void FullScreenFrontEnd::press(Window &window, const Key &key) {
  if (key.isControl('C'))
    quit_ = true;
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
  drawWindows(display.screen, display.windows);
  display.terminal.draw(display.screen);
}

} // namespace velto
