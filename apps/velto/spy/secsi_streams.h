#pragma once

#include "apps/velto/spy/moment.h"
#include "base/bytes.h"
#include "transport/secsi/block_assembly.h"

#include <array>
#include <functional>
#include <string>

namespace velto {

/// Reads the block transfer protocol (SEMI E4 7) from what both ends of a line send: what a byte
/// means depends on what the other end has sent. Blocks that were acknowledged become messages.
class SecsIStreams {
public:
  struct Reports {
    /// A message, header and body, with the header in the form of HSMS.
    std::function<void(SpyDirection, ByteView message, bool fromEquipment)> message;
    /// What went wrong on the line.
    std::function<void(SpyDirection, const std::string &text)> problem;
  };

  explicit SecsIStreams(Reports reports) : reports_(std::move(reports)) {}

  void take(SpyDirection direction, ByteView bytes, uint64_t micros);
  /// Bytes of this direction are missing in front of the next ones.
  void lost(SpyDirection direction);

private:
  // What one end has sent.
  struct Line {
    bool requested = false; // ENQ
    bool granted = false;   // the other end has answered it by EOT
    size_t expected = 0;    // bytes of the block that is being sent, with its sum
    Bytes block;            // that block, or one that awaits its acknowledge
    Bytes accepted;         // the last one that was acknowledged
    uint64_t acceptedAt = 0;
    bool noisy = false; // bytes that mean nothing were told of
    BlockAssembly assembly;

    bool isSending() const { return expected != 0 && block.size() < expected; }
    void drop() {
      expected = 0;
      block.clear();
    }
  };

  void take(SpyDirection direction, uint8_t byte, uint64_t micros);
  void request(SpyDirection direction);
  void acknowledged(SpyDirection direction, uint64_t micros);
  void refused(SpyDirection direction);
  void assemble(SpyDirection direction, ByteView block, uint64_t micros);

  Reports reports_;
  std::array<Line, 2> lines_;
};

} // namespace velto
