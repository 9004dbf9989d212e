#pragma once

#include "base/bytes.h"
#include "secs2/transaction.h"

#include <array>
#include <optional>
#include <string>

namespace velto {

/// An HSMS frame (SEMI E37 8.2) is the length of what follows (four bytes, big-endian), the header,
/// and the body.
constexpr size_t kFrameLengthSize = 4;
/// The session ID of control messages; no data message has it.
constexpr uint16_t kNoSession = 0xFFFF;

/// What stands before the body on the wire: the length and the header.
constexpr size_t kFrameHeadSize = kFrameLengthSize + CHSecsHeader::kSize;
using FrameHead = std::array<uint8_t, kFrameHeadSize>;
FrameHead frameHead(const CHSecsHeader &header, size_t bodySize);

/// True for Select.req, Deselect.req and Linktest.req, which open a control transaction.
bool isControlRequest(const CHSecsHeader &header);
/// True when `response` is the Select.rsp, Deselect.rsp or Linktest.rsp to this very request.
bool isControlResponse(const CHSecsHeader &response, const CHSecsHeader &request);

/// True for Reject.req.
inline bool isReject(const CHSecsHeader &header) {
  return header.sType() == static_cast<uint8_t>(SType::RejectReq);
}

/// "Select Request" to "Separate Request"; "Unknown" for a type that has no such name.
const char *hsmsTypeName(SType type);
/// The same for a control message; a data message as "S1F13".
std::string hsmsMessageName(const CHSecsHeader &header);

} // namespace velto
