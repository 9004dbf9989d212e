#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

struct Size {
  int rows = 0;
  int columns = 0;
  bool operator==(const Size &) const = default;
};

/// A part of the screen; row and column count from 0.
struct Rect {
  int row = 0;
  int column = 0;
  int rows = 0;
  int columns = 0;
};

enum class Look : uint8_t { Plain, Bold, Reverse };

/// What a terminal shows: characters in cells.
class Screen {
public:
  explicit Screen(Size size = {});
  Size size() const { return size_; }

  /// Draws a text, as much of it as fits into `width` cells and the row. Returns how many cells
  /// were used. What lies outside the screen is not drawn.
  int put(int row, int column, std::string_view text, int width, Look look = Look::Plain);
  /// Fills a part with blanks, or with another character.
  void fill(const Rect &part, Look look = Look::Plain, char character = ' ');
  /// Draws a text in the middle of a part of one row.
  void putCentred(const Rect &part, std::string_view text, Look look = Look::Plain);

  /// The rows as text in UTF-8, without blanks at their ends.
  std::string text() const;
  struct Cell {
    char32_t code = U' '; ///< 0 for the right half of a wide character
    Look look = Look::Plain;
  };
  const Cell &cell(int row, int column) const {
    return const_cast<Screen *>(this)->at(row, column);
  }

private:
  Cell &at(int row, int column) {
    return cells_[static_cast<size_t>(row) * static_cast<size_t>(size_.columns) +
                  static_cast<size_t>(column)];
  }
  void set(int row, int column, Cell cell);

  Size size_;
  std::vector<Cell> cells_;
};

} // namespace velto
