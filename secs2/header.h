#pragma once

#include "base/bytes.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace velto {

/// Session types of an HSMS header (SEMI E37 8.2.6).
enum class SType : uint8_t {
  Data = 0,
  SelectReq = 1,
  SelectRsp = 2,
  DeselectReq = 3,
  DeselectRsp = 4,
  LinktestReq = 5,
  LinktestRsp = 6,
  RejectReq = 7,
  SeparateReq = 9,
};

/// Fields of a header that numbers are set to.
enum class HeaderField : uint8_t { Id = 1, Stream = 2, Function = 4, PType = 8, SType = 16 };

/// The ten header bytes of a message, kept as fields (SEMI E5 6.2, E4 6.3, E37 8.2).
struct CHSecsHeader {
  static constexpr size_t kSize = 10;
  static constexpr uint32_t kUnknownLength = 0xFFFFFFFF;
  static constexpr uint8_t kWBit = 0x80;

  uint16_t idWord = 0xFFFF; ///< SECS-I: R-bit and device ID; HSMS: session ID
  uint8_t streamByte = 0;   ///< W-bit and stream
  uint8_t functionByte = 0;
  uint16_t blockWord = 0;           ///< SECS-I: E-bit and block number; HSMS: PType and SType
  uint32_t systemBytes = 0;         ///< high 16 bits the source ID, low 16 bits the transaction ID
  uint32_t length = kUnknownLength; ///< of the whole message as the transport reported it
  bool hsms = true;                 ///< an HSMS header; else a SECS-I header
  uint8_t misfits = 0; ///< HeaderField bits: set to a number that the field cannot hold

  uint8_t stream() const { return streamByte & 0x7F; }
  uint8_t function() const { return functionByte; }
  bool wbit() const { return (streamByte & kWBit) != 0; }
  uint8_t pType() const { return static_cast<uint8_t>(blockWord >> 8); }
  uint8_t sType() const { return static_cast<uint8_t>(blockWord); }
  uint16_t transactionId() const { return static_cast<uint16_t>(systemBytes); }

  void setStream(uint8_t stream);
  void setWbit(bool on);
  void setSType(SType type);
  /// Notes whether the number that a field was set to is what it holds.
  void noteFit(HeaderField field, bool fits);

  /// A fresh header in the current mode. HSMS: session ID 0xFFFF, data message, system bytes 0, no
  /// W-bit. SECS-I: device ID 1, block 1 with the E-bit, W-bit on, and the next transaction ID of
  /// the module-wide counter.
  void Reset(uint8_t stream, uint8_t function);

  /// True for an HSMS control message: any SType that the standard names, PType 0.
  bool isControl() const;

  bool operator==(const CHSecsHeader &) const = default;
};

/// The short name of a control message ("SelectReq"); null for any other SType.
const char *controlMessageName(SType type);

enum class HeaderTextMode { Name = 1, Hex = 2, HexAndName = 3 };

/// The header as text: its name ("S1F13W", "SelectReq"), its ten bytes in hexadecimal, or both, the
/// bytes on a line of their own first.
std::string HeaderText(const CHSecsHeader &header, HeaderTextMode mode);

/// Writes the ten bytes.
void EncodeHeader(const CHSecsHeader &header, std::span<uint8_t, CHSecsHeader::kSize> out);
/// Reads the ten bytes; the mode flag stays as it is.
void DecodeHeader(CHSecsHeader &header, std::span<const uint8_t, CHSecsHeader::kSize> bytes,
                  uint32_t length);
/// The header of a message, header and body; nothing when it is shorter than one.
std::optional<CHSecsHeader> readHeader(ByteView message);

} // namespace velto
