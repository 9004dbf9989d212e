#include "secs2/node_path.h"

#include "base/text.h"

#include <algorithm>

namespace velto {

namespace {

bool isElementIndex(std::string_view path) {
  return !path.empty() && (path[0] == '[' || path[0] == '(');
}

// Levels of lists that an item spans, itself included.
size_t listLevels(const CHSecsItem &item) {
  if (!item.isList())
    return 0;
  std::vector<std::span<const CHSecsItem>> open{item.children()};
  size_t deepest = 1;
  while (!open.empty()) {
    if (open.back().empty()) {
      open.pop_back();
      continue;
    }
    const CHSecsItem &child = open.back().front();
    open.back() = open.back().subspan(1);
    if (child.isList())
      open.push_back(child.children());
    deepest = std::max(deepest, open.size());
  }
  return deepest;
}

// Where a path leads: the item, null when there is none, and the number of lists above it.
struct Place {
  const CHSecsItem *item;
  size_t depth;
};

Place walk(const CHSecsItem &root, std::string_view path) {
  Place place{&root, 0};
  for (;; ++place.depth) {
    if (!place.item->hasData())
      return {nullptr, 0};
    if (path.empty())
      return place;
    if (path[0] == '/')
      path.remove_prefix(1);
    if (isElementIndex(path))
      return place;
    const size_t slash = std::min(path.find('/'), path.size());
    const std::string_view head = path.substr(0, slash);
    path.remove_prefix(slash);
    const auto number = parseDecimal(head);
    if (number == 0)
      return place;
    const std::span<const CHSecsItem> children = place.item->children();
    if (!number || *number < 0 || static_cast<uint64_t>(*number) > children.size())
      return {nullptr, 0};
    place.item = &children[static_cast<size_t>(*number) - 1];
  }
}

bool tooDeep(size_t depth, const CHSecsItem &item) {
  return depth + listLevels(item) > CHSecsItem::kMaxDepth;
}

} // namespace

const CHSecsItem *FindNode(const CHSecsItem &root, std::string_view path) {
  return walk(root, path).item;
}

CHSecsItem *FindNode(CHSecsItem &root, std::string_view path) {
  return const_cast<CHSecsItem *>(FindNode(static_cast<const CHSecsItem &>(root), path));
}

std::string_view parentPath(std::string_view path) {
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

ElementIndex elementIndex(std::string_view path) {
  if (path.empty() || (path.back() != ']' && path.back() != ')'))
    return {};
  const size_t bracket = path.find('[') != std::string_view::npos ? path.find('[') : path.find('(');
  if (bracket == std::string_view::npos)
    return {true, std::nullopt};
  const std::optional<int64_t> number = parseDecimal(path.substr(bracket + 1));
  if (!number || *number < 0)
    return {true, std::nullopt};
  return {true, static_cast<uint64_t>(*number)};
}

const char *putErrorText(PutResult result) {
  switch (result) {
  case PutResult::ListExists:
    return "Cannot create list array.";
  case PutResult::NoParent:
    return "Cannot find parent node.";
  case PutResult::Done:
  case PutResult::ParentIsNoList:
  case PutResult::TooDeep:
    break;
  }
  return nullptr;
}

PutResult PutNode(CHSecsItem &root, std::string_view path, CHSecsItem &&item) {
  const Place place = walk(root, path);
  if (auto *existing = const_cast<CHSecsItem *>(place.item)) {
    if (existing->format() != item.format()) {
      if (tooDeep(place.depth, item))
        return PutResult::TooDeep;
      existing->assignFrom(std::move(item));
      return PutResult::Done;
    }
    if (item.format() == format::kList)
      return PutResult::ListExists;
    existing->appendBytes(item.bytes().data(), item.bytes().size());
    item.clear();
    return PutResult::Done;
  }
  const Place above = walk(root, parentPath(path));
  auto *parent = const_cast<CHSecsItem *>(above.item);
  if (parent == nullptr)
    return PutResult::NoParent;
  if (!parent->isList())
    return PutResult::ParentIsNoList;
  if (tooDeep(above.depth + 1, item))
    return PutResult::TooDeep;
  parent->appendChild(std::move(item));
  return PutResult::Done;
}

} // namespace velto
