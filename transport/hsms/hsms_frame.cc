#include "transport/hsms/hsms_frame.h"

#include "base/text.h"

namespace velto {

std::optional<CHSecsHeader> readHeader(ByteView message) {
  if (message.size() < CHSecsHeader::kSize)
    return std::nullopt;
  CHSecsHeader header;
  DecodeHeader(header, message.first<CHSecsHeader::kSize>(), static_cast<uint32_t>(message.size()));
  return header;
}

FrameHead frameHead(const CHSecsHeader &header, size_t bodySize) {
  FrameHead head{};
  writeBigEndian(head.data(), static_cast<uint32_t>(CHSecsHeader::kSize + bodySize));
  EncodeHeader(header, std::span(head).last<CHSecsHeader::kSize>());
  return head;
}

bool isControlRequest(const CHSecsHeader &header) {
  switch (static_cast<SType>(header.sType())) {
  case SType::SelectReq:
  case SType::DeselectReq:
  case SType::LinktestReq:
    return true;
  default:
    return false;
  }
}

bool isControlResponse(const CHSecsHeader &response, const CHSecsHeader &request) {
  return isControlRequest(request) && response.sType() == request.sType() + 1 &&
         response.systemBytes == request.systemBytes;
}

bool isReply(const CHSecsHeader &reply, const CHSecsHeader &primary) {
  return reply.stream() == primary.stream() && reply.systemBytes == primary.systemBytes &&
         (reply.function() == primary.function() + 1 || reply.function() == 0);
}

bool isSameMessage(const CHSecsHeader &a, const CHSecsHeader &b) {
  return a.stream() == b.stream() && a.function() == b.function() && a.systemBytes == b.systemBytes;
}

std::optional<CHSecsHeader> readMhead(ByteView message) {
  constexpr unsigned kBinary = 0x20;
  constexpr unsigned kLengthBytes = 0x03;
  ByteView body = message.subspan(std::min(message.size(), CHSecsHeader::kSize));
  if (body.empty() || (body[0] & ~kLengthBytes) != kBinary)
    return std::nullopt;
  const size_t lengthBytes = body[0] & kLengthBytes;
  if (body.size() <= lengthBytes)
    return std::nullopt;
  size_t length = 0;
  for (const uint8_t byte : body.subspan(1, lengthBytes))
    length = length << 8 | byte;
  body = body.subspan(1 + lengthBytes);
  if (length < CHSecsHeader::kSize || length > body.size())
    return std::nullopt;
  return readHeader(body.first(CHSecsHeader::kSize));
}

const char *hsmsTypeName(SType type) {
  switch (type) {
  case SType::SelectReq:
    return "Select Request";
  case SType::SelectRsp:
    return "Select Response";
  case SType::DeselectReq:
    return "Deselect Request";
  case SType::DeselectRsp:
    return "Deselect Response";
  case SType::LinktestReq:
    return "Linktest Request";
  case SType::LinktestRsp:
    return "Linktest Response";
  case SType::RejectReq:
    return "Reject Request";
  case SType::SeparateReq:
    return "Separate Request";
  case SType::Data:
    break;
  }
  return "Unknown";
}

std::string hsmsMessageName(const CHSecsHeader &header) {
  const auto type = static_cast<SType>(header.sType());
  if (type != SType::Data)
    return hsmsTypeName(type);
  return formatText("S%uF%u", unsigned{header.stream()}, unsigned{header.function()});
}

} // namespace velto
