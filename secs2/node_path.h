#pragma once

#include "secs2/item.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace velto {

/// Items are addressed by paths of child numbers from 1, such as "2/1/3". The empty path is the
/// root; a leading "/" is ignored; the number 0, or a part that begins with "[" or "(", ends the
/// walk at the item reached so far. "2[3]" and "2(3)" address child 2, whose element 3 is meant.
///
/// The item at `path` below `root`; null when there is none. An item without data is never found.
CHSecsItem *FindNode(CHSecsItem &root, std::string_view path);
const CHSecsItem *FindNode(const CHSecsItem &root, std::string_view path);

/// The parent's path: what stands before the last "/", or the empty path.
std::string_view parentPath(std::string_view path);

/// The zero-based element index that a path ending in "]" or ")" names.
struct ElementIndex {
  bool given = false;             ///< the path ends in an index
  std::optional<uint64_t> number; ///< nothing when it is no number from 0
};
ElementIndex elementIndex(std::string_view path);

enum class PutResult { Done, ListExists, NoParent, ParentIsNoList, TooDeep };

/// What a message box says of a failed put; null when nothing is said.
const char *putErrorText(PutResult result);

/// Places `item` at `path` and takes it over. Where an item of another format stands, it is
/// replaced in its place; where an array of the same format stands, the new elements are appended;
/// where nothing stands, the item becomes the last child of the parent list. On failure nothing is
/// changed and `item` stays with the caller.
PutResult PutNode(CHSecsItem &root, std::string_view path, CHSecsItem &&item);

} // namespace velto
