#pragma once

#include "apps/velto/screen/list_pane.h"
#include "apps/velto/screen/text_input.h"
#include "ui/dialog.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace velto {

/// A choice among many, opened from its field: picked from a list, or by its first letters.
class ChoiceList {
public:
  explicit ChoiceList(const Field &field);

  /// False when it closes; then `field` has the choice, if one was made.
  bool press(const Key &key, Field &field);
  void draw(Screen &screen, const Rect &area, const std::string &title);

private:
  void search(const std::string &character);

  PageList list_;
  ListPane pane_;
  std::string typed_;
};

/// The fields and the list of one page, one of which may have the focus.
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

  /// True when the key was of use to what has the focus.
  bool press(const Key &key);
  /// `focused`: the focus is on this page.
  void draw(Screen &screen, const Rect &area, bool focused);
  /// Draws what stands over the page.
  void drawOver(Screen &screen, const Rect &area);
  std::vector<std::string> hints() const;
  /// A list of choices is open, and takes all keys.
  bool isChoosing() const { return choices_.has_value(); }
  /// The list has the focus.
  bool isInList() const { return item_ == listItem(); }
  /// What the page wants to show of itself: rows, and cells in front of the values.
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
  size_t item_ = 0; ///< has the focus
  int top_ = 0;     ///< first field that is in sight
  TextInput input_;
  ListPane listPane_;
  std::optional<ChoiceList> choices_;
};

} // namespace velto
