#pragma once

#include "apps/velto/screen/page_pane.h"
#include "apps/velto/screen/window.h"
#include "ui/dialog.h"

#include <optional>

namespace velto {

/// A property sheet. It fills the screen: title, tabs, the active page, OK and Cancel. A sheet that
/// is a dialog is drawn as a box instead.
class SheetWindow final : public Window {
public:
  /// Both must outlive the window. Boxes are shown through the front end.
  SheetWindow(PropertySheet &sheet, FrontEnd &frontEnd);

  void press(const Key &key) override;
  void draw(Screen &screen, const Rect &area) override;
  std::vector<std::string> hints() const override;

private:
  enum class Part { Tabs, Page, Buttons };

  bool hasTabs() const { return sheet_.pages.size() > 1; }
  void open(size_t page);
  void turn(int step);
  void move(int step);
  bool enter(Part part, int step);
  bool pressPart(const Key &key);
  void accept();
  Rect drawFrame(Screen &screen, const Rect &area) const;
  Rect drawDialogFrame(Screen &screen, const Rect &area) const;
  void drawTabs(Screen &screen, const Rect &row) const;

  PropertySheet &sheet_;
  FrontEnd &frontEnd_;
  std::optional<PagePane> page_; ///< empty in a sheet without pages
  ButtonRow buttons_{true};
  Part focus_ = Part::Buttons;
};

} // namespace velto
