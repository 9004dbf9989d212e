#pragma once

#include "base/bytes.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string>

namespace velto {

/// One end of a TCP connection.
struct TcpEnd {
  std::string address; ///< the bytes of an IPv4 or IPv6 address
  uint16_t port = 0;
  auto operator<=>(const TcpEnd &) const = default;

  /// As text; an IPv6 address in brackets.
  std::string host() const;
};

/// What a packet carries of a TCP connection (RFC 9293).
struct TcpSegment {
  TcpEnd from;
  TcpEnd to;
  uint32_t sequence = 0;
  uint32_t acknowledged = 0;
  bool fin = false;
  bool syn = false;
  bool reset = false;
  bool acknowledges = false;
  ByteView data;
  uint32_t cut = 0; ///< bytes behind the data that were sent and not captured
};

/// Whether packets of this LINKTYPE_ can be read.
bool knowsLinkType(int linkType);
/// Nothing for a packet that is no TCP, is a fragment, or is cut in its headers.
std::optional<TcpSegment> readTcp(int linkType, ByteView packet);

} // namespace velto
