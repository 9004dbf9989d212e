#pragma once

#include "apps/velto/screen/keys.h"
#include "apps/velto/screen/screen.h"

#include <functional>
#include <string>

namespace velto {

/// Lines that are made when they are drawn.
struct LineSource {
  size_t count = 0;
  std::function<std::string(size_t line)> line;
};

/// A part of the screen with a title and lines, which scroll.
class ScrollPane {
public:
  /// `follow`: as long as the last line is in sight, so is one that comes behind it.
  explicit ScrollPane(std::string title, bool follow = false)
      : title_(std::move(title)), follow_(follow), atEnd_(follow) {}

  void press(const Key &key);
  void draw(Screen &screen, const Rect &area, const LineSource &lines, bool focused);

private:
  std::string title_;
  bool follow_;
  bool atEnd_;       ///< the last line is in sight, and has to be
  size_t first_ = 0; ///< line on top
  size_t last_ = 0;  ///< the largest value that it can have
  size_t shown_ = 1; ///< lines that fit
};

} // namespace velto
