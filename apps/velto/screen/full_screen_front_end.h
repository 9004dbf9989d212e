#pragma once

#include "apps/velto/screen/held_output.h"
#include "apps/velto/screen/terminal.h"
#include "apps/velto/screen/window.h"
#include "ui/dialog.h"

#include <functional>
#include <optional>
#include <vector>

namespace velto {

/// Shows boxes and sheets on the whole screen of the terminal, one over the other. The loop runs
/// meanwhile, so that links and timers go on; what is printed is held back until the screen is
/// gone.
///
/// A signal that asks the program to end (SIGINT, SIGTERM, SIGHUP) cancels what is shown, and then
/// has its usual effect. Ctrl-C cancels everything.
class FullScreenFrontEnd final : public FrontEnd {
public:
  /// `ended` is asked in every turn of the loop; once it is true, what is shown is cancelled.
  explicit FullScreenFrontEnd(EventLoop &loop, std::function<bool()> ended = nullptr)
      : loop_(loop), ended_(std::move(ended)) {}

  void messageBox(const std::string &text) override { showBox({text}); }
  bool showBox(const MessageBox &box) override;
  bool showSheet(PropertySheet &sheet) override;
  /// Whether the sheet that was shown last was closed with OK, and whether with Ctrl-C.
  bool sheetAccepted() const { return sheetAccepted_; }
  bool hasQuit() const { return quit_; }

private:
  struct Display {
    explicit Display(EventLoop &loop);
    HeldOutput out;
    HeldOutput err;
    Terminal terminal;
    std::vector<Window *> windows;
    Screen screen;        ///< what was drawn last
    bool outdated = true; ///< a window has changed since `screen` was drawn
  };

  bool run(Window &window);
  void work(Window &window);
  bool isEnding() const;
  void press(Window &window, const Key &key);
  void draw();

  EventLoop &loop_;
  std::function<bool()> ended_;
  std::optional<Display> display_; ///< as long as something is shown
  bool sheetAccepted_ = false;
  bool quit_ = false;
};

} // namespace velto
