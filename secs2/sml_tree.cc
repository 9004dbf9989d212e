#include "secs2/sml_tree.h"

#include "base/text.h"
#include "secs2/item_value.h"

namespace velto {

namespace {

std::string label(const CHSecsItem &item) {
  switch (formatInfo(item.format()).kind) {
  case ElementKind::List:
    return "List (" + std::to_string(item.count()) + " items)";
  case ElementKind::Binary:
    return valueText(item, ValueForm::Hexadecimal);
  case ElementKind::Text:
    return "'" + std::string(item.text()) + "' (" + std::to_string(item.count()) + " bytes)";
  case ElementKind::Boolean: {
    std::string text;
    for (const uint8_t byte : item.bytes()) {
      text += text.empty() ? "" : " ";
      text += byte != 0 ? "true" : "false";
    }
    return text;
  }
  default:
    return valueText(item, ValueForm::Decimal);
  }
}

void addItem(TreeNode &parent, const CHSecsItem &item, size_t depth) {
  TreeNode &node = parent.add(label(item));
  if (depth > CHSecsItem::kMaxDepth)
    return;
  for (const CHSecsItem &child : item.children())
    if (child.hasData())
      addItem(node, child, depth + 1);
}

} // namespace

TreeNode MessageTree(const CHSecsMessage &message) {
  TreeNode root;
  root.label = HeaderText(message.header, HeaderTextMode::Name);
  root.expanded = true;
  root.add(HeaderText(message.header, HeaderTextMode::Hex));
  if (message.root.hasData())
    addItem(root, message.root, 1);
  return root;
}

} // namespace velto
