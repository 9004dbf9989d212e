#include "ui/view.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace velto {

namespace {

/// Appends text on one line: line ends become blanks.
void appendFlat(std::string &out, std::string_view text) {
  for (const char c : text)
    out += c == '\r' || c == '\n' ? ' ' : c;
}

std::vector<size_t> columnWidths(const ListView &view) {
  std::vector<size_t> widths;
  const auto widen = [&widths](const std::vector<std::string> &cells) {
    widths.resize(std::max(widths.size(), cells.size()));
    for (size_t i = 0; i < cells.size(); ++i)
      widths[i] = std::max(widths[i], cells[i].size());
  };
  widen(view.columns);
  for (const auto &row : view.rows)
    widen(row);
  return widths;
}

/// Blanks are put in front of the next entry that is not empty, so no line ends with any.
void appendRow(std::string &out, const std::vector<std::string> &cells,
               const std::vector<size_t> &widths) {
  size_t pending = 0;
  for (size_t i = 0; i < cells.size(); ++i) {
    if (!cells[i].empty()) {
      out.append(std::exchange(pending, 0), ' ');
      appendFlat(out, cells[i]);
    }
    pending += widths[i] - cells[i].size() + 2;
  }
  out += '\n';
}

TreeNode &addNode(std::vector<TreeNode> &nodes, std::string label, int image) {
  TreeNode &node = nodes.emplace_back();
  node.label = std::move(label);
  node.image = image;
  return node;
}

struct NameAndValue {
  std::string_view name;
  std::string_view value;
};

// "Name : value", or "Name (value)".
NameAndValue partLabel(std::string_view label) {
  constexpr std::string_view kColon = " : ";
  if (const size_t colon = label.find(kColon); colon != std::string_view::npos)
    return {label.substr(0, colon), label.substr(colon + kColon.size())};
  const size_t bracket = label.rfind(" (");
  if (bracket != std::string_view::npos && label.ends_with(')'))
    return {label.substr(0, bracket), label.substr(bracket + 2, label.size() - bracket - 3)};
  return {label, {}};
}

NameAndValue part(const TreeNode &node) { return partLabel(node.label); }

NameAndValue part(const ListRow &row) {
  return {row.empty() ? std::string_view() : row[0], row.size() < 2 ? std::string_view() : row[1]};
}

// Keys that are given stay, so they are taken before any is made. The number of the last key made
// from each name is kept: of ten thousand siblings with the same name, none tries them all.
template <typename Item> void fillSiblings(std::vector<Item> &items) {
  std::unordered_map<std::string, size_t> taken;
  for (const Item &item : items)
    if (!item.key.empty())
      taken.emplace(item.key, 1);
  for (Item &item : items) {
    if (!item.key.empty())
      continue;
    const auto [name, value] = part(item);
    item.value = value;
    item.key = name;
    size_t &number = taken[item.key];
    if (++number == 1 && !item.key.empty())
      continue;
    for (;; ++number) {
      item.key = std::string(name) + '.' + std::to_string(number);
      if (taken.emplace(item.key, 1).second)
        break;
    }
  }
}

} // namespace

TreeNode &TreeNode::add(std::string childLabel, int childImage) {
  return addNode(children, std::move(childLabel), childImage);
}

TreeNode &TreeView::add(std::string label, int image) {
  return addNode(roots, std::move(label), image);
}

void fillKeys(TreeView &view) {
  std::vector<std::vector<TreeNode> *> levels{&view.roots};
  while (!levels.empty()) {
    std::vector<TreeNode> &nodes = *levels.back();
    levels.pop_back();
    fillSiblings(nodes);
    for (TreeNode &node : nodes)
      if (!node.children.empty())
        levels.push_back(&node.children);
  }
}

void fillKeys(ListView &view) { fillSiblings(view.rows); }

// A tree may be as deep as a message is nested, so the levels are kept on a stack of their own.
std::string toText(const TreeView &view) {
  struct Level {
    const std::vector<TreeNode> *nodes;
    size_t next;
  };
  std::string text;
  std::vector<Level> levels{{&view.roots, 0}};
  while (!levels.empty()) {
    Level &level = levels.back();
    if (level.next == level.nodes->size()) {
      levels.pop_back();
      continue;
    }
    const TreeNode &node = (*level.nodes)[level.next++];
    text.append(2 * (levels.size() - 1), ' ');
    appendFlat(text, node.label);
    text += '\n';
    levels.push_back({&node.children, 0});
  }
  return text;
}

std::string toText(const ListView &view) {
  const std::vector<size_t> widths = columnWidths(view);
  std::string text;
  if (!view.columns.empty())
    appendRow(text, view.columns, widths);
  for (const auto &row : view.rows)
    appendRow(text, row, widths);
  return text;
}

std::string toText(const LineView &view) {
  std::string text;
  for (const std::string &line : view.lines) {
    appendFlat(text, line);
    text += '\n';
  }
  return text;
}

} // namespace velto
