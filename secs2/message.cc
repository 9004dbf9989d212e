#include "secs2/message.h"

#include "base/text.h"
#include "secs2/item_codec.h"
#include "secs2/item_value.h"
#include "secs2/node_path.h"
#include "secs2/sml_parser.h"

#include <utility>

namespace velto {

std::string SmlError::what() const { return reason + " at \"" + token + '"'; }

std::string SmlError::whatAndWhere() const {
  return "SML line " + std::to_string(line) + ": " + what();
}

void CHSecsMessage::show(const char *text) const {
  if (text != nullptr && messageBox)
    messageBox(text);
}

void CHSecsMessage::Reset(uint16_t deviceId) {
  header.Reset(0, 0);
  root.clear();
  header.idWord = deviceId;
}

VeltoSecsIIType CHSecsMessage::GetNodeType() const {
  const CHSecsItem *item = FindNode(root, node);
  return item == nullptr ? SecsInvalid : typeOf(item->format());
}

uint32_t CHSecsMessage::GetNodeCount() const {
  const CHSecsItem *item = FindNode(root, node);
  return item == nullptr ? 0 : item->count();
}

std::string CHSecsMessage::NodeValue(const CHSecsItem &root, std::string_view path, bool decimal) {
  const CHSecsItem *item = FindNode(root, path);
  if (item == nullptr)
    return "";
  const ValueForm form = decimal ? ValueForm::Decimal : ValueForm::Hexadecimal;
  const ElementIndex index = elementIndex(path);
  if (!index.given || formatInfo(item->format()).kind == ElementKind::Text)
    return valueText(*item, form);
  return index.number ? valueText(*item, form, index.number) : "";
}

bool CHSecsMessage::SetNodeValue(int type, std::string_view text) {
  if (type < SecsList || type > SecsAscii2)
    return false;
  const uint8_t code = formatOf(type);
  CHSecsItem item;
  switch (formatInfo(code).kind) {
  case ElementKind::List:
    item.setList();
    break;
  case ElementKind::Text:
    item.setText(text, code);
    break;
  default:
    if (text.empty())
      item.makeArray(code, 0);
    else if (type == SecsLong8 || type == SecsDWord8)
      item.setInt64(text, code);
    else
      item.setNumber(parseReal(text), code);
  }
  const bool appends = root.hasData() && root.format() == code && code != format::kList;
  if (!node.empty() || appends)
    return put(std::move(item));
  root.assignFrom(std::move(item));
  return true;
}

bool CHSecsMessage::put(CHSecsItem &&item) {
  const PutResult result = PutNode(root, node, std::move(item));
  if (showMessageBoxes_)
    show(putErrorText(result));
  return result == PutResult::Done;
}

void CHSecsMessage::deleteNode() {
  const CHSecsItem *item = FindNode(root, node);
  CHSecsItem *parent = FindNode(root, parentPath(node));
  if (item == nullptr || parent == nullptr)
    return;
  for (size_t i = 0; i < parent->children().size(); ++i)
    if (&parent->children()[i] == item)
      return parent->removeChild(i);
}

bool CHSecsMessage::SetFromSml(std::string_view text, SmlError *error) {
  const bool whole = node.empty();
  CHSmlParser parser;
  CHSecsMessage parsed;
  parsed.header.hsms = header.hsms;
  // The text may lie in an item of this message: it is read before anything changes.
  const bool deletes = text.empty();
  const bool accepted = deletes || parser.Parse(parsed, text);
  if (whole)
    Reset(0);
  if (deletes) {
    deleteNode();
    return true;
  }
  if (!accepted) {
    if (error != nullptr)
      *error = parser.error();
    if (showMessageBoxes_)
      show("Parse error!");
    return false;
  }
  if (whole) {
    root.assignFrom(std::move(parsed.root));
    header = parsed.header;
  } else {
    put(std::move(parsed.root));
  }
  return true;
}

std::string CHSecsMessage::GetMsg() const {
  Bytes bytes;
  Encode(bytes);
  return toHex(bytes);
}

bool CHSecsMessage::SetMsg(std::string_view hex) {
  if (hex.size() < 2 * CHSecsHeader::kSize) {
    if (showMessageBoxes_)
      show("Invalid string");
    return false;
  }
  return Decode(fromHex(hex), CHSecsHeader::kUnknownLength);
}

bool CHSecsMessage::Encode(Bytes &out) const {
  const auto bodySize = EncodedItemSize(root);
  if (!bodySize || *bodySize > kMaxEncodedSize - CHSecsHeader::kSize) {
    out.clear();
    return false;
  }
  out.resize(CHSecsHeader::kSize + *bodySize);
  EncodeHeader(header, std::span(out).first<CHSecsHeader::kSize>());
  EncodeItem(root, out.data() + CHSecsHeader::kSize);
  return true;
}

bool CHSecsMessage::Decode(ByteView bytes, uint32_t length) {
  if (bytes.size() < CHSecsHeader::kSize)
    return false;
  DecodeHeader(header, bytes.first<CHSecsHeader::kSize>(), length);
  const ByteView body = bytes.subspan(CHSecsHeader::kSize);
  if (DecodeItem(root, body) < body.size())
    root.addWireFault(WireFaultBehind);
  return true;
}

} // namespace velto
