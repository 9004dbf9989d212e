#include "apps/velto/console/member_text.h"

#include "apps/velto/console/literal.h"
#include "ui/view.h"

#include <array>

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
  const Column help{"Description", [](const Member &member) { return member.help; }};
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

} // namespace velto
