#include "secs2/reply_text.h"

#include "base/text.h"

#include <algorithm>
#include <array>

namespace velto {

std::string smlQuoted(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (c == '\'')
      out += "' 0x27 '";
    else if (c != '\0')
      out += c;
  }
  return out;
}

std::string replyText(uint8_t stream, uint8_t function, bool equipmentSide,
                      const ReplyArguments &arguments, E5Edition edition) {
  const MessageRow *row = findMessage(stream, function);
  if (row == nullptr || row->of(edition).text == nullptr)
    return "";
  const MessageRule &rule = row->of(edition);
  std::string_view format = !equipmentSide && rule.hostText != nullptr ? rule.hostText : rule.text;
  std::string out;
  size_t argument = 0;
  while (!format.empty()) {
    const size_t percent = std::min(format.find('%'), format.size());
    out += format.substr(0, percent);
    if (percent == format.size())
      break;
    const std::string_view value = arguments[argument++];
    if (format[percent + 1] == 'u')
      appendDecimal(out, static_cast<uint64_t>(decimal32(value) & 0xFF));
    else
      out += !out.empty() && out.back() == '\'' ? smlQuoted(value) : value;
    format.remove_prefix(percent + 2);
  }
  return out;
}

bool MakeReply(CHSecsMessage &message, uint8_t stream, uint8_t function, bool equipmentSide,
               const ReplyArguments &arguments, E5Edition edition) {
  const std::string text = replyText(stream, function, equipmentSide, arguments, edition);
  message.node.clear();
  return !text.empty() && message.SetFromSml(text);
}

void MakeReplyIds(CHSecsMessage &reply, const CHSecsHeader &primary) {
  reply.header.idWord = primary.idWord;
  reply.header.systemBytes = primary.systemBytes;
}

// The header may be that of the message which is made.
void MakeAbort(CHSecsMessage &reply, const CHSecsHeader &primary) {
  const CHSecsHeader header = primary;
  reply.node.clear();
  reply.Reset(0);
  reply.header.streamByte = header.stream();
  MakeReplyIds(reply, header);
}

void MakeStream9(CHSecsMessage &message, uint8_t function, const CHSecsHeader *header) {
  std::array<uint8_t, CHSecsHeader::kSize> bytes{};
  if (header != nullptr)
    EncodeHeader(*header, bytes);
  message.node.clear();
  message.SetFromSml(formatText("s9f%u<b>", function));
  if (header != nullptr)
    std::ranges::copy(bytes, message.root.makeArray(format::kBinary, CHSecsHeader::kSize));
}

} // namespace velto
