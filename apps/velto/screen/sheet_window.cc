#include "apps/velto/screen/sheet_window.h"

#include <algorithm>

namespace velto::screen {

namespace {

using Code = Key::Code;

constexpr int kDialogWidth = 64;

bool isText(const Field &field) {
  return field.kind == Field::Kind::Text || field.kind == Field::Kind::Word ||
         field.kind == Field::Kind::Integer;
}

size_t previousCharacter(std::string_view text, size_t at) {
  size_t before = 0;
  for (size_t next = 0; next < at; next += characterSize(text, next))
    before = next;
  return before;
}

std::string shownValue(const Field &field) {
  switch (field.kind) {
  case Field::Kind::Check:
    return field.value == "true" ? "[x]" : "[ ]";
  case Field::Kind::Choice:
    return "< " + field.value + " >";
  default:
    return field.value;
  }
}

// The choice `steps` on, around the ends.
void step(Field &field, int steps) {
  if (field.choices.empty())
    return;
  const auto at = std::ranges::find(field.choices, field.value) - field.choices.begin();
  const auto count = static_cast<std::ptrdiff_t>(field.choices.size());
  const auto next = at == count ? 0 : (at + steps + count) % count;
  field.value = field.choices[static_cast<size_t>(next)];
}

} // namespace

SheetWindow::SheetWindow(PropertySheet &sheet, FrontEnd &frontEnd)
    : sheet_(sheet), frontEnd_(frontEnd) {
  toEndOfField();
}

// Focus ------------------------------------------------------------------------------------------

std::vector<SheetWindow::Stop> SheetWindow::stops() const {
  std::vector<Stop> all;
  const PropertyPage &shown = sheet_.pages[sheet_.active];
  for (size_t i = 0; i < shown.fields.size(); ++i)
    if (shown.fields[i].kind != Field::Kind::Label)
      all.push_back({Stop::Kind::Field, i});
  if (shown.list)
    all.push_back({Stop::Kind::List});
  all.push_back({Stop::Kind::Ok});
  all.push_back({Stop::Kind::Cancel});
  return all;
}

// An action on another page may have taken fields away.
SheetWindow::Stop SheetWindow::stop() const {
  const auto all = stops();
  return all[std::min(focus_, all.size() - 1)];
}

Field *SheetWindow::focusedField() {
  const Stop at = stop();
  return at.kind == Stop::Kind::Field ? &page().fields[at.field] : nullptr;
}

void SheetWindow::toEndOfField() {
  const Field *field = focusedField();
  cursor_ = field == nullptr ? 0 : field->value.size();
}

void SheetWindow::moveFocus(int steps) {
  const auto count = static_cast<int>(stops().size());
  focus_ = static_cast<size_t>((static_cast<int>(focus_) + steps + count) % count);
  toEndOfField();
}

void SheetWindow::turnPage(int steps) {
  const auto count = static_cast<int>(sheet_.pages.size());
  sheet_.active = static_cast<size_t>((static_cast<int>(sheet_.active) + steps + count) % count);
  focus_ = 0;
  firstRow_ = 0;
  toEndOfField();
}

void SheetWindow::focusOnProblem() {
  const auto all = stops();
  for (size_t i = 0; i < all.size(); ++i)
    if (all[i].kind == Stop::Kind::Field && !page().fields[all[i].field].problem().empty())
      focus_ = i;
  toEndOfField();
}

// Keys -------------------------------------------------------------------------------------------

SheetWindow::Result SheetWindow::handle(const Key &key) {
  Field *field = focusedField();
  if (field != nullptr && editField(*field, key))
    return Result::Open;
  if (stop().kind == Stop::Kind::List && workList(*page().list, key))
    return Result::Open;
  switch (key.code) {
  case Code::Escape:
  case Code::Quit:
    return Result::Cancelled;
  case Code::Enter:
    return enter();
  case Code::Tab:
  case Code::Down:
  case Code::Right:
    moveFocus(1);
    break;
  case Code::BackTab:
  case Code::Up:
  case Code::Left:
    moveFocus(-1);
    break;
  case Code::PageDown:
  case Code::NextPage:
    turnPage(1);
    break;
  case Code::PageUp:
  case Code::PreviousPage:
    turnPage(-1);
    break;
  default:
    break;
  }
  return Result::Open;
}

SheetWindow::Result SheetWindow::enter() {
  if (stop().kind == Stop::Kind::Cancel)
    return Result::Cancelled;
  const size_t before = sheet_.active;
  if (sheet_.accept(frontEnd_))
    return Result::Accepted;
  if (sheet_.active != before)
    focus_ = 0;
  focusOnProblem();
  return Result::Open;
}

// True when the key was for the field.
bool SheetWindow::editField(Field &field, const Key &key) {
  const bool space = key.code == Code::Character && key.text == " ";
  if (isText(field))
    return editText(field, key);
  if (field.kind == Field::Kind::Check && space) {
    field.value = field.value == "true" ? "false" : "true";
    return true;
  }
  if (field.kind != Field::Kind::Choice)
    return false;
  if (space || key.code == Code::Right || key.code == Code::Left) {
    step(field, key.code == Code::Left ? -1 : 1);
    return true;
  }
  // A character goes on to the next choice that begins with it.
  for (size_t i = 0; key.code == Code::Character && i < field.choices.size(); ++i) {
    step(field, 1);
    if (field.value.starts_with(key.text))
      break;
  }
  return key.code == Code::Character;
}

bool SheetWindow::editText(Field &field, const Key &key) {
  std::string &text = field.value;
  cursor_ = std::min(cursor_, text.size());
  const size_t before = previousCharacter(text, cursor_);
  const size_t size = cursor_ < text.size() ? characterSize(text, cursor_) : 0;
  switch (key.code) {
  case Code::Character:
    text.insert(cursor_, key.text);
    cursor_ += key.text.size();
    return true;
  case Code::Backspace:
    text.erase(before, cursor_ - before);
    cursor_ = before;
    return true;
  case Code::Delete:
    text.erase(cursor_, size);
    return true;
  case Code::Left:
    cursor_ = before;
    return true;
  case Code::Right:
    cursor_ += size;
    return true;
  case Code::Home:
    cursor_ = 0;
    return true;
  case Code::End:
    cursor_ = text.size();
    return true;
  default:
    return false;
  }
}

// True when the key was for the list. Letters stand for keys that a keyboard may lack.
bool SheetWindow::workList(PageList &list, const Key &key) {
  const size_t count = list.view.rows.size();
  const auto page = static_cast<size_t>(std::max(rows_, 1));
  const bool letter = key.code == Code::Character;
  if (key.code == Code::Insert || (letter && key.text == "a")) {
    if (list.add)
      list.add();
  } else if (count != 0 && (key.code == Code::Enter || (letter && key.text == "e"))) {
    if (list.edit)
      list.edit(list.selected);
  } else if (count != 0 && (key.code == Code::Delete || (letter && key.text == "d"))) {
    if (list.remove)
      list.remove(list.selected);
  } else if (key.code == Code::Up && list.selected > 0) {
    --list.selected;
  } else if (key.code == Code::Down && list.selected + 1 < count) {
    ++list.selected;
  } else if (key.code == Code::PageUp) {
    list.selected -= std::min(list.selected, page);
  } else if (key.code == Code::PageDown) {
    list.selected = std::min(list.selected + page, std::max(count, size_t{1}) - 1);
  } else if (key.code == Code::Home) {
    list.selected = 0;
  } else if (key.code == Code::End) {
    list.selected = std::max(count, size_t{1}) - 1;
  } else {
    return false;
  }
  return true;
}

// Picture ----------------------------------------------------------------------------------------

Area SheetWindow::area(const Frame &frame) const {
  if (!sheet_.isDialog())
    return frame.all();
  const int width = std::min(kDialogWidth, frame.width());
  const int height = std::min(static_cast<int>(sheet_.pages[0].fields.size()) + 5, frame.height());
  return {(frame.width() - width) / 2, (frame.height() - height) / 2, width, height};
}

void SheetWindow::draw(Frame &frame) {
  const Area all = area(frame);
  frame.box(all);
  frame.put(all.x + 2, all.y, " " + sheet_.title + " ", all.width - 4);
  Area inside{all.x + 2, all.y + 1, all.width - 4, all.height - 2};
  if (!sheet_.isDialog()) {
    drawTabs(frame, inside);
    inside.y += 2;
    inside.height -= 2;
  }
  Area content = inside;
  content.height -= 2;
  if (!page().fields.empty())
    drawFields(frame, content);
  const int fields = static_cast<int>(page().fields.size());
  if (page().list)
    drawList(frame, {content.x, content.y + fields, content.width, content.height - fields});
  drawButtons(frame, inside);
}

// As many tabs as there is room for, so that the active one is among them.
void SheetWindow::drawTabs(Frame &frame, const Area &area) const {
  size_t first = 0;
  const auto widthFrom = [this](size_t from) {
    int width = 0;
    for (size_t i = from; i <= sheet_.active; ++i)
      width += cellCount(sheet_.pages[i].title) + 2;
    return width;
  };
  while (first < sheet_.active && widthFrom(first) > area.width)
    ++first;
  int x = area.x;
  for (size_t i = first; i < sheet_.pages.size(); ++i) {
    const std::string tab = " " + sheet_.pages[i].title + " ";
    frame.put(x, area.y, tab, area.x + area.width - x, i == sheet_.active);
    x += cellCount(tab);
  }
}

// Where there is little room, the fields around the focused one.
void SheetWindow::drawFields(Frame &frame, const Area &area) {
  const std::vector<Field> &fields = page().fields;
  int label = 0;
  for (const Field &field : fields)
    label = std::max(label, cellCount(field.label));
  const Field *focused = focusedField();
  const auto at = static_cast<int>(focused == nullptr ? 0 : focused - fields.data());
  const int top = std::max(0, at - std::max(area.height, 1) + 1);
  for (int row = 0; row < area.height; ++row) {
    const auto index = static_cast<size_t>(top + row);
    if (index >= fields.size())
      return;
    const Field &field = fields[index];
    const bool here = &field == focused;
    const int x = area.x + label + 2;
    const int width = area.x + area.width - x;
    frame.put(area.x, area.y + row, field.label, area.width);
    // A long text moves to the left, so that the cursor stays in sight.
    std::string value = shownValue(field);
    int cursor = cellCount(std::string_view(value).substr(0, std::min(cursor_, value.size())));
    while (here && isText(field) && cursor >= width && !value.empty()) {
      value.erase(0, characterSize(value, 0));
      --cursor;
    }
    frame.put(x, area.y + row, value, width, here);
    if (here && isText(field))
      frame.setCursor(x + cursor, area.y + row);
  }
}

void SheetWindow::drawList(Frame &frame, const Area &area) {
  const PageList &list = *page().list;
  ListView shown = {list.view.columns, {}};
  rows_ = std::max(area.height - 1, 1);
  const auto room = static_cast<size_t>(rows_);
  firstRow_ =
      std::clamp(firstRow_, list.selected - std::min(list.selected, room - 1), list.selected);
  const size_t end = std::min(firstRow_ + room, list.view.rows.size());
  for (size_t i = firstRow_; i < end; ++i)
    shown.rows.push_back(list.view.rows[i]);
  const bool focused = stop().kind == Stop::Kind::List;
  const std::string text = toText(shown);
  size_t at = 0;
  for (int line = 0; line < area.height && at < text.size(); ++line) {
    const size_t lineEnd = text.find('\n', at);
    const bool selected = line > 0 && firstRow_ + static_cast<size_t>(line) == list.selected + 1;
    std::string row = (selected ? "> " : "  ") + text.substr(at, lineEnd - at);
    if (selected && focused)
      row.resize(std::max(row.size(), static_cast<size_t>(std::max(area.width, 0))), ' ');
    frame.put(area.x, area.y + line, row, area.width, selected && focused);
    at = lineEnd + 1;
  }
}

void SheetWindow::drawButtons(Frame &frame, const Area &area) const {
  const int y = area.y + area.height - 1;
  const Stop::Kind at = stop().kind;
  frame.put(area.x, y, "[ OK ]", area.width, at == Stop::Kind::Ok);
  frame.put(area.x + 8, y, "[ Cancel ]", area.width - 8, at == Stop::Kind::Cancel);
  const PageList *list =
      sheet_.pages[sheet_.active].list ? &*sheet_.pages[sheet_.active].list : nullptr;
  std::string hint = sheet_.isDialog() ? "Tab  Enter  Esc" : "Ctrl-arrows: pages  Enter  Esc";
  if (list != nullptr && at == Stop::Kind::List)
    hint = std::string(list->add ? "Ins: add  " : "") + "Enter: edit  Del: delete  Tab: on";
  frame.put(area.x + 22, y, hint, area.width - 22);
}

} // namespace velto::screen
