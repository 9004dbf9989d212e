#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velto {

// What the windows of controls show, independent of any window system. Views are snapshots, made
// anew for each look at them; by the keys of its nodes and rows, a front end finds what it has on
// the screen already (with its selection and place) and draws again what differs.

/// A line of a tree window, with the lines below it.
struct TreeNode {
  std::string label;
  int image = 0; ///< which picture of the control's image list the node is drawn with
  bool expanded = false;
  std::vector<TreeNode> children;
  std::string key = {};   ///< what tells it from its siblings, whatever it shows; see fillKeys()
  std::string value = {}; ///< what is behind its name; see fillKeys()

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

/// A line of a list window: its cells.
struct ListRow : std::vector<std::string> {
  using vector::vector;
  ListRow(std::vector<std::string> cells) : vector(std::move(cells)) {}

  std::string key = {};   ///< what tells it from the other rows, whatever it shows; see fillKeys()
  std::string value = {}; ///< what is behind its name; see fillKeys()
  int image = 0;          ///< which picture of the control's image list stands in front
};

/// A list window with columns.
struct ListView {
  std::vector<std::string> columns;
  std::vector<ListRow> rows;
  bool visible = true;
};

/// Gives the nodes that have no key one, and their value with it: for "T6 : 5 sec" the key "T6" and
/// the value "5 sec", for "Reports (3)" the key "Reports" and the value "3", for any other label
/// the key is the label. Siblings that would have the same key are "Key", "Key.2", "Key.3".
void fillKeys(TreeView &view);
/// The same for rows: the key is the first cell, the value the second.
void fillKeys(ListView &view);

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
