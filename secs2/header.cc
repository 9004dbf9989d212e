#include "secs2/header.h"

#include "base/text.h"

#include <array>
#include <atomic>

namespace velto {

namespace {

constexpr std::array kControlNames{
    static_cast<const char *>(nullptr),
    "SelectReq",
    "SelectRsp",
    "DeselectReq",
    "DeselectRsp",
    "LinktestReq",
    "LinktestRsp",
    "RejectReq",
    static_cast<const char *>(nullptr),
    "SeparateReq",
};

const char *controlName(uint8_t sType) {
  return sType < kControlNames.size() ? kControlNames[sType] : nullptr;
}

// One counter for the whole module, so that no two SECS-I primaries of a process share an ID,
// whichever threads their loops run in. 0 is none.
uint16_t nextTransactionId() {
  static std::atomic<uint16_t> counter = 0;
  uint16_t id = ++counter;
  while (id == 0)
    id = ++counter;
  return id;
}

std::string headerName(const CHSecsHeader &header) {
  if (const char *name = header.hsms ? controlName(header.sType()) : nullptr)
    return name;
  return formatText("S%dF%d%s", header.stream(), header.function(), header.wbit() ? "W" : "");
}

} // namespace

void CHSecsHeader::setStream(uint8_t stream) {
  streamByte = static_cast<uint8_t>((streamByte & kWBit) | (stream & 0x7F));
}

void CHSecsHeader::setWbit(bool on) {
  streamByte = static_cast<uint8_t>(on ? streamByte | kWBit : streamByte & 0x7F);
}

void CHSecsHeader::setSType(SType type) {
  blockWord = static_cast<uint16_t>((blockWord & 0xFF00) | static_cast<uint8_t>(type));
}

void CHSecsHeader::noteFit(HeaderField field, bool fits) {
  const auto bit = static_cast<uint8_t>(field);
  misfits = static_cast<uint8_t>(fits ? misfits & ~bit : misfits | bit);
}

void CHSecsHeader::Reset(uint8_t stream, uint8_t newFunction) {
  streamByte = stream;
  functionByte = newFunction;
  length = kUnknownLength;
  misfits = 0;
  if (hsms) {
    idWord = 0xFFFF;
    setWbit(false);
    blockWord = 0;
    systemBytes = 0;
  } else {
    idWord = 1;
    setWbit(true);
    blockWord = 0x8001;
    systemBytes = nextTransactionId();
  }
}

bool CHSecsHeader::isControl() const {
  return hsms && pType() == 0 && controlName(sType()) != nullptr;
}

const char *controlMessageName(SType type) { return controlName(static_cast<uint8_t>(type)); }

std::string HeaderText(const CHSecsHeader &header, HeaderTextMode mode) {
  std::string text;
  if (mode != HeaderTextMode::Name) {
    std::array<uint8_t, CHSecsHeader::kSize> bytes{};
    EncodeHeader(header, bytes);
    appendHex(text, bytes);
  }
  if (mode == HeaderTextMode::HexAndName)
    text += "\r\n";
  if (mode != HeaderTextMode::Hex)
    text += headerName(header);
  return text;
}

void EncodeHeader(const CHSecsHeader &header, std::span<uint8_t, CHSecsHeader::kSize> out) {
  writeBigEndian(&out[0], header.idWord);
  out[2] = header.streamByte;
  out[3] = header.functionByte;
  writeBigEndian(&out[4], header.blockWord);
  writeBigEndian(&out[6], header.systemBytes);
}

void DecodeHeader(CHSecsHeader &header, std::span<const uint8_t, CHSecsHeader::kSize> bytes,
                  uint32_t length) {
  header.idWord = readBigEndian<uint16_t>(&bytes[0]);
  header.streamByte = bytes[2];
  header.functionByte = bytes[3];
  header.blockWord = readBigEndian<uint16_t>(&bytes[4]);
  header.systemBytes = readBigEndian<uint32_t>(&bytes[6]);
  header.length = length;
  header.misfits = 0;
}

std::optional<CHSecsHeader> readHeader(ByteView message) {
  if (message.size() < CHSecsHeader::kSize)
    return std::nullopt;
  CHSecsHeader header;
  DecodeHeader(header, message.first<CHSecsHeader::kSize>(), static_cast<uint32_t>(message.size()));
  return header;
}

} // namespace velto
