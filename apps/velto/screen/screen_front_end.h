#pragma once

#include "apps/velto/screen/sheet_window.h"

namespace velto::screen {

/// Shows boxes and sheets on a screen, one upon the other, for an operator at the keyboard.
class ScreenFrontEnd final : public FrontEnd {
public:
  explicit ScreenFrontEnd(Display &display) : display_(display) {}

  void messageBox(const std::string &text) override { showBox({text}); }
  bool showBox(const MessageBox &box) override;
  bool showSheet(PropertySheet &sheet) override;
  /// The operator has quit: everything is cancelled.
  bool hasQuit() const { return quit_; }
  /// Whether the last sheet was accepted.
  bool accepted() const { return accepted_; }

private:
  Key nextKey(const MessageBox *box, bool cancelFocused);

  Display &display_;
  std::vector<SheetWindow *> windows_; // the last one is on top
  bool quit_ = false;
  bool accepted_ = false;
};

} // namespace velto::screen
