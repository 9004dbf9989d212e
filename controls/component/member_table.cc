#include "controls/component/member_table.h"

#include "base/text.h"

#include <algorithm>
#include <numeric>

namespace velto {

const Member *MemberTable::find(std::string_view name) const {
  const Member *event = nullptr;
  for (const uint16_t place : named(name)) {
    const Member &member = members[place];
    if (member.kind != Member::Kind::Event)
      return &member;
    if (event == nullptr)
      event = &member;
  }
  return event;
}

const Member *MemberTable::find(std::string_view name, Member::Kind kind) const {
  for (const uint16_t place : named(name))
    if (members[place].kind == kind)
      return &members[place];
  return nullptr;
}

const Member *MemberTable::find(int id, Member::Kind kind) const {
  const auto idOf = [this](uint16_t place) { return members[place].id; };
  for (const uint16_t place : std::ranges::equal_range(byId_, id, {}, idOf))
    if (members[place].kind == kind)
      return &members[place];
  return nullptr;
}

std::span<const uint16_t> MemberTable::named(std::string_view name) const {
  const auto nameOf = [this](uint16_t place) { return std::string_view(members[place].name); };
  return std::ranges::equal_range(byName_, name, lessIgnoreCase, nameOf);
}

// Members of one name or number stay in the order of the table.
void MemberTable::index() {
  byName_.resize(members.size());
  std::iota(byName_.begin(), byName_.end(), uint16_t{0});
  byId_ = byName_;
  std::ranges::stable_sort(byName_, lessIgnoreCase, [this](uint16_t place) {
    return std::string_view(members[place].name);
  });
  std::ranges::stable_sort(byId_, {}, [this](uint16_t place) { return members[place].id; });
}

std::vector<const Enumeration *> enumerationsOf(std::span<const MemberTable *const> tables) {
  std::vector<const Enumeration *> all;
  const auto add = [&all](const Enumeration *values) {
    if (values != nullptr && std::ranges::find(all, values) == all.end())
      all.push_back(values);
  };
  for (const MemberTable *table : tables)
    for (const Member &member : table->members) {
      add(member.values);
      for (const Argument &argument : member.arguments)
        add(argument.values);
    }
  return all;
}

} // namespace velto
