#pragma once

#include "apps/velto/screen/list_pane.h"
#include "apps/velto/screen/text_input.h"
#include "ui/dialog.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace velto {

/// The list of choices that a field opens. One is picked with the arrow keys, or by its first
/// letters.
class ChoiceList {
public:
  explicit ChoiceList(const Field &field);

  /// False when the list closes. `field` then has the choice, unless it was left with Esc.
  bool press(const Key &key, Field &field);
  void draw(Screen &screen, const Rect &area, const std::string &title);

private:
  void search(const std::string &character);

  PageList list_;
  ListPane pane_;
  std::string typed_;
};

/// The items of one page: its fields, and its list if it has one. One item may have the focus.
class PagePane {
public:
  explicit PagePane(PropertyPage &page);

  /// Gives the focus to the first or last item; false when the page has none.
  bool enterFirst();
  bool enterLast();
  /// Gives the focus to the first field that cannot hold its value; false when all can.
  bool enterProblem();
  /// Gives the focus to the next or previous item; false when there is none.
  bool move(int step);

  /// Hands the key to the item that has the focus; false when the key does nothing there.
  bool press(const Key &key);
  /// `focused`: whether the focus is on this page.
  void draw(Screen &screen, const Rect &area, bool focused);
  /// Draws the open list of choices over the page.
  void drawOver(Screen &screen, const Rect &area);
  std::vector<std::string> hints() const;
  /// Whether a list of choices is open; it takes all keys.
  bool isChoosing() const { return choices_.has_value(); }
  /// Whether the list of the page has the focus.
  bool isInList() const { return item_ == listItem(); }
  /// The size at which the whole page is visible.
  int wantedRows() const;
  int labelWidth() const;

private:
  /// Position of the list among the items; those in front are fields.
  size_t listItem() const { return page_.fields.size(); }
  bool isItem(size_t item) const;
  bool enter(size_t item);
  bool pressField(const Key &key, Field &field);
  bool pressChoice(const Key &key, Field &field);
  bool pressList(const Key &key, PageList &list);
  void drawFields(Screen &screen, const Rect &area, bool focused);
  void drawField(Screen &screen, const Rect &row, const Field &field, bool focused) const;

  PropertyPage &page_;
  size_t item_ = 0; ///< the item that has the focus
  int top_ = 0;     ///< first field shown
  TextInput input_;
  ListPane listPane_;
  std::optional<ChoiceList> choices_;
};

} // namespace velto
