#pragma once

#include "apps/velto/screen/keys.h"
#include "apps/velto/screen/screen.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// A modal window on the screen: it takes all keys until the operator closes it.
class Window {
public:
  virtual ~Window() = default;

  bool closed() const { return closed_; }
  /// Whether it was closed with OK.
  bool accepted() const { return accepted_; }

  virtual void press(const Key &key) = 0;
  /// Draws the window into a part of the screen, over what is there.
  virtual void draw(Screen &screen, const Rect &area) = 0;
  /// What the keys do in this window, for the last row of the screen; the most important first.
  virtual std::vector<std::string> hints() const = 0;

protected:
  void close(bool accepted) {
    closed_ = true;
    accepted_ = accepted;
  }

private:
  bool closed_ = false;
  bool accepted_ = false;
};

/// Whether the screen has fewer than 40 columns or 12 rows.
bool isTooSmall(Size size);
/// Draws windows, the last one on top, and in the last row what the keys do there. A screen that is
/// too small says so instead.
void drawWindows(Screen &screen, std::span<Window *const> windows);

/// Draws a framed box of that inner size, at most as large as the area, in its middle. Returns the
/// part inside.
Rect drawBox(Screen &screen, const Rect &area, std::string_view title, Size inside);

/// The buttons OK and Cancel at the bottom of a window.
class ButtonRow {
public:
  explicit ButtonRow(bool cancel) : cancel_(cancel) {}

  /// Draws them in the middle of a row; `focused`: one of them has the focus.
  void draw(Screen &screen, const Rect &row, bool focused) const;
  /// Whether Cancel has the focus, not OK.
  bool onCancel() const { return onCancel_; }
  void toFirst() { onCancel_ = false; }
  void toLast() { onCancel_ = cancel_; }
  /// Goes to the next or previous one; false when there is none.
  bool move(int step);

private:
  bool cancel_; ///< whether there is a button Cancel
  bool onCancel_ = false;
};

} // namespace velto
