#include "transport/secsi/secsi_socket.h"

#include "base/text.h"

namespace velto {

CHSecsISocket::CHSecsISocket(EventLoop &loop, FileSystem &files)
    : CHHsmsConnection(loop, ConnectionKind::SecsI), files_(files),
      transfer_(*this, *this, kSocketVariant, loop.clock(), files) {}

void CHSecsISocket::SetSettings(const SecsISettings &settings) {
  transfer_.settings() = settings;
  for (size_t i = 0; i < PeerCount(); ++i)
    static_cast<CHSecsISocket &>(PeerAt(i)).transfer_.settings() = settings;
  arm();
}

void CHSecsISocket::SetOneOnOne(bool oneOnOne) {
  oneOnOne_ = oneOnOne;
  watchListener();
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
    count += static_cast<const CHSecsISocket &>(PeerAt(i)).OutCount();
  return count;
}

bool CHSecsISocket::replyArrives(const CHSecsHeader &primary) const {
  for (size_t i = 0; i < PeerCount(); ++i)
    if (static_cast<const CHSecsISocket &>(PeerAt(i)).replyArrives(primary))
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
    return;
  }
  if (!Connected() || !receive())
    transfer_.Poll();
  reportSocketError();
}

std::optional<uint32_t> CHSecsISocket::NextPoll() const {
  return listening() || socketErrorPending() ? CHHsmsConnection::NextPoll() : transfer_.NextPoll();
}

// Ticks go on while a report pumps the loop.
void CHSecsISocket::onArrived() {
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
