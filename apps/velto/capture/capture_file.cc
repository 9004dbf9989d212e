#include "apps/velto/capture/capture_file.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <concepts>
#include <cstring>
#include <utility>

namespace velto {

namespace {

constexpr uint32_t kMagic = 0xa1b2c3d4; // microseconds, in the byte order of this machine
constexpr uint32_t kSnapLength = 262'144;
constexpr uint32_t kEthernet = 1;
constexpr size_t kMostData = 1460; // of a segment
constexpr size_t kAddressSize = 4;
constexpr size_t kIpHeader = 20;
constexpr size_t kTcpHeader = 20;
constexpr uint8_t kTcp = 6;
constexpr uint8_t kFin = 1;
constexpr uint8_t kSyn = 2;
constexpr uint8_t kPush = 8;
constexpr uint8_t kAckFlag = 16;

void append(Bytes &bytes, ByteView more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

template <std::unsigned_integral Number> void append(Bytes &bytes, Number number) {
  std::array<uint8_t, sizeof number> encoded{};
  writeBigEndian(encoded.data(), number);
  append(bytes, encoded);
}

// The sum of 16-bit words that IP and TCP have in their headers.
uint16_t checksum(ByteView bytes, uint32_t sum = 0) {
  for (size_t i = 0; i < bytes.size(); ++i)
    sum += i % 2 == 0 ? uint32_t{bytes[i]} << 8 : bytes[i];
  while (sum > 0xFFFF)
    sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

// The four bytes of an address, then the port.
Bytes endOf(const std::string &address, uint16_t port) {
  Bytes end(kAddressSize);
  inet_pton(AF_INET, address.c_str(), end.data());
  append(end, port);
  return end;
}

// Locally administered, and another one for each address.
void appendMac(Bytes &packet, ByteView end) {
  append(packet, uint16_t{0x0200});
  append(packet, end.first(kAddressSize));
}

Bytes ipHeader(ByteView from, ByteView to, size_t tcpSize) {
  Bytes header{0x45, 0};
  append(header, static_cast<uint16_t>(kIpHeader + tcpSize));
  append(header, uint32_t{0x4000}); // no identification, not to be fragmented
  append(header, ByteView(std::array<uint8_t, 4>{64, kTcp, 0, 0}));
  append(header, from.first(kAddressSize));
  append(header, to.first(kAddressSize));
  writeBigEndian(&header[10], checksum(header));
  return header;
}

Bytes tcpSegment(ByteView from, ByteView to, uint32_t sequence, uint32_t acknowledged,
                 uint8_t flags, ByteView data) {
  Bytes segment;
  append(segment, from.subspan(kAddressSize));
  append(segment, to.subspan(kAddressSize));
  append(segment, sequence);
  append(segment, acknowledged);
  append(segment, ByteView(std::array<uint8_t, 4>{kTcpHeader / 4 << 4, flags, 0xFF, 0xFF}));
  append(segment, uint32_t{0}); // checksum, urgent pointer
  append(segment, data);
  Bytes pseudo;
  append(pseudo, from.first(kAddressSize));
  append(pseudo, to.first(kAddressSize));
  const uint16_t ofPseudo = ~checksum(pseudo, kTcp + static_cast<uint32_t>(segment.size()));
  writeBigEndian(&segment[16], checksum(segment, ofPseudo));
  return segment;
}

class CapturedWire final : public WireTap::Wire {
public:
  CapturedWire(std::shared_ptr<CaptureFile> file, const TcpSocket::Ends &ends, bool accepted)
      : connection_(std::move(file), ends, microsSince1970()), accepted_(accepted) {}

private:
  void passed(TraceDirection direction, ByteView first, ByteView second) override {
    const bool fromOpener = (direction == TraceDirection::Sent) != accepted_;
    connection_.passed(fromOpener ? CaptureFile::Connection::Opener
                                  : CaptureFile::Connection::Acceptor,
                       first, second, microsSince1970());
  }

  CaptureFile::Connection connection_;
  const bool accepted_;
};

class LinkCapture final : public WireTap {
public:
  explicit LinkCapture(std::shared_ptr<CaptureFile> file) : file_(std::move(file)) {}

private:
  std::unique_ptr<Wire> connected(const TcpSocket::Ends &ends, bool accepted) override {
    return std::make_unique<CapturedWire>(file_, accepted ? ends.turned() : ends, accepted);
  }

  const std::shared_ptr<CaptureFile> file_;
};

} // namespace

uint64_t microsSince1970() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(since).count());
}

CaptureFile::CaptureFile(std::function<void(const std::string &problem)> failed)
    : failed_(std::move(failed)) {}

std::string CaptureFile::open(const std::string &path) {
  path_ = path;
  out_.open(path, std::ios::binary | std::ios::trunc);
  const struct {
    uint32_t magic = kMagic;
    uint16_t major = 2, minor = 4;
    uint32_t zone = 0, accuracy = 0, snapLength = kSnapLength, link = kEthernet;
  } header;
  out_.write(reinterpret_cast<const char *>(&header), sizeof header);
  return out_.flush() ? "" : path + ": cannot be written: " + std::strerror(errno);
}

void CaptureFile::packet(ByteView bytes, uint64_t micros) {
  if (!out_)
    return;
  const auto size = static_cast<uint32_t>(bytes.size());
  const std::array<uint32_t, 4> header{static_cast<uint32_t>(micros / 1'000'000),
                                       static_cast<uint32_t>(micros % 1'000'000), size, size};
  out_.write(reinterpret_cast<const char *>(header.data()), sizeof header);
  out_.write(reinterpret_cast<const char *>(bytes.data()), size);
  if (!out_.flush())
    failed_(path_ + " cannot be written any more: " + std::strerror(errno));
}

CaptureFile::Connection::Connection(std::shared_ptr<CaptureFile> file, const TcpSocket::Ends &ends,
                                    uint64_t micros)
    : file_(std::move(file)), addresses_{endOf(ends.local, ends.localPort),
                                         endOf(ends.remote, ends.remotePort)},
      last_(micros) {
  segment(Opener, kSyn, {}, micros);
  segment(Acceptor, kSyn | kAckFlag, {}, micros);
  segment(Opener, kAckFlag, {}, micros);
}

CaptureFile::Connection::~Connection() {
  segment(Opener, kFin | kAckFlag, {}, last_);
  segment(Acceptor, kFin | kAckFlag, {}, last_);
  segment(Opener, kAckFlag, {}, last_);
}

void CaptureFile::Connection::passed(Side from, ByteView first, ByteView second, uint64_t micros) {
  Bytes joined;
  if (!second.empty()) {
    append(joined, first);
    append(joined, second);
    first = joined;
  }
  for (; !first.empty(); first = first.subspan(std::min(first.size(), kMostData)))
    segment(from, kPush | kAckFlag, first.first(std::min(first.size(), kMostData)), micros);
  last_ = micros;
}

void CaptureFile::Connection::segment(Side from, uint8_t flags, ByteView data, uint64_t micros) {
  const ByteView source = addresses_[from];
  const ByteView drain = addresses_[1 - from];
  const uint32_t acknowledged = (flags & kAckFlag) != 0 ? next_[1 - from] : 0;
  const Bytes tcp = tcpSegment(source, drain, next_[from], acknowledged, flags, data);
  Bytes packet;
  appendMac(packet, drain);
  appendMac(packet, source);
  append(packet, uint16_t{0x0800}); // IP
  append(packet, ipHeader(source, drain, tcp.size()));
  append(packet, tcp);
  file_->packet(packet, micros);
  next_[from] += static_cast<uint32_t>(data.size()) + ((flags & (kSyn | kFin)) != 0 ? 1 : 0);
}

std::string captureLink(LinkSettings &link, const std::string &path,
                        std::function<void(const std::string &problem)> failed) {
  if (path.empty())
    return "";
  auto file = std::make_shared<CaptureFile>(std::move(failed));
  link.tap = std::make_shared<LinkCapture>(file);
  return file->open(path);
}

} // namespace velto
