#pragma once

#include "apps/velto/screen/keys.h"
#include "apps/velto/screen/screen.h"
#include "ui/dialog.h"

namespace velto {

/// Shows a list with its columns, and moves its selection.
class ListPane {
public:
  /// True when the key moved the selection, or the columns that are wider than the window.
  bool press(const Key &key, PageList &list);
  /// The headings, unless there are none, and the rows around the selected one, which is marked.
  void draw(Screen &screen, const Rect &area, const PageList &list, bool focused);

private:
  void scroll(const PageList &list);

  size_t first_ = 0; ///< row on top
  size_t shown_ = 1; ///< rows that fit
  int left_ = 0;     ///< cells that are scrolled out on the left
  int hidden_ = 0;   ///< cells that do not fit
};

} // namespace velto
