#include "secs2/node_path.h"

#include "platform/text.h"

#include <algorithm>

namespace velto {

namespace {

bool isElementIndex(std::string_view path) {
  return !path.empty() && (path[0] == '[' || path[0] == '(');
}

size_t pathDepth(std::string_view path) {
  return 1 + static_cast<size_t>(std::ranges::count(path, '/'));
}

// Levels that an item spans, itself included.
size_t levels(const CHSecsItem &item) {
  std::vector<std::span<const CHSecsItem>> open{item.children()};
  size_t deepest = 1;
  while (!open.empty()) {
    if (open.back().empty()) {
      open.pop_back();
      continue;
    }
    const CHSecsItem &child = open.back().front();
    open.back() = open.back().subspan(1);
    open.push_back(child.children());
    deepest = std::max(deepest, open.size());
  }
  return deepest;
}

} // namespace

const CHSecsItem *FindNode(const CHSecsItem &root, std::string_view path) {
  const CHSecsItem *item = &root;
  for (;;) {
    if (!item->hasData())
      return nullptr;
    if (path.empty())
      return item;
    if (path[0] == '/')
      path.remove_prefix(1);
    if (isElementIndex(path))
      return item;
    const size_t slash = std::min(path.find('/'), path.size());
    const std::string_view head = path.substr(0, slash);
    path.remove_prefix(slash);
    if (!parseDecimal(head))
      return nullptr;
    const int32_t number = decimal32(head);
    if (number == 0)
      return item;
    if (number < 0 || static_cast<size_t>(number) > item->children().size())
      return nullptr;
    item = &item->children()[static_cast<size_t>(number) - 1];
  }
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
  if (item.isList() && pathDepth(path) + levels(item) > CHSecsItem::kMaxDepth)
    return PutResult::TooDeep;
  if (CHSecsItem *existing = FindNode(root, path)) {
    if (existing->format() != item.format()) {
      existing->assignFrom(std::move(item));
      return PutResult::Done;
    }
    if (item.format() == format::kList)
      return PutResult::ListExists;
    existing->appendBytes(item.bytes().data(), item.bytes().size());
    item.clear();
    return PutResult::Done;
  }
  CHSecsItem *parent = FindNode(root, parentPath(path));
  if (parent == nullptr)
    return PutResult::NoParent;
  if (!parent->isList())
    return PutResult::ParentIsNoList;
  parent->appendChild(std::move(item));
  return PutResult::Done;
}

} // namespace velto
