#pragma once

#include "secs2/message.h"
#include "secs2/sml_lexer.h"

#include <string_view>

namespace velto {

/// Builds a message from SML text:
///
///     message: [S<stream>F<function>[W]] [item] | control message name
///     item:    { [count] item… } | <L [count] item…>
///              | <a|j|a2 'text' or character code …> | <b|bool|i1…u8 integer…> | <f4|f8 number…>
///
/// Numbers are decimal, "0x" hexadecimal, or true and false. One parser serves one parse.
class CHSmlParser {
public:
  /// Lists nest this many levels below the root.
  static constexpr size_t kMaxListDepth = 98;
  static constexpr size_t kMaxTextSize = 16'776'959;

  /// Fills `message`, which is fresh but for its header mode; false when the text is refused.
  bool Parse(CHSecsMessage &message, std::string_view text);

  /// For code pages with two-byte characters; none has lead bytes by default.
  void setLeadByteTest(CHSmlLex::LeadByteTest isLeadByte) { isLeadByte_ = isLeadByte; }

  /// What was wrong; valid after a failed Parse().
  const SmlError &error() const { return error_; }

private:
  bool parseMessage(CHSecsMessage &message);
  bool parseItem(CHSecsItem &root);
  bool openItem(CHSecsItem &item);
  bool parseArray(CHSecsItem &item, uint8_t code);
  bool addValue(CHSecsItem &item);
  bool fail(const char *reason, char close = '\0');
  void advance() { token_ = lexer_.next(); }

  CHSmlLex lexer_{""};
  CHSmlLex::LeadByteTest isLeadByte_ = nullptr;
  SmlToken token_;
  SmlError error_;
};

} // namespace velto
