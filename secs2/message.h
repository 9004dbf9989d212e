#pragma once

#include "base/bytes.h"
#include "secs2/header.h"
#include "secs2/item.h"

#include <functional>
#include <string>
#include <string_view>

namespace velto {

/// Why SML text was refused, and where.
struct SmlError {
  int line = 0;      ///< counted from 1
  std::string token; ///< the text that could not be taken; "." at the end of the text
  std::string reason;
  char missing = '\0'; ///< what should have closed an item or a list in front of the token: > or }
  bool atEnd = false;  ///< whether the token is the end of the text

  std::string what() const;         ///< parse error at "<u1"
  std::string whatAndWhere() const; ///< SML line 3: parse error at "<u1"
};

/// A SECS-II message (SEMI E5): the header, and the body as a tree of items. A message without a
/// body has a root without data.
class CHSecsMessage {
public:
  /// The longest message that is encoded, header included.
  static constexpr size_t kMaxEncodedSize = 10'485'760;

  std::string node; ///< the current node path; empty means the root
  CHSecsHeader header;
  CHSecsItem root;

  /// Errors of hexadecimal text, SML and paths go to `messageBox` while this is set.
  bool showMessageBoxes() const { return showMessageBoxes_; }
  void setShowMessageBoxes(bool show) { showMessageBoxes_ = show; }
  std::function<void(const std::string &text)> messageBox;

  /// A fresh header (stream 0, function 0) with `idWord` = `deviceId`, and no body.
  void Reset(uint16_t deviceId);

  /// Of the item at `node`; 0 when there is none.
  VeltoSecsIIType GetNodeType() const;
  uint32_t GetNodeCount() const;
  /// The value text of the item at `node`, or of the one element that the path names.
  std::string GetNodeValue(bool decimal) const { return NodeValue(root, node, decimal); }
  static std::string NodeValue(const CHSecsItem &root, std::string_view path, bool decimal);
  /// Makes an item of one element (of none when a number's text is empty) and puts it at `node`;
  /// repeated setting appends. False for an unknown type or when it cannot be put there.
  bool SetNodeValue(int type, std::string_view text);

  /// Sets the message from SML text: the whole of it when `node` is empty, else the item at `node`.
  /// Empty text deletes that item. False when the text does not parse; the message is then as
  /// before, or reset when `node` is empty.
  bool SetFromSml(std::string_view text, SmlError *error = nullptr);

  /// Header and body as lower-case hexadecimal text; empty when the message is too long to encode.
  std::string GetMsg() const;
  /// Takes a message from hexadecimal text; of at least 20 digits, else nothing changes and false
  /// is returned.
  bool SetMsg(std::string_view hex);

  /// Replaces the contents of `out` by header and body; false (and `out` empty) when that takes
  /// more than kMaxEncodedSize bytes.
  bool Encode(Bytes &out) const;
  /// Takes header and body from bytes as a transport brought them; `length` is what it reported.
  /// Any ten bytes or more decode; fewer change nothing.
  bool Decode(ByteView bytes, uint32_t length);
  bool Decode(ByteView bytes) { return Decode(bytes, static_cast<uint32_t>(bytes.size())); }

private:
  bool put(CHSecsItem &&item);
  void deleteNode();
  void show(const char *text) const;

  bool showMessageBoxes_ = false;
};

} // namespace velto
