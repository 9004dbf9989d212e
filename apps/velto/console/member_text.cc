#include "apps/velto/console/member_text.h"

#include "apps/velto/console/literal.h"
#include "ui/view.h"

#include <array>
#include <limits>

namespace velto {

namespace {

std::string signature(const Member &member) {
  std::string text = member.name;
  if (member.kind == Member::Kind::Property && member.arguments.empty())
    return text;
  text += '(';
  for (size_t i = 0; i < member.arguments.size(); ++i) {
    if (i != 0)
      text += ", ";
    text += member.arguments[i].name;
    text += ' ';
    text += toText(member.arguments[i].type);
  }
  text += ')';
  return text;
}

std::string typeText(const Member &member) {
  return member.type == ValueType::None ? "" : toText(member.type);
}

std::string rangeText(const Member &member) {
  std::string text = std::to_string(member.range->minimum);
  if (member.range->maximum == std::numeric_limits<int32_t>::max())
    return text + " or more";
  return text + " to " + std::to_string(member.range->maximum);
}

// What is known of the values: "0 to 120 s", "VeltoGemControlState", "sRole: VeltoGemEventRole".
std::string valuesText(const Member &member) {
  std::string text = member.values == nullptr ? "" : member.values->name;
  if (text.empty() && member.range)
    text = rangeText(member);
  if (!member.unit.empty())
    text += (text.empty() ? "" : " ") + member.unit;
  for (const Argument &argument : member.arguments)
    if (argument.values != nullptr)
      text += (text.empty() ? "" : "; ") + argument.name + ": " + argument.values->name;
  return text;
}

std::string helpText(const Member &member) {
  const std::string values = valuesText(member);
  return values.empty() ? member.help : member.help + " [" + values + ']';
}

/// A column of a group: its title, and what it says about a member.
struct Column {
  const char *title;
  std::string (*text)(const Member &);
};

struct Group {
  Member::Kind kind;
  const char *title;
  std::vector<Column> columns;
};

std::array<Group, 3> groups() {
  const Column id{"Id", [](const Member &member) { return std::to_string(member.id); }};
  const Column name{"Name", signature};
  const Column type{"Type", typeText};
  const Column result{"Result", typeText};
  const Column fallback{"Default", [](const Member &member) {
                          return member.persisted ? toLiteral(*member.persisted) : std::string();
                        }};
  const Column access{"Access", [](const Member &member) {
                        return std::string(member.set == nullptr ? "ro" : "rw");
                      }};
  const Column help{"Description", helpText};
  return {Group{Member::Kind::Property, "Properties", {id, name, type, fallback, access, help}},
          Group{Member::Kind::Method, "Methods", {id, name, result, help}},
          Group{Member::Kind::Event, "Events", {id, name, help}}};
}

ListView listOf(const MemberTable &table, const Group &group) {
  ListView list;
  for (const Column &column : group.columns)
    list.columns.emplace_back(column.title);
  for (const Member &member : table.members) {
    if (member.kind != group.kind)
      continue;
    auto &row = list.rows.emplace_back();
    for (const Column &column : group.columns)
      row.push_back(column.text(member));
  }
  return list;
}

ListView listOf(const Enumeration &enumeration) {
  ListView list{.columns = {"Value", "Name", "Description"}, .rows = {}};
  for (const EnumerationValue &value : enumeration.values)
    list.rows.push_back({std::to_string(value.number), value.name, value.help});
  return list;
}

std::string headline(const Enumeration &enumeration) {
  return enumeration.help + (enumeration.flags ? " Bits, of which any may be there together." : "");
}

// As a heading of that text is addressed.
std::string anchor(std::string heading) {
  for (char &c : heading)
    if (c >= 'A' && c <= 'Z')
      c = static_cast<char>(c - 'A' + 'a');
  return heading;
}

std::string markdownRow(const std::vector<std::string> &cells) {
  std::string row = "|";
  for (const std::string &cell : cells) {
    row += ' ';
    for (const char c : cell) {
      if (c == '|' || c == '\\')
        row += '\\';
      row += c;
    }
    row += cell.empty() ? "|" : " |";
  }
  return row + '\n';
}

std::string markdown(const ListView &list) {
  std::string text = markdownRow(list.columns);
  text += markdownRow(std::vector<std::string>(list.columns.size(), "---"));
  for (const auto &row : list.rows)
    text += markdownRow(row);
  return text;
}

} // namespace

std::string describe(const MemberTable &table) {
  std::string text = table.controlName + " (" + table.className + ")\n" + table.help + '\n';
  for (const Group &group : groups()) {
    const ListView list = listOf(table, group);
    if (!list.rows.empty())
      text += std::string("\n") + group.title + '\n' + toText(list);
  }
  const MemberTable *const tables[] = {&table};
  for (const Enumeration *enumeration : enumerationsOf(tables))
    text += '\n' + enumeration->name + ": " + headline(*enumeration) + '\n' +
            toText(listOf(*enumeration));
  return text;
}

std::string describeMarkdown(const MemberTable &table) {
  std::string text =
      "## " + table.controlName + "\n\nClass `" + table.className + "`. " + table.help + '\n';
  for (const Group &group : groups()) {
    const ListView list = listOf(table, group);
    if (!list.rows.empty())
      text += std::string("\n### ") + group.title + "\n\n" + markdown(list);
  }
  return text;
}

std::string enumerationsMarkdown(std::span<const MemberTable *const> tables) {
  std::string text = "## Enumerations\n";
  for (const Enumeration *enumeration : enumerationsOf(tables))
    text += "\n### " + enumeration->name + "\n\n" + headline(*enumeration) + "\n\n" +
            markdown(listOf(*enumeration));
  // Makes "[VeltoGemControlState]" behind a sentence a link.
  text += '\n';
  for (const Enumeration *enumeration : enumerationsOf(tables))
    text += '[' + enumeration->name + "]: #" + anchor(enumeration->name) + '\n';
  return text;
}

} // namespace velto
