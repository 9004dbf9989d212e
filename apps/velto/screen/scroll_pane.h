#pragma once

#include "apps/velto/screen/keys.h"
#include "apps/velto/screen/screen.h"

#include <functional>
#include <string>

namespace velto {

/// Lines of a pane: how many, and a function that makes one when it is drawn.
struct LineSource {
  size_t count = 0;
  std::function<std::string(size_t line)> line;
};

/// A part of the screen with a title and lines that scroll.
class ScrollPane {
public:
  /// With `follow` the pane scrolls to each new line, unless the operator has scrolled up.
  explicit ScrollPane(std::string title, bool follow = false)
      : title_(std::move(title)), follow_(follow), atEnd_(follow) {}

  void press(const Key &key);
  void draw(Screen &screen, const Rect &area, const LineSource &lines, bool focused);

private:
  std::string title_;
  bool follow_;
  bool atEnd_;       ///< whether to scroll to the last line when it is drawn
  size_t first_ = 0; ///< index of the first line shown
  size_t last_ = 0;  ///< the largest value of first_
  size_t shown_ = 1; ///< how many lines fit
};

} // namespace velto
