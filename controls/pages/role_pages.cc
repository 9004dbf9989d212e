#include "controls/pages/role_pages.h"

#include "base/text.h"
#include "gem/data/roles.h"

namespace velto {

namespace {

constexpr const char *kNone = "none";

std::string describe(const CHGemEventVid &variable) { return std::string(variable.description()); }
std::string describe(const CHGemEventCeid &event) { return event.description; }

} // namespace

template <typename List> void RolePage<List>::fill(CVeltoGemCtrl &) {
  const std::string name = traits_.name;
  PageList &list = page().list.emplace();
  list.view.columns = {"Predefined " + name + " Name", name + "#", "Description"};
  list.edit = [this](size_t row) { assign(static_cast<uint8_t>(row)); };
  list.remove = [this](size_t row) { takeAway(static_cast<uint8_t>(row)); };
}

template <typename List> void RolePage<List>::refresh() {
  auto &rows = page().list->view.rows;
  rows.clear();
  for (size_t role = 0; role < traits_.roles.size(); ++role) {
    auto &row = rows.emplace_back(std::vector{std::string(traits_.roles[role])});
    if (const auto *holder = edited().FindByRole(static_cast<uint8_t>(role)))
      row.insert(row.end(), {std::to_string(holder->number()), describe(*holder)});
  }
}

template <typename List> void RolePage<List>::assign(uint8_t role) {
  const auto *holder = edited().FindByRole(role);
  std::vector<std::string> choices = {kNone};
  for (size_t i = 0; i < edited().Count(); ++i)
    choices.push_back(std::to_string(edited().at(i).number()));
  PropertySheet dialog;
  dialog.title = traits_.roles[role];
  dialog.pages.emplace_back().choice(traits_.name, std::string(traits_.name) + "#",
                                     holder == nullptr ? kNone : std::to_string(holder->number()),
                                     std::move(choices));
  if (!desk().frontEnd.showSheet(dialog) || !dialog.problem().empty())
    return;
  const auto number = parseUnsigned(dialog.value(traits_.name));
  if (!number)
    return takeAway(role);
  edited().SetRole(*edited().find(static_cast<uint32_t>(*number)), role);
  page().list->selected = role;
  desk().refresh();
}

template <typename List> void RolePage<List>::takeAway(uint8_t role) {
  while (auto *holder = edited().FindByRole(role))
    edited().SetRole(*holder, kNoRole);
  page().list->selected = role;
  desk().refresh();
}

template <typename List>
void RolePage<List>::apply(CVeltoGemCtrl &control, SetupChanges &changes) const {
  const List &shown = desk().shown.*traits_.copy;
  List &live = control.engine().gem()->data().*traits_.live;
  for (size_t i = 0; i < edited().Count(); ++i) {
    const auto &copy = edited().at(i);
    const auto *before = shown.find(copy.number());
    auto *target = live.find(copy.number());
    const bool changed = copy.role != (before == nullptr ? kNoRole : before->role);
    if (!changed || target == nullptr || target->role == copy.role)
      continue;
    live.SetRole(*target, copy.role);
    changes.model = changes.lists = true;
  }
}

template class RolePage<CHGemEventVidList>;
template class RolePage<CHGemEventCeidList>;

CPropPredefinedVid::CPropPredefinedVid(SetupDesk &desk)
    : RolePage(desk, {"VID", variableRoleNames(), &ModelLists::variables, &GemData::variables}) {}

CPropPredefinedCeid::CPropPredefinedCeid(SetupDesk &desk)
    : RolePage(desk, {"CEID", eventRoleNames(), &ModelLists::events, &GemData::events}) {}

} // namespace velto
