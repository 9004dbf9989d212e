#include "apps/velto/screen/page_pane.h"

#include "apps/velto/console/glyph.h"
#include "base/text.h"

#include <algorithm>
#include <string_view>

namespace velto {

namespace {

constexpr int kMark = 2;     // cells in front of a row, for the mark ">" of the focus
constexpr int kLabelGap = 2; // between label and value
constexpr int kLongestText = 40;
constexpr int kLongestNumber = 14;
constexpr int kFewestRows = 4; // that a list below fields gets at least

bool isTyped(const Field &field) {
  return field.kind == Field::Kind::Text || field.kind == Field::Kind::Word ||
         field.kind == Field::Kind::Integer;
}

int inputWidth(const Field &field, int columns) {
  const bool number = field.kind == Field::Kind::Integer;
  int width = std::min(number ? kLongestNumber : kLongestText, columns - 2);
  if (!number && field.maximum > 0 && field.maximum < width)
    width = static_cast<int>(field.maximum) + 1; // one more for the cursor behind the text
  return std::max(width, 1);
}

// Selects the choice `steps` further on; the first one follows the last. A value that is not among
// the choices becomes the first one.
void step(Field &field, int steps) {
  if (field.choices.empty())
    return;
  const auto at = std::ranges::find(field.choices, field.value) - field.choices.begin();
  const auto count = static_cast<std::ptrdiff_t>(field.choices.size());
  field.value = field.choices[static_cast<size_t>(at == count ? 0 : (at + steps + count) % count)];
}

} // namespace

PagePane::PagePane(PropertyPage &page) : page_(page) { enterFirst(); }

bool PagePane::isItem(size_t item) const {
  return item < page_.fields.size() ? page_.fields[item].kind != Field::Kind::Label
                                    : item == listItem() && page_.list;
}

bool PagePane::enter(size_t item) {
  item_ = item;
  if (item < page_.fields.size())
    input_.open(page_.fields[item].value);
  return true;
}

bool PagePane::enterFirst() {
  for (size_t item = 0; item <= listItem(); ++item)
    if (isItem(item))
      return enter(item);
  return false;
}

bool PagePane::enterLast() {
  for (size_t item = listItem() + 1; item-- > 0;)
    if (isItem(item))
      return enter(item);
  return false;
}

bool PagePane::enterProblem() {
  for (size_t item = 0; item < page_.fields.size(); ++item)
    if (!page_.fields[item].problem().empty())
      return enter(item);
  return false;
}

bool PagePane::move(int step) {
  for (size_t item = item_ + static_cast<size_t>(step); item <= listItem();
       item += static_cast<size_t>(step))
    if (isItem(item))
      return enter(item);
  return false;
}

bool PagePane::press(const Key &key) {
  if (choices_) {
    if (!choices_->press(key, page_.fields[item_]))
      choices_.reset();
    return true;
  }
  if (!isItem(item_)) // an action may have changed the number of items
    return false;
  return item_ == listItem() ? pressList(key, *page_.list) : pressField(key, page_.fields[item_]);
}

bool PagePane::pressField(const Key &key, Field &field) {
  if (isTyped(field))
    return input_.press(key, field.value);
  if (field.kind == Field::Kind::Choice)
    return pressChoice(key, field);
  if (!key.is(' '))
    return false;
  field.value = field.value == "true" ? "false" : "true";
  return true;
}

bool PagePane::pressChoice(const Key &key, Field &field) {
  if (key.is(' ')) {
    choices_.emplace(field);
    return true;
  }
  if (key.code == Key::Code::Left || key.code == Key::Code::Right) {
    step(field, key.code == Key::Code::Left ? -1 : 1);
    return true;
  }
  if (key.code != Key::Code::Character)
    return false;
  // A letter selects the next choice that begins with it.
  for (size_t i = 0; i < field.choices.size(); ++i) {
    step(field, 1);
    if (equalsIgnoreCase(field.value.substr(0, key.text.size()), key.text))
      break;
  }
  return true;
}

bool PagePane::pressList(const Key &key, PageList &list) {
  using Code = Key::Code;
  const bool some = list.selected < list.view.rows.size();
  if (list.add && (key.code == Code::Insert || key.is('a')))
    list.add();
  else if (list.edit && !some && key.code == Code::Enter)
    return true; // an empty list has nothing to edit, and Enter must not close the sheet
  else if (list.edit && some && (key.code == Code::Enter || key.is('e')))
    list.edit(list.selected);
  else if (list.remove && some && (key.code == Code::Delete || key.is('d')))
    list.remove(list.selected);
  else
    return listPane_.press(key, list);
  return true;
}

std::vector<std::string> PagePane::hints() const {
  if (choices_)
    return {"Up/Down: choose", "Enter: take", "Esc: back"};
  std::vector<std::string> hints;
  if (item_ == listItem() && page_.list) {
    if (page_.list->add)
      hints.emplace_back("a: add");
    if (page_.list->edit)
      hints.emplace_back("e: edit");
    if (page_.list->remove)
      hints.emplace_back("d: delete");
  } else if (isItem(item_)) {
    const Field &field = page_.fields[item_];
    if (field.kind == Field::Kind::Check)
      hints.emplace_back("Space: on or off");
    else if (field.kind == Field::Kind::Choice)
      hints.emplace_back("Left/Right: change  Space: list");
    else if (field.kind == Field::Kind::Integer)
      hints.push_back(std::to_string(field.minimum) + " to " + std::to_string(field.maximum));
  }
  return hints;
}

int PagePane::wantedRows() const {
  const auto fields = static_cast<int>(page_.fields.size());
  return fields + (page_.list ? static_cast<int>(page_.list->view.rows.size()) + 1 : 0);
}

int PagePane::labelWidth() const {
  int width = 0;
  for (const Field &field : page_.fields)
    if (field.kind != Field::Kind::Label)
      width = std::max(width, cellCount(field.label));
  return width;
}

void PagePane::draw(Screen &screen, const Rect &area, bool focused) {
  Rect fields = area;
  if (page_.list) {
    fields.rows = std::min(static_cast<int>(page_.fields.size()), area.rows - kFewestRows);
    fields.rows = std::max(fields.rows, 0);
    const Rect list{area.row + fields.rows, area.column, area.rows - fields.rows, area.columns};
    listPane_.draw(screen, list, *page_.list, focused && item_ == listItem());
  }
  drawFields(screen, fields, focused);
}

// Draws as many fields as fit, scrolled so that the one with the focus is among them.
void PagePane::drawFields(Screen &screen, const Rect &area, bool focused) {
  const auto count = static_cast<int>(page_.fields.size());
  const int item = std::min(static_cast<int>(item_), count - 1);
  if (focused && item >= top_ + area.rows)
    top_ = item - area.rows + 1;
  if (focused && item < top_)
    top_ = item;
  top_ = std::clamp(top_, 0, std::max(count - area.rows, 0));
  for (int i = 0; i < area.rows && top_ + i < count; ++i) {
    const auto field = static_cast<size_t>(top_ + i);
    drawField(screen, {area.row + i, area.column, 1, area.columns - 2}, page_.fields[field],
              focused && item_ == field);
  }
  const int right = area.column + area.columns - 1;
  if (top_ > 0)
    screen.put(area.row, right, "^", 1, Look::Bold);
  if (top_ + area.rows < count)
    screen.put(area.row + area.rows - 1, right, "v", 1, Look::Bold);
}

void PagePane::drawField(Screen &screen, const Rect &row, const Field &field, bool focused) const {
  if (field.kind == Field::Kind::Label) {
    screen.put(row.row, row.column + kMark, field.label, row.columns - kMark);
    return;
  }
  const int label = std::min(labelWidth(), row.columns / 2);
  const int column = row.column + kMark + label + kLabelGap;
  const int columns = row.columns - kMark - label - kLabelGap;
  screen.put(row.row, row.column, focused ? ">" : " ", 1, Look::Bold);
  screen.put(row.row, row.column + kMark, field.label, label, focused ? Look::Bold : Look::Plain);
  if (!isTyped(field)) {
    const std::string value = field.kind == Field::Kind::Choice ? "< " + field.value + " >"
                              : field.value == "true"           ? "[x]"
                                                                : "[ ]";
    screen.put(row.row, column, value, columns, focused ? Look::Reverse : Look::Plain);
    return;
  }
  const int width = inputWidth(field, columns);
  screen.put(row.row, column, "[", 1);
  screen.put(row.row, column + 1 + width, "]", 1);
  if (focused)
    input_.draw(screen, {row.row, column + 1, 1, width}, field.value);
  else
    screen.put(row.row, column + 1, field.value, width);
}

void PagePane::drawOver(Screen &screen, const Rect &area) {
  if (choices_)
    choices_->draw(screen, area, page_.fields[item_].label);
}

} // namespace velto
