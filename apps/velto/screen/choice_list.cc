#include "apps/velto/console/glyph.h"
#include "apps/velto/screen/page_pane.h"
#include "apps/velto/screen/window.h"
#include "base/text.h"

#include <algorithm>

namespace velto {

ChoiceList::ChoiceList(const Field &field) {
  for (size_t i = 0; i < field.choices.size(); ++i) {
    list_.view.rows.push_back({field.choices[i]});
    if (field.choices[i] == field.value)
      list_.selected = i;
  }
}

bool ChoiceList::press(const Key &key, Field &field) {
  if (key.code == Key::Code::Escape)
    return false;
  if (key.code == Key::Code::Enter || key.is(' ')) {
    if (list_.selected < field.choices.size())
      field.value = field.choices[list_.selected];
    return false;
  }
  if (key.code == Key::Code::Character) {
    search(key.text);
  } else {
    pane_.press(key, list_);
    typed_.clear();
  }
  return true;
}

// A letter is added to those typed before while a choice begins with all of them; otherwise the
// search starts anew with it.
void ChoiceList::search(const std::string &character) {
  for (const std::string &wanted : {typed_ + character, character}) {
    for (size_t i = 0; i < list_.view.rows.size(); ++i) {
      if (!equalsIgnoreCase(list_.view.rows[i][0].substr(0, wanted.size()), wanted))
        continue;
      list_.selected = i;
      typed_ = wanted;
      return;
    }
  }
  typed_.clear();
}

void ChoiceList::draw(Screen &screen, const Rect &area, const std::string &title) {
  int width = cellCount(title) + 2;
  for (const auto &row : list_.view.rows)
    width = std::max(width, cellCount(row[0]) + 2);
  const auto rows = static_cast<int>(std::min(list_.view.rows.size(), size_t{1000}));
  pane_.draw(screen, drawBox(screen, area, title, {rows, width}), list_, true);
}

} // namespace velto
