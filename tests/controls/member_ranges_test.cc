// What the member tables say of numbers is true of the controls.
#include "controls/registry.h"
#include "support/operator.h"
#include "support/temporary_directory.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace velto {
namespace {

// Properties that read something else than was set: a byte of the line, a state that was asked for,
// what verification found, a time of which 0 is the default.
bool isNoPlace(const std::string &name) {
  static const std::set<std::string, std::less<>> kNames{
      "VeltoComm.ByteStream", "VeltoGem.ControlState", "VeltoGem.CommunicationState",
      "VeltoGem.Verification", "VeltoGem.T2"};
  return kNames.contains(name);
}

constexpr int32_t kReadAlone = 65535; // a number that is no state of its own: "none"

/// A control with what the indexed properties of the Gem control need: a variable, an event and an
/// alarm of number 7, and a line, whose times it has only then.
struct Subject {
  explicit Subject(const MemberTable &table)
      : control(createControl(table.controlName, ControlSite(loop, front))) {
    if (table.controlName != "VeltoGem")
      return;
    control->set("DataFileName", folder / "tool.kel");
    control->set("Transport", 2);
    control->call("RegisterVID", std::vector<Variant>{7, 2, 14, "", "", "", "", ""});
    control->call("RegisterALID", std::vector<Variant>{7, 1, ""});
  }

  /// What the property reads after it was set to a number; nothing when that is refused.
  std::optional<int64_t> after(const Member &member, int64_t number) {
    const std::vector<Variant> index(member.arguments.size(), Variant("7"));
    if (!control->set(member.name, Variant(number), index))
      return std::nullopt;
    return control->get(member.name, index).value.toInteger();
  }

  const TemporaryDirectory folder;
  EventLoop loop;
  Operator front;
  std::unique_ptr<Control> control;
};

/// The numbers that the table gives the property: its enumeration, and both ends of its range.
std::vector<int64_t> numbersOf(const Member &member) {
  std::vector<int64_t> numbers;
  if (member.values != nullptr)
    for (const EnumerationValue &value : member.values->values)
      if (value.number != kReadAlone)
        numbers.push_back(value.number);
  if (member.range)
    numbers.insert(numbers.end(), {member.range->minimum, member.range->maximum});
  return numbers;
}

TEST(Members, TakeTheNumbersThatTheirTableGivesAndNoOthers) {
  for (const MemberTable *table : controlTables()) {
    for (const Member &member : table->members) {
      const std::string name = table->controlName + '.' + member.name;
      const std::vector<int64_t> numbers = numbersOf(member);
      if (member.set == nullptr || numbers.empty() || isNoPlace(name))
        continue;
      SCOPED_TRACE(name);
      Subject subject(*table);
      for (const int64_t number : numbers)
        EXPECT_EQ(subject.after(member, number), number);
      const auto [least, greatest] = std::ranges::minmax(numbers);
      const bool enforced = !member.range || member.range->enforced;
      for (const int64_t outside : {least - 1, greatest + 1}) {
        const auto read = subject.after(member, outside);
        if (read.has_value()) {
          EXPECT_EQ(least <= *read && *read <= greatest, enforced) << outside << " is " << *read;
        }
      }
      if (member.persisted) {
        EXPECT_GE(member.persisted->toInteger(), least);
        EXPECT_LE(member.persisted->toInteger(), greatest);
      }
    }
  }
}

TEST(Enumerations, NameEachNumberOnce) {
  std::set<std::string> enumerations;
  for (const Enumeration *enumeration : enumerationsOf(controlTables())) {
    EXPECT_TRUE(enumerations.insert(enumeration->name).second) << enumeration->name;
    std::set<std::string> names;
    std::set<int32_t> numbers;
    for (const EnumerationValue &value : enumeration->values) {
      EXPECT_TRUE(names.insert(value.name).second) << enumeration->name << '.' << value.name;
      EXPECT_TRUE(numbers.insert(value.number).second) << enumeration->name << '.' << value.name;
    }
  }
}

} // namespace
} // namespace velto
