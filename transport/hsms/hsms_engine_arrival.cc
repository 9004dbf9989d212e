#include "platform/socket_error.h"
#include "transport/hsms/hsms_engine.h"
#include "transport/hsms/hsms_engine_peer.h"

#include <array>
#include <utility>

// How the engine takes frames out of what arrives, and refuses those that nobody may send.

namespace velto {

namespace {

constexpr uint32_t kMostSkipped = 256U * 1024 * 1024;        // bytes of one message
constexpr size_t kStrangersLimit = size_t{16} * 1024 * 1024; // bytes of all that are not selected

std::array<uint8_t, kFrameLengthSize> lengthField(uint32_t length) {
  std::array<uint8_t, kFrameLengthSize> field{};
  writeBigEndian(field.data(), length);
  return field;
}

} // namespace

// A report may pump the loop, and so get here again: each frame is taken out before it is reported,
// and what is left is looked at anew afterwards. That the remote end has closed meanwhile does not
// matter; disconnect() empties the buffer. T8 starts anew after reports, which may take long.
void CHHsms::handleArrival(Peer &peer) {
  peer.grownAt = peer.lastTraffic = peer.ticks();
  for (peer.skip(); peer.holdsUnit() && !peer.held; peer.skip()) {
    const uint32_t length = peer.PeekLength();
    if (length > peer.MaxLength())
      rejectLong(peer, length);
    else if (length < CHSecsHeader::kSize)
      rejectShort(peer, length);
    else if (peer.isTooLongForStranger())
      refuseStranger(peer, length);
    else
      handleFrame(peer, length);
  }
  peer.grownAt = peer.ticks();
  if (peer.usable() &&
      (peer.isFull() || (peer.holdsAsStranger() != 0 && strangersHold() > kStrangersLimit)))
    end(peer, {.code = LinkProblem::System, .number = ErrorSocketENoBufs});
  if (peer.awaitsMore() || settings_.linktestInterval > 0)
    ticker_.arm();
}

void CHHsms::handleFrame(Peer &peer, uint32_t length) {
  ByteQueue frame = peer.takeReceived(length + kFrameLengthSize);
  ++peer.counted().framesIn;
  handleMessage(peer, frame.view().subspan(kFrameLengthSize));
  peer.giveBack(std::move(frame));
}

void CHHsms::rejectShort(Peer &peer, uint32_t length) {
  peer.dropReceived();
  reportProblem(peer, {LinkProblem::LengthTooShort}, lengthField(length));
}

// The announced bytes are skipped as they come, so that what follows is read as the frames that it
// is; a length that cannot be meant ends the connection.
void CHHsms::rejectLong(Peer &peer, uint32_t length) {
  if (length > kMostSkipped) {
    end(peer, {LinkProblem::LengthTooLong}, lengthField(length));
    return;
  }
  peer.skipping = uint64_t{length} + kFrameLengthSize;
  peer.skip();
  reportProblem(peer, {LinkProblem::LengthTooLong}, lengthField(length));
}

// A peer that is not selected is answered by the header of its message; no more of it is kept.
void CHHsms::refuseStranger(Peer &peer, uint32_t length) {
  FrameHead head{};
  peer.ReadBuffer(head.data(), kFrameHeadSize, false);
  const CHSecsHeader header = *readHeader(ByteView(head).subspan(kFrameLengthSize));
  peer.skipping = uint64_t{length} + kFrameLengthSize;
  peer.skip();
  reportProblem(peer, {LinkProblem::LengthTooLong}, lengthField(length));
  if (peer.usable() && header.sType() == 0 && header.pType() == 0)
    reject(peer, header, EntityNotSelected);
}

size_t CHHsms::strangersHold() const {
  size_t sum = 0;
  anyPeer([&sum](const Peer &peer) {
    sum += peer.holdsAsStranger();
    return false;
  });
  return sum;
}

} // namespace velto
