#include "apps/velto/trace/tcp_flow.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace velto {

namespace {

constexpr uint64_t kPatience = 200'000;                   // microseconds, for what was acknowledged
constexpr uint64_t kLongPatience = 60'000'000;            // for what may be sent again
constexpr size_t kMostWaiting = size_t{16} * 1024 * 1024; // bytes
constexpr size_t kPieceCost = 128;                        // bytes, of an empty one

// Sequence numbers wrap.
int32_t distance(uint32_t from, uint32_t to) { return static_cast<int32_t>(to - from); }

} // namespace

void TcpFlow::take(size_t from, const TcpSegment &segment, uint64_t micros) {
  begin(from, segment);
  Side &side = sides_[from];
  if (segment.acknowledges && (!std::exchange(side.hasAcknowledged, true) ||
                               distance(side.acknowledged, segment.acknowledged) > 0))
    side.acknowledged = segment.acknowledged;
  insert(side, {segment.sequence + (segment.syn ? 1 : 0), segment.acknowledged,
                segment.acknowledges, segment.fin, Bytes(segment.data.begin(), segment.data.end()),
                segment.cut, micros, ++count_});
  advance(micros, false);
}

// A capture that starts in the middle tells by the first segment where both ends are.
void TcpFlow::begin(size_t from, const TcpSegment &segment) {
  Side &side = sides_[from];
  if (!std::exchange(side.known, true))
    side.next = segment.sequence + (segment.syn ? 1 : 0);
  Side &other = sides_[1 - from];
  if (segment.acknowledges && !std::exchange(other.known, true))
    other.next = segment.acknowledged;
}

void TcpFlow::insert(Side &side, Piece piece) {
  waitingBytes_ += piece.data.size() + kPieceCost;
  const auto after =
      std::find_if(side.waiting.rbegin(), side.waiting.rend(), [&piece](const Piece &each) {
        return distance(each.sequence, piece.sequence) >= 0;
      });
  side.waiting.insert(after.base(), std::move(piece));
}

void TcpFlow::advance(uint64_t now, bool atOnce) {
  while (deliverNext() || giveUp(now, atOnce || waitingBytes_ > kMostWaiting)) {
  }
}

bool TcpFlow::isBehindGap(const Side &side) const {
  return distance(side.next, side.waiting.front().sequence) > 0;
}

bool TcpFlow::isBehindOther(const Side &side, const Side &other) const {
  const Piece &first = side.waiting.front();
  return first.acknowledges && distance(other.next, first.acknowledged) > 0;
}

// Of two that can go the one that was captured first.
bool TcpFlow::deliverNext() {
  std::optional<size_t> best;
  for (const size_t from : {0, 1}) {
    const Side &side = sides_[from];
    if (side.waiting.empty() || isBehindGap(side) || isBehindOther(side, sides_[1 - from]))
      continue;
    if (!best || side.waiting.front().number < sides_[*best].waiting.front().number)
      best = from;
  }
  if (best)
    deliver(*best);
  return best.has_value();
}

// What was there before, such as what was sent again, is left out.
void TcpFlow::deliver(size_t from) {
  Side &side = sides_[from];
  const Piece piece = std::move(side.waiting.front());
  side.waiting.pop_front();
  waitingBytes_ -= piece.data.size() + kPieceCost;
  last_ = std::max(last_, piece.micros);
  const auto known = static_cast<size_t>(distance(piece.sequence, side.next));
  const ByteView fresh = ByteView(piece.data).subspan(std::min(known, piece.data.size()));
  side.next += static_cast<uint32_t>(fresh.size());
  if (!fresh.empty())
    reports_.bytes(from, fresh, last_);
  const uint32_t end = piece.sequence + static_cast<uint32_t>(piece.data.size()) + piece.cut;
  if (piece.cut != 0 && distance(side.next, end) > 0)
    skip(from, end, last_);
  if (!piece.fin || side.ended || side.next != end)
    return;
  ++side.next;
  side.ended = true;
  endedBy_ = sides_[1 - from].ended ? 1 - from : from;
}

// Nothing can go on by itself. Bytes that the other end has acknowledged are no longer sent: when
// the capture does not bring them soon, it has lost them.
bool TcpFlow::giveUp(uint64_t now, bool atOnce) {
  const auto isOver = [&](const Side &side, uint64_t patience) {
    return atOnce || side.waiting.front().micros + patience < now;
  };
  for (const size_t from : {0, 1}) {
    Side &side = sides_[from];
    const Side &other = sides_[1 - from];
    if (side.waiting.empty() || !isBehindGap(side))
      continue;
    Piece &first = side.waiting.front();
    const bool wasReceived =
        other.hasAcknowledged && distance(first.sequence, other.acknowledged) >= 0;
    if (isOver(side, wasReceived ? kPatience : kLongPatience)) {
      skip(from, first.sequence, std::max(last_, first.micros));
      return true;
    }
  }
  for (const size_t from : {0, 1}) {
    Side &side = sides_[from];
    Side &other = sides_[1 - from];
    if (side.waiting.empty() || !isBehindOther(side, other) || !isOver(side, kPatience))
      continue;
    Piece &first = side.waiting.front();
    const bool gap = !other.waiting.empty() && isBehindGap(other);
    uint32_t to = first.acknowledged;
    if (gap && distance(other.waiting.front().sequence, to) > 0)
      to = other.waiting.front().sequence;
    if (gap || other.waiting.empty())
      skip(1 - from, to, std::max(last_, first.micros));
    else // each waits for the other
      first.acknowledges = false;
    return true;
  }
  return false;
}

void TcpFlow::skip(size_t from, uint32_t to, uint64_t micros) {
  Side &side = sides_[from];
  const auto count = static_cast<uint64_t>(distance(side.next, to));
  side.next = to;
  last_ = micros;
  reports_.lost(from, count, micros);
}

} // namespace velto
