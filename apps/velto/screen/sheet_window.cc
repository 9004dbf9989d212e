#include "apps/velto/screen/sheet_window.h"

#include "apps/velto/console/glyph.h"

#include <algorithm>
#include <string_view>

namespace velto {

namespace {

constexpr int kFrameRows = 5; // title, tabs, two rules, buttons
constexpr int kValueWidth = 46;

} // namespace

SheetWindow::SheetWindow(PropertySheet &sheet, FrontEnd &frontEnd)
    : sheet_(sheet), frontEnd_(frontEnd) {
  if (!sheet_.pages.empty())
    open(std::min(sheet_.active, sheet_.pages.size() - 1));
}

void SheetWindow::open(size_t page) {
  sheet_.active = page;
  page_.emplace(sheet_.pages[page]);
  if (focus_ != Part::Tabs && !enter(Part::Page, 1))
    enter(Part::Buttons, 1);
}

// Brings the next or previous page to the top; the first page follows the last.
void SheetWindow::turn(int step) {
  const size_t count = sheet_.pages.size();
  if (count > 1)
    open((sheet_.active + count + static_cast<size_t>(step)) % count);
}

bool SheetWindow::enter(Part part, int step) {
  if (part == Part::Tabs && !hasTabs())
    return false;
  if (part == Part::Page && (!page_ || !(step > 0 ? page_->enterFirst() : page_->enterLast())))
    return false;
  if (part == Part::Buttons)
    step > 0 ? buttons_.toFirst() : buttons_.toLast();
  focus_ = part;
  return true;
}

// Moves the focus to the next or previous item of its part of the window (tabs, page, buttons); at
// the end of that part, to the next part that has items. The first part follows the last.
void SheetWindow::move(int step) {
  if (focus_ == Part::Page && page_->move(step))
    return;
  if (focus_ == Part::Buttons && buttons_.move(step))
    return;
  constexpr int kParts = 3;
  int part = static_cast<int>(focus_);
  do
    part = (part + step + kParts) % kParts;
  while (!enter(static_cast<Part>(part), step));
}

void SheetWindow::press(const Key &key) {
  if (page_ && page_->isChoosing()) {
    page_->press(key);
    return;
  }
  if (pressPart(key))
    return;
  switch (key.code) {
  case Key::Code::Escape:
    return close(false);
  case Key::Code::Enter:
    return accept();
  case Key::Code::Tab:
  case Key::Code::Down:
    return move(1);
  case Key::Code::BackTab:
  case Key::Code::Up:
    return move(-1);
  case Key::Code::PageDown:
  case Key::Code::NextPage:
    return turn(1);
  case Key::Code::PageUp:
  case Key::Code::PreviousPage:
    return turn(-1);
  default:
    return;
  }
}

// Hands the key to the part that has the focus; false when the key does nothing there.
bool SheetWindow::pressPart(const Key &key) {
  const bool left = key.code == Key::Code::Left;
  const bool sideways = left || key.code == Key::Code::Right;
  switch (focus_) {
  case Part::Page:
    return page_->press(key);
  case Part::Tabs:
    if (sideways)
      turn(left ? -1 : 1);
    return sideways;
  case Part::Buttons:
    break;
  }
  if (sideways)
    buttons_.move(left ? -1 : 1);
  else if (key.is(' ') || (key.code == Key::Code::Enter && buttons_.onCancel()))
    buttons_.onCancel() ? close(false) : accept();
  else
    return false;
  return true;
}

// Closes the sheet if it accepts its values. Otherwise the refused field comes to the top and gets
// the focus, below the box that gives the reason.
void SheetWindow::accept() {
  const size_t before = sheet_.active;
  const bool refused = !sheet_.problem().empty();
  if (sheet_.active != before)
    open(sheet_.active);
  if (refused && page_ && page_->enterProblem())
    focus_ = Part::Page;
  if (sheet_.accept(frontEnd_))
    close(true);
}

std::vector<std::string> SheetWindow::hints() const {
  std::vector<std::string> hints;
  if (focus_ == Part::Page)
    hints = page_->hints();
  if (page_ && page_->isChoosing())
    return hints;
  if (focus_ == Part::Tabs)
    hints.emplace_back("Left/Right: page");
  const bool cancels = focus_ == Part::Buttons && buttons_.onCancel();
  if (focus_ != Part::Page || !page_->isInList())
    hints.emplace_back(cancels ? "Enter: Cancel" : "Enter: OK");
  hints.insert(hints.end(), {"Tab: next", "Esc: cancel"});
  if (hasTabs() && focus_ != Part::Tabs)
    hints.emplace_back("Ctrl-Right: page");
  return hints;
}

// The frames return the area for the page. The buttons are drawn two rows below that area.
void SheetWindow::draw(Screen &screen, const Rect &area) {
  const Rect page = sheet_.isDialog() ? drawDialogFrame(screen, area) : drawFrame(screen, area);
  if (page_)
    page_->draw(screen, page, focus_ == Part::Page);
  buttons_.draw(screen, {page.row + page.rows + 1, page.column, 1, page.columns},
                focus_ == Part::Buttons);
  if (page_)
    page_->drawOver(screen, area);
}

Rect SheetWindow::drawFrame(Screen &screen, const Rect &area) const {
  screen.fill(area);
  const Rect title{area.row, area.column, 1, area.columns};
  screen.fill(title, Look::Reverse);
  screen.putCentred(title, sheet_.title, Look::Reverse);
  drawTabs(screen, {area.row + 1, area.column, 1, area.columns});
  const Rect page{area.row + 3, area.column, area.rows - kFrameRows, area.columns};
  for (const int rule : {page.row - 1, page.row + page.rows})
    screen.fill({rule, area.column, 1, area.columns}, Look::Plain, '-');
  const auto &list = sheet_.pages.empty() ? std::nullopt : sheet_.pages[sheet_.active].list;
  if (list && !list->view.rows.empty()) {
    const std::string place = ' ' + std::to_string(list->selected + 1) + " of " +
                              std::to_string(list->view.rows.size()) + ' ';
    screen.put(page.row + page.rows, area.column + area.columns - cellCount(place) - 2, place,
               area.columns);
  }
  return page;
}

Rect SheetWindow::drawDialogFrame(Screen &screen, const Rect &area) const {
  constexpr int kButtonRows = 2;
  const Rect inside =
      drawBox(screen, area, sheet_.title,
              {page_->wantedRows() + kButtonRows,
               std::max(page_->labelWidth() + kValueWidth, cellCount(sheet_.title) + 2)});
  return {inside.row, inside.column, inside.rows - kButtonRows, inside.columns};
}

// When the tabs are wider than the screen, only those around the active one are drawn.
void SheetWindow::drawTabs(Screen &screen, const Rect &row) const {
  std::string line;
  int start = 0;
  int end = 0;
  for (size_t i = 0; i < sheet_.pages.size(); ++i) {
    const bool active = i == sheet_.active;
    const int column = cellCount(line);
    line += (active ? '[' : ' ') + sheet_.pages[i].title + (active ? ']' : ' ');
    if (active) {
      start = column;
      end = cellCount(line);
    }
  }
  const int width = cellCount(line);
  const int left = std::clamp((start + end - row.columns) / 2, 0, std::max(width - row.columns, 0));
  const size_t cut = bytesWithin(line, left);
  screen.put(row.row, row.column, std::string_view(line).substr(cut), row.columns);
  const size_t tab = bytesWithin(line, start);
  screen.put(row.row, row.column + start - left,
             std::string_view(line).substr(tab, bytesWithin(line, end) - tab), end - start,
             focus_ == Part::Tabs ? Look::Reverse : Look::Bold);
  if (left > 0)
    screen.put(row.row, row.column, "<", 1);
  if (left + row.columns < width)
    screen.put(row.row, row.column + row.columns - 1, ">", 1);
}

} // namespace velto
