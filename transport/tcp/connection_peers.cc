#include "transport/tcp/connection.h"

#include "transport/link/deadline.h"

#include <algorithm>
#include <cerrno>
#include <utility>

// The listener's side of a connection: the peers it accepts, and their ticks.

namespace velto {

namespace {

// Errors that leave a pending connection in the backlog, so that the listener stays ready.
bool isShortage(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

std::string nameOf(const std::string &ipAddress, int32_t portNumber) {
  return ipAddress + ':' + std::to_string(portNumber);
}

} // namespace

// Peers that have ended do not count as served, but each stays until a tick removes it: when they
// come and go faster than that, further connections wait.
bool CHHsmsConnection::listensNow() const {
  return !acceptPaused_ && acceptsPeer() && peers_.size() / 2 <= maxPeers_;
}

// All that wait, within reason: a burst is served at once, and nobody starves.
void CHHsmsConnection::acceptPeers() {
  constexpr int kMost = 256;
  for (int i = 0; i < kMost && listening_ && watch_ != nullptr && listensNow() && acceptPeer();)
    ++i;
}

bool CHHsmsConnection::acceptPeer() {
  int error = 0;
  auto accepted = socket_.accept(error);
  if (!accepted) {
    acceptFailed(error);
    return false;
  }
  makeRoom();
  if (!listening_ || !acceptsPeer())
    return false;
  const auto served =
      std::ranges::count_if(peers_, [](const auto &peer) { return !peer->finished(); });
  if (static_cast<size_t>(served) < maxPeers_)
    addPeer(std::move(*accepted));
  else
    turnAway(ECONNREFUSED, nameOf(accepted->ipAddress, accepted->port),
             " was turned away: " + std::to_string(maxPeers_) + " connections are served.");
  return true;
}

// A burst is told once a tick, by the first of it.
void CHHsmsConnection::turnAway(int error, const std::string &remote, const std::string &why) {
  ++counters_->turnedAway;
  recordError(error);
  if (turnedAway_.empty())
    turnedAway_ = remote + why;
  wake();
}

// Out of descriptors: the spare one makes it possible to turn the connection away. When that does
// not help either, the listener rests until the next tick.
void CHHsmsConnection::acceptFailed(int error) {
  if (!isShortage(error))
    return;
  recordError(error);
  if (spare_.held()) {
    spare_.release();
    if (const auto surplus = socket_.accept(error))
      turnAway(0, nameOf(surplus->ipAddress, surplus->port), " was turned away.");
    spare_.acquire();
  }
  if (isShortage(error)) {
    acceptPaused_ = true;
    watchSocket();
  }
  wake();
}

void CHHsmsConnection::addPeer(TcpSocket::Peer accepted) {
  const auto held = CreatePeer();
  peers_.push_back(held);
  ++peerGeneration_;
  CHHsmsConnection &peer = *held;
  peer.listener_ = this;
  ++peer.counters_->connections;
  peer.ticker_.follow(&ticker_);
  peer.socket_ = std::move(accepted.socket);
  peer.ipAddress_ = std::move(accepted.ipAddress);
  peer.portNumber_ = accepted.port;
  peer.connected_ = peer.created_ = true;
  peer.tapConnection(true);
  peer.watchSocket();
  if (const int error = peer.watch_->error(); error != 0) {
    dropPeer(peers_.end() - 1);
    turnAway(error, nameOf(held->ipAddress_, held->portNumber_), " was turned away.");
    return;
  }
  ipAddress_ = peer.ipAddress_;
  portNumber_ = peer.portNumber_;
  markChanged();
  watchListener();
  wake();
  peer.onConnectionChanged(true);
}

std::shared_ptr<CHHsmsConnection> CHHsmsConnection::CreatePeer() {
  auto peer = std::make_shared<CHHsmsConnection>(loop_, kind_);
  copySettings(*peer);
  return peer;
}

void CHHsmsConnection::copySettings(CHHsmsConnection &peer) const {
  peer.maxLength_ = maxLength_;
  peer.maxQueued_ = maxQueued_;
  peer.keepAlive_ = keepAlive_;
  peer.tap_ = tap_;
}

// An address can be there twice when its peer has reconnected; the newer connection counts.
CHHsmsConnection *CHHsmsConnection::FindPeer(const std::string &ipAddress,
                                             int32_t portNumber) const {
  const auto found = std::find_if(peers_.rbegin(), peers_.rend(), [&](const auto &peer) {
    return peer->portNumber_ == portNumber && peer->ipAddress_ == ipAddress;
  });
  return found == peers_.rend() ? nullptr : found->get();
}

bool CHHsmsConnection::RemovePeer(CHHsmsConnection *peer) {
  const auto found = std::find_if(peers_.begin(), peers_.end(),
                                  [peer](const auto &held) { return held.get() == peer; });
  if (found == peers_.end())
    return false;
  dropPeer(found);
  ++peerGeneration_;
  markChanged();
  watchListener();
  arm();
  return true;
}

// A peer that is still at work in one of its entry points finds itself closed, and its reports go
// nowhere.
void CHHsmsConnection::dropPeer(std::vector<std::shared_ptr<CHHsmsConnection>>::iterator position) {
  const auto peer = *position;
  peers_.erase(position);
  peer->listener_ = nullptr;
  peer->End();
  *counters_ += *peer->counters_;
}

// A change of the list ends the walk; the next tick takes the others.
void CHHsmsConnection::pollPeers() {
  if (std::exchange(acceptPaused_, false)) {
    spare_.acquire();
    watchSocket();
  }
  const uint32_t generation = peerGeneration_;
  for (size_t i = 0; i < peers_.size(); ++i) {
    if (peers_[i]->finished()) {
      RemovePeer(peers_[i].get());
      return;
    }
    const auto peer = peers_[i];
    peer->Poll();
    if (generation != peerGeneration_)
      return;
  }
}

std::optional<uint32_t> CHHsmsConnection::NextPoll() const {
  if (socketErrorPending() || acceptPaused_ || sendFailed_)
    return 0;
  if (!listening_)
    return received_.empty() ? std::nullopt : std::optional<uint32_t>(0);
  std::optional<uint32_t> next;
  for (const auto &peer : peers_) {
    const auto peerNext = peer->connected_ ? peer->NextPoll() : 0;
    if (peerNext)
      next = sooner(next, *peerNext);
    if (next == 0U)
      break;
  }
  return next;
}

} // namespace velto
