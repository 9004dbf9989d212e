#include "apps/velto/demo/line_monitor.h"

#include "base/text.h"
#include "transport/secsi/block.h"

namespace velto {

void LineMonitor::see(size_t station, ByteView bytes) {
  for (const uint8_t byte : bytes)
    see(stations_[station], byte);
}

void LineMonitor::see(Station &station, uint8_t byte) {
  if (!std::exchange(station.granted, false) && station.block.empty()) {
    noteCharacter(station, byte);
    return;
  }
  station.block.push_back(byte);
  if (station.block.size() == 1 + station.block[0] + kSumSize)
    noteBlock(station);
}

void LineMonitor::note(const std::string &name, const std::string &what) {
  transfer_ += (transfer_.empty() ? "" : ", ") + name + ' ' + what;
}

void LineMonitor::noteBlock(Station &station) {
  const Bytes block = std::exchange(station.block, {});
  if (block[0] < kSmallestBlock) {
    note(station.name, "a block without a header");
    return;
  }
  const auto word = readBigEndian<uint16_t>(&block[1 + kBlockWord]);
  const char *format = (word & kEBit) != 0 ? "last block %d (%d bytes)" : "block %d (%d bytes)";
  note(station.name, formatText(format, word & ~kEBit, int{block[0]}));
}

void LineMonitor::noteCharacter(Station &station, uint8_t character) {
  Station &other = stations_[&station == &stations_[0] ? 1 : 0];
  other.granted = character == kEot;
  const char *name = character == kEnq   ? "ENQ"
                     : character == kEot ? "EOT"
                     : character == kAck ? "ACK"
                     : character == kNak ? "NAK"
                                         : nullptr;
  note(station.name, name != nullptr ? name : formatText("%02x", character));
  if (character == kAck || character == kNak)
    transfers_.push_back(std::exchange(transfer_, {}));
}

} // namespace velto
