// What the three list pages have in common.

#include "controls/pages/list_pages.h"

#include "base/text.h"

#include <algorithm>
#include <limits>
#include <type_traits>

namespace velto {

namespace {

constexpr int64_t kMaxNumber = std::numeric_limits<uint32_t>::max();

uint32_t numberIn(const PropertyPage &dialog) {
  return static_cast<uint32_t>(parseUnsigned(dialog.fields[0].value).value_or(0));
}

} // namespace

template <typename List> void ListPage<List>::fill(CVeltoGemCtrl &) {
  PageList &list = page().list.emplace();
  list.view.columns = traits_.columns;
  list.add = [this] { add(); };
  list.edit = [this](size_t row) { edit(row); };
  list.remove = [this](size_t row) { remove(row); };
}

template <typename List> void ListPage<List>::refresh() {
  PageList &list = *page().list;
  list.view.rows.clear();
  for (size_t i = 0; i < edited().Count(); ++i) {
    auto &cells = list.view.rows.emplace_back(row(edited().at(i)));
    cells.insert(cells.begin(), std::to_string(edited().at(i).number()));
  }
  list.selected = std::min(list.selected, std::max(edited().Count(), size_t{1}) - 1);
}

template <typename List> void ListPage<List>::select(uint32_t number) {
  desk().refresh();
  const List &entries = edited();
  for (size_t i = 0; i < entries.Count(); ++i)
    if (entries.at(i).number() == number)
      page().list->selected = i;
}

// True when the operator accepted a number that no other entry has.
template <typename List>
bool ListPage<List>::runDialog(PropertySheet &dialog, const Entry &entry, bool fresh) {
  const std::string name = traits_.name;
  dialog.title = name;
  PropertyPage &fields = dialog.pages.emplace_back();
  fields.integer(name, name + '#', entry.number(), 0, kMaxNumber);
  ask(fields, entry);
  dialog.check = [this, name, fresh, own = entry.number()](const PropertySheet &typed) {
    const uint32_t number = numberIn(typed.pages[0]);
    if (edited().find(number) == nullptr || (!fresh && number == own))
      return entryProblem(typed.pages[0]);
    const std::string shown = fresh || traits_.editShowsSigned
                                  ? std::to_string(static_cast<int32_t>(number))
                                  : std::to_string(number);
    return name + " #" + shown + " has already been registered.";
  };
  return desk().frontEnd.showSheet(dialog) && dialog.problem().empty();
}

template <typename List> void ListPage<List>::add() {
  Entry entry;
  entry.*traits_.number = edited().nextFree();
  PropertySheet dialog;
  if (!runDialog(dialog, entry, true))
    return;
  entry.*traits_.number = numberIn(dialog.pages[0]);
  take(dialog.pages[0], entry);
  const uint32_t number = entry.number();
  edited().Add(std::move(entry));
  select(number);
}

// A new number makes a new entry of what the dialog shows, and leaves the old one as it was.
template <typename List> void ListPage<List>::edit(size_t row) {
  PropertySheet dialog;
  if (!runDialog(dialog, edited().at(row), false))
    return;
  const uint32_t number = numberIn(dialog.pages[0]);
  if (number == edited().at(row).number()) {
    take(dialog.pages[0], edited().at(row));
  } else {
    Entry entry;
    entry.*traits_.number = number;
    take(dialog.pages[0], entry);
    edited().Add(std::move(entry));
  }
  select(number);
}

template <typename List> void ListPage<List>::remove(size_t row) {
  const uint32_t number = edited().at(row).number();
  const std::string text = traits_.text(edited().at(row));
  MessageBox box;
  box.text = std::string("Are you sure to delete ") + traits_.name + " #" + std::to_string(number) +
             (text.empty() ? "" : "(" + text + ")") + "?";
  box.title = "Confirmation";
  box.icon = MessageBox::Icon::Question;
  box.cancel = true;
  if (!desk().frontEnd.showBox(box))
    return;
  edited().Remove(number);
  // An entry of that number that is added later is another one.
  if ((desk().shown.*traits_.copy).Remove(number))
    removed_.insert(number);
  page().list->selected = row;
  desk().refresh();
}

// Roles and links are not edited here.
template <typename List>
bool ListPage<List>::wasEdited(const Entry &before, const Entry &after) const {
  if (before == after)
    return false;
  Entry merged = before;
  merge(merged, before, after);
  return !(merged == before);
}

template <typename List>
void ListPage<List>::apply(CVeltoGemCtrl &control, SetupChanges &changes) const {
  const List &shown = desk().shown.*traits_.copy;
  CHGem &gem = *control.engine().gem();
  List &live = gem.data().*traits_.live;
  bool changed = false;
  for (const uint32_t number : removed_) {
    if constexpr (std::is_same_v<List, CHGemEventVidList>)
      changed |= gem.events().UnregisterVID(number); // with what is kept of it elsewhere
    else
      changed |= live.Remove(number);
  }
  for (size_t i = 0; i < edited().Count(); ++i) {
    const Entry &copy = edited().at(i);
    const Entry *before = shown.find(copy.number());
    if (before != nullptr && !wasEdited(*before, copy))
      continue;
    changed = true;
    Entry *target = live.find(copy.number());
    // One that the operator edited while it was live has changes to be brought in. Any other is
    // as he typed it, also when the host has registered the same number or removed it meanwhile.
    const bool edit = before != nullptr && target != nullptr;
    if (target == nullptr) {
      Entry fresh;
      fresh.*traits_.number = copy.number();
      target = &live.Add(std::move(fresh));
    }
    // A role comes with the page of roles, which asks whether another one has it.
    merge(*target, edit ? *before : Entry(*target), copy);
  }
  if (changed)
    changes.model = changes.lists = true;
}

template class ListPage<CHGemAlarmAlidList>;
template class ListPage<CHGemEventCeidList>;
template class ListPage<CHGemEventVidList>;

} // namespace velto
