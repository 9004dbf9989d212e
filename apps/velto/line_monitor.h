#pragma once

#include "base/bytes.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace velto {

/// Reads along on a SECS-I line and puts each transfer of a block into words (SEMI E4 7):
/// "host ENQ, equipment EOT, host block 1 (10 bytes), equipment ACK".
class LineMonitor {
public:
  /// The stations, as they are called in the text.
  LineMonitor(std::string first, std::string second) {
    stations_[0].name = std::move(first);
    stations_[1].name = std::move(second);
  }

  /// What station 0 or 1 sent.
  void see(size_t station, ByteView bytes);
  /// The transfers since the last call.
  std::vector<std::string> take() { return std::exchange(transfers_, {}); }

private:
  struct Station {
    std::string name;
    bool granted = false; // its length byte comes next
    Bytes block;          // as far as it came, from the length byte on
  };

  void see(Station &station, uint8_t byte);
  void note(const std::string &name, const std::string &what);
  void noteBlock(Station &station);
  void noteCharacter(Station &station, uint8_t character);

  std::array<Station, 2> stations_;
  std::string transfer_; // under way
  std::vector<std::string> transfers_;
};

} // namespace velto
