#include "apps/velto/screen/text_input.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>
#include <string_view>

namespace velto {

namespace {

size_t lengthAt(const std::string &text, size_t at) {
  return at < text.size() ? firstGlyph(std::string_view(text).substr(at)).bytes : 0;
}

size_t before(const std::string &text, size_t at) {
  return lastGlyph(std::string_view(text).substr(0, at));
}

} // namespace

bool TextInput::move(const Key &key, const std::string &text) {
  switch (key.code) {
  case Key::Code::Left:
    cursor_ = before(text, cursor_);
    return true;
  case Key::Code::Right:
    cursor_ += lengthAt(text, cursor_);
    return true;
  case Key::Code::Home:
    cursor_ = 0;
    return true;
  case Key::Code::End:
    cursor_ = text.size();
    return true;
  default:
    return false;
  }
}

bool TextInput::press(const Key &key, std::string &text) {
  cursor_ = std::min(cursor_, text.size());
  const bool typed = key.code == Key::Code::Character;
  const bool erases = key.code == Key::Code::Backspace || key.code == Key::Code::Delete;
  if (!typed && !erases && !key.isControl('U')) {
    const bool moved = move(key, text);
    marked_ = marked_ && !moved;
    return moved;
  }
  if (marked_ || key.isControl('U')) {
    text.clear();
    cursor_ = 0;
  } else if (key.code == Key::Code::Backspace) {
    const size_t start = before(text, cursor_);
    text.erase(start, cursor_ - start);
    cursor_ = start;
  } else if (key.code == Key::Code::Delete) {
    text.erase(cursor_, lengthAt(text, cursor_));
  }
  marked_ = false;
  if (typed) {
    text.insert(cursor_, key.text);
    cursor_ += key.text.size();
  }
  return true;
}

void TextInput::draw(Screen &screen, const Rect &row, const std::string &text) const {
  const size_t cursor = std::min(cursor_, text.size());
  const std::string_view view = text;
  size_t first = cursor;
  int column = 0; // where the cursor is drawn
  while (first > 0) {
    const size_t previous = before(text, first);
    const int cells = cellCount(view.substr(previous, first - previous));
    if (column + cells >= row.columns)
      break;
    column += cells;
    first = previous;
  }
  screen.fill(row);
  screen.put(row.row, row.column, view.substr(first), row.columns,
             marked_ ? Look::Reverse : Look::Plain);
  const std::string_view under =
      cursor < text.size() ? view.substr(cursor, lengthAt(text, cursor)) : " ";
  screen.put(row.row, row.column + column, under, row.columns - column,
             marked_ ? Look::Plain : Look::Reverse);
}

} // namespace velto
