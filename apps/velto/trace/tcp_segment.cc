#include "apps/velto/trace/tcp_segment.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <sys/socket.h>

namespace velto {

namespace {

constexpr uint16_t kIpv4 = 0x0800;
constexpr uint16_t kIpv6 = 0x86DD;
constexpr uint8_t kTcpProtocol = 6;

// What stands in front of an IP packet, by link type: how many bytes, and where in them its
// EtherType is; -1: nowhere, the packet itself tells.
struct LinkHeader {
  int linkType;
  size_t size;
  int etherType;
};
constexpr std::array kLinks = {
    LinkHeader{0, 4, -1},    // BSD loopback
    LinkHeader{1, 14, 12},   // Ethernet
    LinkHeader{12, 0, -1},   // raw IP, as libpcap numbers it
    LinkHeader{14, 0, -1},   //
    LinkHeader{101, 0, -1},  // raw IP
    LinkHeader{108, 4, -1},  // OpenBSD loopback
    LinkHeader{113, 16, 14}, // Linux, any interface
    LinkHeader{276, 20, 0},  // the same, second version
};

const LinkHeader *findLink(int linkType) {
  const auto found = std::ranges::find(kLinks, linkType, &LinkHeader::linkType);
  return found == kLinks.end() ? nullptr : &*found;
}

uint16_t word(ByteView bytes, size_t at) { return readBigEndian<uint16_t>(&bytes[at]); }

std::string addressAt(ByteView bytes, size_t at, size_t size) {
  const ByteView address = bytes.subspan(at, size);
  return {address.begin(), address.end()};
}

// An IP packet without its headers.
struct Datagram {
  std::string from;
  std::string to;
  ByteView bytes;
  size_t size = 0; // as it was sent
};

std::optional<Datagram> readIpv4(ByteView packet) {
  constexpr size_t kSmallest = 20;
  if (packet.size() < kSmallest)
    return std::nullopt;
  const size_t header = size_t{packet[0] & 0xFU} * 4;
  const bool isFragment = (word(packet, 6) & 0x3FFF) != 0;
  size_t total = word(packet, 2);
  if (total == 0) // the network card was to cut it into packets
    total = packet.size();
  if (header < kSmallest || header > packet.size() || total < header || isFragment ||
      packet[9] != kTcpProtocol)
    return std::nullopt;
  const ByteView whole = packet.first(std::min(total, packet.size()));
  return Datagram{addressAt(packet, 12, 4), addressAt(packet, 16, 4), whole.subspan(header),
                  total - header};
}

std::optional<Datagram> readIpv6(ByteView packet) {
  constexpr size_t kHeader = 40;
  if (packet.size() < kHeader)
    return std::nullopt;
  size_t total = kHeader + word(packet, 4);
  if (total == kHeader)
    total = packet.size();
  const ByteView whole = packet.first(std::min(total, packet.size()));
  uint8_t next = packet[6];
  size_t header = kHeader;
  // Hop-by-hop options, routing, destination options.
  while ((next == 0 || next == 43 || next == 60) && header + 8 <= whole.size()) {
    next = whole[header];
    header += (size_t{whole[header + 1]} + 1) * 8;
  }
  if (next != kTcpProtocol || header > whole.size())
    return std::nullopt;
  return Datagram{addressAt(packet, 8, 16), addressAt(packet, 24, 16), whole.subspan(header),
                  total - header};
}

std::optional<Datagram> readLink(int linkType, ByteView packet) {
  const LinkHeader *link = findLink(linkType);
  if (link == nullptr || packet.size() < link->size + 1)
    return std::nullopt;
  ByteView rest = packet.subspan(link->size);
  uint16_t type = rest[0] >> 4 == 6 ? kIpv6 : kIpv4;
  if (link->etherType >= 0)
    type = word(packet, static_cast<size_t>(link->etherType));
  while ((type == 0x8100 || type == 0x88A8) && rest.size() > 4) { // VLAN tags
    type = word(rest, 2);
    rest = rest.subspan(4);
  }
  if (type != kIpv4 && type != kIpv6)
    return std::nullopt;
  return type == kIpv4 ? readIpv4(rest) : readIpv6(rest);
}

} // namespace

std::string TcpEnd::host() const {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const bool isIpv6 = address.size() > 4;
  inet_ntop(isIpv6 ? AF_INET6 : AF_INET, address.data(), text.data(), text.size());
  return isIpv6 ? std::string("[") + text.data() + ']' : text.data();
}

bool knowsLinkType(int linkType) { return findLink(linkType) != nullptr; }

std::optional<TcpSegment> readTcp(int linkType, ByteView packet) {
  constexpr size_t kSmallest = 20;
  const auto datagram = readLink(linkType, packet);
  if (!datagram || datagram->bytes.size() < kSmallest)
    return std::nullopt;
  const ByteView tcp = datagram->bytes;
  const size_t header = static_cast<size_t>(tcp[12] >> 4) * 4;
  if (header < kSmallest || header > datagram->size)
    return std::nullopt;
  const size_t present = std::min(header, tcp.size());
  const uint8_t flags = tcp[13];
  return TcpSegment{.from = {datagram->from, word(tcp, 0)},
                    .to = {datagram->to, word(tcp, 2)},
                    .sequence = readBigEndian<uint32_t>(&tcp[4]),
                    .acknowledged = readBigEndian<uint32_t>(&tcp[8]),
                    .fin = (flags & 1) != 0,
                    .syn = (flags & 2) != 0,
                    .reset = (flags & 4) != 0,
                    .acknowledges = (flags & 16) != 0,
                    .data = tcp.subspan(present),
                    .cut = static_cast<uint32_t>(datagram->size - std::max(header, tcp.size()))};
}

} // namespace velto
