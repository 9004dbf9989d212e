#include "transport/hsms/hsms_frame.h"

#include "base/text.h"

namespace velto {

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
