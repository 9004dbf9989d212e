#include "controls/component/member_table.h"

#include "base/text.h"

#include <algorithm>

namespace velto {

namespace {

template <typename Condition>
const Member *findIf(const std::vector<Member> &members, Condition condition) {
  const auto found = std::find_if(members.begin(), members.end(), condition);
  return found == members.end() ? nullptr : &*found;
}

} // namespace

const Member *MemberTable::find(std::string_view name) const {
  const Member *member = findIf(members, [name](const Member &candidate) {
    return candidate.kind != Member::Kind::Event && equalsIgnoreCase(candidate.name, name);
  });
  return member != nullptr ? member : find(name, Member::Kind::Event);
}

const Member *MemberTable::find(std::string_view name, Member::Kind kind) const {
  return findIf(members, [name, kind](const Member &candidate) {
    return candidate.kind == kind && equalsIgnoreCase(candidate.name, name);
  });
}

const Member *MemberTable::find(int id, Member::Kind kind) const {
  return findIf(members, [id, kind](const Member &candidate) {
    return candidate.kind == kind && candidate.id == id;
  });
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
