#pragma once

#include "base/bytes.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace velto {

/// A packet as it was captured.
struct Packet {
  ByteView bytes;         ///< until the next one is read
  uint64_t since1970 = 0; ///< microseconds, UTC
};

/// Reads a capture, pcap or pcapng.
class PacketFile {
public:
  /// "-" is standard input. Null, with `problem`, when it cannot be read.
  static std::unique_ptr<PacketFile> open(const std::string &path, std::string &problem);
  virtual ~PacketFile() = default;

  /// The link layer, a LINKTYPE_ number of the format.
  virtual int linkType() const = 0;
  /// Nothing at the end, and when the rest cannot be read, with `problem`.
  virtual std::optional<Packet> next(std::string &problem) = 0;
};

} // namespace velto
