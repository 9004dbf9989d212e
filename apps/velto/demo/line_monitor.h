#pragma once

#include "base/bytes.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace velto {

/// Watches the bytes of a SECS-I line and describes each transfer of a block in words (SEMI E4 7):
/// "host ENQ, equipment EOT, host block 1 (10 bytes), equipment ACK".
class LineMonitor {
public:
  /// The names of the two stations, for the text.
  LineMonitor(std::string first, std::string second) {
    stations_[0].name = std::move(first);
    stations_[1].name = std::move(second);
  }

  /// Takes bytes that station 0 or 1 has sent.
  void see(size_t station, ByteView bytes);
  /// The transfers since the last call.
  std::vector<std::string> take() { return std::exchange(transfers_, {}); }

private:
  struct Station {
    std::string name;
    bool granted = false; // the other station answered EOT: the length byte comes next
    Bytes block;          // the bytes of the block so far, from the length byte on
  };

  void see(Station &station, uint8_t byte);
  void note(const std::string &name, const std::string &what);
  void noteBlock(Station &station);
  void noteCharacter(Station &station, uint8_t character);

  std::array<Station, 2> stations_;
  std::string transfer_; // the text of a transfer that is not complete yet
  std::vector<std::string> transfers_;
};

} // namespace velto
