#pragma once

#include "transport/hsms/hsms_engine.h"
#include "transport/hsms/hsms_frame.h"
#include "transport/link/deadline.h"
#include "transport/link/open_transactions.h"
#include "transport/tcp/connection.h"

namespace velto {

/// The reasons of a Reject.req (SEMI E37 8.3.20).
enum RejectReason : uint8_t {
  STypeNotSupported = 1,
  PTypeNotSupported = 2,
  TransactionNotOpen = 3,
  EntityNotSelected = 4,
};

/// A connection of the engine; of a listener, each peer is one of its own.
class CHHsms::Peer final : public CHHsmsConnection {
public:
  Peer(EventLoop &loop, CHHsms &engine)
      : CHHsmsConnection(loop, ConnectionKind::Hsms), engine_(engine) {}

  using CHHsmsConnection::counted;
  using CHHsmsConnection::disconnect;
  using CHHsmsConnection::dropReceived;
  using CHHsmsConnection::endBroken;
  using CHHsmsConnection::giveBack;
  using CHHsmsConnection::hold;
  using CHHsmsConnection::takeReceived;
  using CHHsmsConnection::takeSocketError;
  using CHHsmsConnection::ticks;
  using CHHsmsConnection::transmit;
  using CHHsmsConnection::watchForMore;

  /// What a peer that is not selected may hold, received and unsent together.
  static constexpr size_t kStrangerLimit = size_t{64} * 1024;

  /// Connected to a remote end (a listener itself never is).
  bool usable() const { return Connected() && !listening(); }

  void Poll() override {
    if (ended())
      return; // the engine may be gone
    if (const int error = takeSocketError(); error != 0)
      engine_.reportProblem(*this, {.code = LinkProblem::System, .number = error});
    if (ended())
      return;
    if (listening())
      CHHsmsConnection::Poll();
    else if (!endBroken())
      engine_.pollPeer(*this);
  }

  std::optional<uint32_t> NextPoll() const override {
    if (ended())
      return std::nullopt;
    if (socketErrorPending() || overflowed)
      return 0;
    if (listening())
      return CHHsmsConnection::NextPoll();
    const LinkSettings &settings = engine_.settings_;
    const uint32_t now = ticks();
    std::optional<uint32_t> next;
    if (!usable())
      return next;
    if (const uint32_t limit = engine_.controlLimit(); limit != 0)
      next = requests.next(now, limit);
    if (!selected && settings.t7 > 0)
      next = sooner(next, timeLeft(now, notSelectedSince, milliseconds(settings.t7)));
    if (awaitsMore() && settings.t8 > 0)
      next = sooner(next, timeLeft(now, grownAt, milliseconds(settings.t8)));
    if (engine_.testsLink(*this))
      next = sooner(next, timeLeft(now, lastTraffic, milliseconds(settings.linktestInterval)));
    return next;
  }

  /// A whole frame, or one that is refused by its beginning.
  bool holdsUnit() const override {
    return holdsFrame() || PeekLength() > MaxLength() ||
           (isTooLongForStranger() && BufferedLength() >= static_cast<int32_t>(kFrameHeadSize));
  }
  /// Only part of a message has arrived.
  bool awaitsMore() const { return skipping != 0 || (BufferedLength() != 0 && !holdsUnit()); }
  bool isTooLongForStranger() const {
    return !selected && PeekLength() > kStrangerLimit - kFrameLengthSize;
  }
  /// Bytes received and unsent.
  size_t holds() const { return static_cast<size_t>(BufferedLength()) + QueuedLength(); }
  /// The share of its listener's limit for strangers that it takes. What waited to be sent when it
  /// was deselected is no fault of its own.
  size_t holdsAsStranger() const { return selected ? 0 : std::min(holds(), kStrangerLimit); }
  /// Its unsent answers leave no room for what it goes on to send.
  bool isFull() const {
    return !held && BufferedLength() != 0 && holdsAsStranger() == kStrangerLimit;
  }

  /// Drops what has arrived of a message that is not taken.
  void skip() {
    if (skipping == 0)
      return;
    const auto count = std::min(skipping, static_cast<uint64_t>(BufferedLength()));
    giveBack(takeReceived(static_cast<size_t>(count)));
    skipping -= count;
  }

  bool selected = false;
  bool overflowed = false; // an answer found no room
  bool held = false;       // what has arrived waits for a control message before it to take effect
  uint32_t notSelectedSince = 0; // tick
  uint32_t grownAt = 0;          // tick when the buffer last grew
  uint32_t lastTraffic = 0;      // tick, either way
  uint64_t skipping = 0;         // bytes still to come of a message that is not taken
  OpenTransactions requests;     // control requests
  Bytes lastMessage;             // to find a duplicate

protected:
  std::shared_ptr<CHHsmsConnection> CreatePeer() override {
    auto peer = std::make_shared<Peer>(loop(), engine_);
    copySettings(*peer);
    return peer;
  }
  size_t readSize() const override { return 102'400; }
  size_t bufferLimit() const override {
    return selected ? size_t{MaxLength()} + kFrameLengthSize
                    : kStrangerLimit - std::min(QueuedLength(), kStrangerLimit);
  }
  void onArrived() override {
    const auto engine = engine_.shared_from_this();
    engine->handleArrival(*this);
  }
  void onConnectionChanged(bool connected) override {
    const auto engine = engine_.shared_from_this();
    if (connected)
      engine->connected(*this);
    else
      engine->disconnected(*this);
  }

private:
  CHHsms &engine_;
};

/// True when a connection of the engine that is connected fulfils `predicate`.
template <typename Predicate> bool CHHsms::anyPeer(Predicate predicate) const {
  if (!root_)
    return false;
  if (root_->usable() && predicate(*root_))
    return true;
  for (size_t i = 0; i < root_->PeerCount(); ++i) {
    const Peer &peer = static_cast<const Peer &>(root_->PeerAt(i));
    if (peer.usable() && predicate(peer))
      return true;
  }
  return false;
}

} // namespace velto
