#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// What a control's tree window shows, independent of any window system.
struct TreeNode {
  std::string label;
  int image = 0; ///< which picture of the control's image list the node is drawn with
  bool expanded = false;
  std::vector<TreeNode> children;

  TreeNode &add(std::string childLabel, int childImage = 0);
  bool operator==(const TreeNode &) const = default;
};

/// A tree window: one or more root nodes.
struct TreeView {
  std::vector<TreeNode> roots;
  bool visible = true;

  void clear() { roots.clear(); }
  TreeNode &add(std::string label, int image = 0);
};

/// A list window with columns.
struct ListView {
  std::vector<std::string> columns;
  std::vector<std::vector<std::string>> rows;
  bool visible = true;
};

/// What a window draws its text with.
struct Font {
  std::string face;
  int32_t height = 0; ///< in pixels; negative: of the characters alone, 0: the window system's
  int32_t weight = 400;
  bool italic = false;
  bool operator==(const Font &) const = default;
};

/// A list window of plain lines, cheap to add to at the end and to take from at the start. A front
/// end reads the lines that it draws, when it draws.
struct LineView {
  std::deque<std::string> lines;
  int64_t selected = -1; ///< index of the selected line; -1: none
  Font font;
};

/// The tree as indented text, two spaces a level, one node a line.
std::string toText(const TreeView &view);
/// The list as text, columns padded to their widest entry and parted by two spaces.
std::string toText(const ListView &view);
/// The lines, each with a line end.
std::string toText(const LineView &view);

} // namespace velto
