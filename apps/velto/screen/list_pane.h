#pragma once

#include "apps/velto/screen/keys.h"
#include "apps/velto/screen/screen.h"
#include "ui/dialog.h"

namespace velto {

/// Shows a list with its columns, and moves its selection.
class ListPane {
public:
  /// Moves the selection, or scrolls columns that are wider than the window. False when the key
  /// does neither.
  bool press(const Key &key, PageList &list);
  /// Draws the headings, if there are any, and the rows around the selected one, which is marked.
  void draw(Screen &screen, const Rect &area, const PageList &list, bool focused);

private:
  void scroll(const PageList &list);

  size_t first_ = 0; ///< index of the first row shown
  size_t shown_ = 1; ///< how many rows fit
  int left_ = 0;     ///< how many cells are scrolled out on the left
  int hidden_ = 0;   ///< how many cells of the widest row do not fit
};

} // namespace velto
