#pragma once

#include "apps/velto/trace/tcp_segment.h"
#include "base/bytes.h"

#include <array>
#include <cstdint>
#include <functional>
#include <list>

namespace velto {

/// Puts the segments of one connection in order, of both ends together: what an end acknowledges
/// comes before its segment, whatever the order in the capture. What is not in the capture is
/// waited for: shortly when the other end has acknowledged it, longer when it may be sent again.
class TcpFlow {
public:
  /// `from` is 0 or 1, who has sent it. Times go on only.
  struct Reports {
    std::function<void(size_t from, ByteView bytes, uint64_t micros)> bytes;
    std::function<void(size_t from, uint64_t count, uint64_t micros)> lost;
  };

  explicit TcpFlow(Reports reports) : reports_(std::move(reports)) {}

  void take(size_t from, const TcpSegment &segment, uint64_t micros);
  /// Nothing comes any more: waits no longer.
  void finish() { advance(0, true); }
  /// Both ends have said that they send nothing more.
  bool ended() const { return sides_[0].ended && sides_[1].ended; }
  /// Who was the first to say so.
  size_t endedBy() const { return endedBy_; }
  uint64_t lastTime() const { return last_; }

private:
  struct Piece {
    uint32_t sequence;
    uint32_t acknowledged;
    bool acknowledges;
    bool fin;
    Bytes data;
    uint32_t cut;
    uint64_t micros;
    uint64_t number; // in the capture
  };
  struct Side {
    bool known = false;
    bool ended = false;
    bool hasAcknowledged = false;
    uint32_t next = 0;         // sequence number of the byte that comes next
    uint32_t acknowledged = 0; // the highest that it has sent
    std::list<Piece> waiting;  // by sequence number
  };

  void begin(size_t from, const TcpSegment &segment);
  void insert(Side &side, Piece piece);
  void advance(uint64_t now, bool atOnce);
  bool isBehindGap(const Side &side) const;
  bool isBehindOther(const Side &side, const Side &other) const;
  bool deliverNext();
  void deliver(size_t from);
  bool giveUp(uint64_t now, bool atOnce);
  void skip(size_t from, uint32_t to, uint64_t micros);

  Reports reports_;
  std::array<Side, 2> sides_;
  size_t endedBy_ = 0;
  size_t waitingBytes_ = 0;
  uint64_t count_ = 0;
  uint64_t last_ = 0;
};

} // namespace velto
