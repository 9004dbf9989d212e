#include "apps/velto/trace/protocol_guess.h"

#include "transport/hsms/hsms_frame.h"

#include <algorithm>
#include <utility>

namespace velto {

namespace {

constexpr size_t kEnough = 262'144; // bytes without a message

} // namespace

ProtocolGuess::ProtocolGuess(bool middle)
    : middle_(middle), blocks_({[this](SpyDirection, ByteView, bool) { found_ = true; },
                                [](SpyDirection, const std::string &) {}}) {
  for (HsmsStream &stream : frames_)
    stream.lost();
}

ProtocolGuess::Protocol ProtocolGuess::take(Piece piece) {
  size_ += piece.bytes.size() + 1;
  const bool hsms = isHsms(piece);
  if (piece.lost != 0)
    blocks_.lost(piece.direction);
  if (!hsms)
    blocks_.take(piece.direction, piece.bytes, piece.micros);
  kept_.push_back(std::move(piece));
  if (hsms)
    return Protocol::Hsms;
  if (found_)
    return Protocol::SecsI;
  return size_ > kEnough ? Protocol::Other : Protocol::Unknown;
}

bool ProtocolGuess::isHsms(const Piece &piece) {
  bool found = false;
  HsmsStream &frames = frames_[indexOf(piece.direction)];
  if (piece.lost != 0)
    frames.lost();
  if (middle_) {
    frames.take(piece.bytes, [&found](ByteView, uint64_t) { found = true; });
    return found;
  }
  Bytes &head = heads_[indexOf(piece.direction)];
  if (head.size() >= kFrameHeadSize)
    return false;
  head.insert(head.end(), piece.bytes.begin(), piece.bytes.end());
  return head.size() >= kFrameHeadSize && HsmsStream::looksLikeFrame(head);
}

} // namespace velto
