#pragma once

#include "apps/velto/screen/window.h"
#include "ui/dialog.h"

#include <string>
#include <vector>

namespace velto {

/// A message box. One with a long text scrolls.
class BoxWindow final : public Window {
public:
  explicit BoxWindow(const MessageBox &box);

  void press(const Key &key) override;
  void draw(Screen &screen, const Rect &area) override;
  std::vector<std::string> hints() const override;

private:
  const MessageBox &box_;
  ButtonRow buttons_;
  int top_ = 0;   ///< first line shown
  int below_ = 0; ///< how many lines do not fit into the box
};

} // namespace velto
