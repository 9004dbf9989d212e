#include "ui/view.h"

#include <algorithm>
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

} // namespace

TreeNode &TreeNode::add(std::string childLabel, int childImage) {
  return children.emplace_back(TreeNode{std::move(childLabel), childImage, false, {}});
}

TreeNode &TreeView::add(std::string label, int image) {
  return roots.emplace_back(TreeNode{std::move(label), image, false, {}});
}

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
