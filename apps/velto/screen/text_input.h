#pragma once

#include "apps/velto/screen/keys.h"
#include "apps/velto/screen/screen.h"

#include <cstddef>
#include <string>

namespace velto {

/// Edits a text on one line. At first the whole text is marked: what is typed replaces it, unless
/// the cursor was moved before.
class TextInput {
public:
  /// Begins to edit a text.
  void open(const std::string &text) {
    cursor_ = text.size();
    marked_ = true;
  }
  /// Edits the text or moves the cursor. False when the key does neither.
  bool press(const Key &key, std::string &text);
  /// Draws the part of the text around the cursor.
  void draw(Screen &screen, const Rect &row, const std::string &text) const;

private:
  bool move(const Key &key, const std::string &text);

  size_t cursor_ = 0; ///< byte of the character that the cursor stands on
  bool marked_ = true;
};

} // namespace velto
