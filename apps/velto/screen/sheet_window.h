#pragma once

#include "apps/velto/screen/terminal.h"
#include "platform/dialog.h"

#include <string>
#include <vector>

namespace velto::screen {

/// A property sheet, or a dialog, on a screen: what it looks like and what each key does.
class SheetWindow {
public:
  enum class Result { Open, Accepted, Cancelled };

  SheetWindow(PropertySheet &sheet, FrontEnd &frontEnd);

  /// Dialogs stand in the middle, sheets fill the screen.
  void draw(Frame &frame);
  /// May show dialogs and boxes.
  Result handle(const Key &key);

private:
  /// What the focus can be on: a field of the page, its list, or a button.
  struct Stop {
    enum class Kind { Field, List, Ok, Cancel } kind;
    size_t field = 0;
  };

  PropertyPage &page() { return sheet_.pages[sheet_.active]; }
  std::vector<Stop> stops() const;
  Stop stop() const;
  Field *focusedField();
  void moveFocus(int steps);
  void turnPage(int steps);
  void focusOnProblem();
  void toEndOfField();
  Result enter();
  bool editField(Field &field, const Key &key);
  bool editText(Field &field, const Key &key);
  bool workList(PageList &list, const Key &key);

  Area area(const Frame &frame) const;
  void drawTabs(Frame &frame, const Area &area) const;
  void drawFields(Frame &frame, const Area &area);
  void drawList(Frame &frame, const Area &area);
  void drawButtons(Frame &frame, const Area &area) const;

  PropertySheet &sheet_;
  FrontEnd &frontEnd_;
  size_t focus_ = 0;    // of stops()
  size_t cursor_ = 0;   // byte in the text of the focused field
  size_t firstRow_ = 0; // of the list
  int rows_ = 1;        // of the list that the screen has room for
};

} // namespace velto::screen
