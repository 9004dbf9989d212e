#include "transport/secsi/secsi_socket.h"

#include "base/text.h"
#include "transport/link/deadline.h"

#include <cerrno>

namespace velto {

CHSecsISocket::CHSecsISocket(EventLoop &loop, FileSystem &files)
    : CHHsmsConnection(loop, ConnectionKind::SecsI), files_(files),
      transfer_(*this, *this, kSocketVariant, loop.clock(), files), heardAt_(loop.clock().ticks()) {
}

void CHSecsISocket::SetSettings(const SecsISettings &settings) {
  transfer_.settings() = settings;
  for (size_t i = 0; i < PeerCount(); ++i)
    lineAt(i).transfer_.settings() = settings;
  arm();
}

void CHSecsISocket::SetOneOnOne(bool oneOnOne) {
  oneOnOne_ = oneOnOne;
  watchListener();
}

void CHSecsISocket::SetGivesWayAfter(uint32_t silence) {
  givesWayAfter_ = silence;
  watchListener();
  arm();
}

bool CHSecsISocket::acceptsPeer() const {
  if (!oneOnOne_ || PeerCount() == 0)
    return true;
  return PeerCount() == 1 && lineAt(0).givesWayIn(givesWayAfter_) == 0U;
}

// SECS-I has no message of the line's own to test a partner with: that is told by a message that
// finds no answer at all.
std::optional<uint32_t> CHSecsISocket::givesWayIn(uint32_t silence) const {
  if (silence == 0 || !Connected() || (heard_ && !metWithSilence_))
    return std::nullopt;
  return metWithSilence_ ? 0 : timeLeft(ticks(), heardAt_, silence);
}

void CHSecsISocket::makeRoom() {
  if (!oneOnOne_ || PeerCount() == 0)
    return;
  CHSecsISocket &old = lineAt(0);
  const auto held = old.hold();
  old.closedByRemote(ETIMEDOUT);
  old.reportSocketError();
  RemovePeer(&old);
}

std::shared_ptr<CHHsmsConnection> CHSecsISocket::CreatePeer() {
  auto peer = std::make_shared<CHSecsISocket>(loop(), files_);
  copySettings(*peer);
  peer->transfer_.settings() = settings();
  return peer;
}

bool CHSecsISocket::QueueMessage(ByteView message) {
  const auto held = hold();
  if (listening()) {
    CHHsmsConnection *peer = FindPeer(IPAddress(), PortNumber());
    if (peer == nullptr) {
      reportProblem({LinkProblem::NoPeer});
      return false;
    }
    return static_cast<CHSecsISocket *>(peer)->QueueMessage(message);
  }
  if (!Connected() || !transfer_.QueueMessage(message))
    return false;
  arm();
  return true;
}

bool CHSecsISocket::QueueHex(std::string_view text) { return QueueMessage(fromHex(text)); }

size_t CHSecsISocket::OutCount() const {
  size_t count = transfer_.OutCount();
  for (size_t i = 0; i < PeerCount(); ++i)
    count += lineAt(i).OutCount();
  return count;
}

bool CHSecsISocket::replyArrives(const CHSecsHeader &primary) const {
  for (size_t i = 0; i < PeerCount(); ++i)
    if (lineAt(i).replyArrives(primary))
      return true;
  return transfer_.replyArrives(primary);
}

void CHSecsISocket::Close() {
  transfer_.Reset();
  CHHsmsConnection::Close();
}

void CHSecsISocket::Poll() {
  if (listening()) {
    CHHsmsConnection::Poll();
    watchListener(); // the peer may give way now
    return;
  }
  if (!Connected() || !receive())
    transfer_.Poll();
  reportSocketError();
}

std::optional<uint32_t> CHSecsISocket::NextPoll() const {
  if (!listening())
    return socketErrorPending() ? CHHsmsConnection::NextPoll() : transfer_.NextPoll();
  const auto next = CHHsmsConnection::NextPoll();
  const auto givesWay =
      oneOnOne_ && PeerCount() == 1 ? lineAt(0).givesWayIn(givesWayAfter_) : std::nullopt;
  return givesWay && *givesWay > 0 ? sooner(next, *givesWay) : next;
}

// Ticks go on while a report pumps the loop.
void CHSecsISocket::onArrived() {
  heardAt_ = ticks();
  heard_ = true;
  metWithSilence_ = false;
  wake();
  transfer_.Poll();
  arm();
}

// The owner may replace this object as soon as it hears of the end: what was queued comes first.
void CHSecsISocket::onConnectionChanged(bool connected) {
  if (!connected)
    transfer_.FailAll();
  CHHsmsConnection::onConnectionChanged(connected);
}

uint8_t CHSecsISocket::ReadByte() {
  uint8_t byte = 0;
  ReadBuffer(&byte, 1, true);
  return byte;
}

void CHSecsISocket::OnMessage(ByteView message) {
  ++counted().framesIn;
  reportReceived(message);
}

void CHSecsISocket::OnMessageSent(ByteView message, bool sent) {
  counted().messageSent(sent);
  const uint32_t attempts = static_cast<uint32_t>(settings().retry) + 1;
  if (!sent && timeLeft(ticks(), heardAt_, attempts * settings().t2) == 0)
    metWithSilence_ = true;
  sink().OnSent(Kind(), IPAddress(), PortNumber(), message, sent);
}

void CHSecsISocket::OnTransferProblem(LinkProblem code, const std::string &text) {
  reportProblem({code, text});
}

void CHSecsISocket::OnBlock(TraceDirection direction, bool duplicate) {
  counted().block(direction == TraceDirection::Sent, duplicate);
}

void CHSecsISocket::OnQueuesChanged() {
  counted().queued(transfer_.QueuedBytes());
  markChanged();
}

void CHSecsISocket::OnTransferTrace(ByteView bytes, TraceDirection direction) {
  sink().OnTrace(Kind(), bytes, direction);
}

} // namespace velto
