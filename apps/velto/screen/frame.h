#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velto::screen {

/// A rectangle of character cells.
struct Area {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

/// What a screen shows: a character in each cell, plain or reversed. What is put outside is cut
/// off.
class Frame {
public:
  Frame(int width, int height);

  int width() const { return width_; }
  int height() const { return height_; }
  Area all() const { return {0, 0, width_, height_}; }

  /// Puts text into a row, at most `limit` cells. Control characters show as "?".
  void put(int x, int y, std::string_view text, int limit, bool reversed = false);
  /// Empties an area and draws a border around it.
  void box(const Area &area);
  /// Where the cursor stands; none is shown otherwise.
  void setCursor(int x, int y);

  /// The rows without trailing blanks, each with a line end.
  std::string text() const;
  /// The control sequences (ECMA-48) that show it.
  std::string sequences() const;

private:
  struct Cell {
    std::string character = " ";
    bool reversed = false;
  };
  Cell *cell(int x, int y);

  int width_;
  int height_;
  std::vector<Cell> cells_;
  int cursorX_ = -1;
  int cursorY_ = -1;
};

/// The number of bytes of the UTF-8 character at a position; 1 for a stray byte.
size_t characterSize(std::string_view text, size_t at);
/// How many cells a text takes.
int cellCount(std::string_view text);

} // namespace velto::screen
