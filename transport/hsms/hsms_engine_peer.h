#pragma once

#include "transport/hsms/hsms_engine.h"
#include "transport/hsms/hsms_frame.h"
#include "transport/link/deadline.h"
#include "transport/link/open_transactions.h"
#include "transport/tcp/connection.h"

namespace velto {

/// A connection of the engine; of a listener, each peer is one of its own.
class CHHsms::Peer final : public CHHsmsConnection {
public:
  Peer(EventLoop &loop, CHHsms &engine)
      : CHHsmsConnection(loop, ConnectionKind::Hsms), engine_(engine) {}

  using CHHsmsConnection::disconnect;
  using CHHsmsConnection::dropReceived;
  using CHHsmsConnection::giveBack;
  using CHHsmsConnection::hold;
  using CHHsmsConnection::takeReceived;
  using CHHsmsConnection::ticks;
  using CHHsmsConnection::transmit;

  /// Connected to a remote end (a listener itself never is).
  bool usable() const { return Connected() && !listening(); }

  void Poll() override {
    if (ended())
      return; // the engine may be gone
    if (listening()) {
      CHHsmsConnection::Poll();
      return;
    }
    reportSocketError(); // there is no sink: the change of state tells it all
    engine_.pollPeer(*this);
  }

  std::optional<uint32_t> NextPoll() const override {
    if (ended())
      return std::nullopt;
    if (listening())
      return CHHsmsConnection::NextPoll();
    const LinkSettings &settings = engine_.settings_;
    const uint32_t now = ticks();
    std::optional<uint32_t> next;
    if (!usable())
      return next;
    if (settings.t6 > 0)
      next = requests.next(now, milliseconds(settings.t6));
    if (!selected && settings.t7 > 0)
      next = sooner(next, timeLeft(now, notSelectedSince, milliseconds(settings.t7)));
    if (holdsPart())
      next = sooner(next, timeLeft(now, grownAt, milliseconds(settings.t8)));
    return next;
  }

  /// A whole frame, or a length that is refused at once.
  bool holdsUnit() const override { return holdsFrame() || PeekLength() > MaxLength(); }
  bool holdsPart() const { return BufferedLength() != 0 && !holdsUnit(); }

  bool selected = false;
  bool held = false; // what has arrived waits for a control message before it to take effect
  uint32_t notSelectedSince = 0; // tick
  uint32_t grownAt = 0;          // tick when the buffer last grew
  OpenTransactions requests;     // control requests
  Bytes lastMessage;             // to find a duplicate

protected:
  std::shared_ptr<CHHsmsConnection> CreatePeer() override {
    auto peer = std::make_shared<Peer>(loop(), engine_);
    copySettings(*peer);
    return peer;
  }
  size_t readSize() const override { return 102'400; }
  size_t bufferLimit() const override { return size_t{MaxLength()} + kFrameLengthSize; }
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
