#include "transport/secsi/secsi_socket.h"

#include "base/text.h"

namespace velto {

CHSecsISocket::CHSecsISocket(EventLoop &loop, FileSystem &files)
    : CHHsmsConnection(loop, ConnectionKind::SecsI), files_(files),
      transfer_(*this, *this, kSocketVariant, loop.clock(), files) {}

void CHSecsISocket::SetSettings(const SecsISettings &settings) {
  transfer_.settings() = settings;
  for (size_t i = 0; i < PeerCount(); ++i)
    static_cast<CHSecsISocket &>(Peer(i)).transfer_.settings() = settings;
  wake();
}

void CHSecsISocket::SetOneOnOne(bool oneOnOne) {
  oneOnOne_ = oneOnOne;
  watchListener();
}

std::unique_ptr<CHHsmsConnection> CHSecsISocket::CreatePeer() {
  auto peer = std::make_unique<CHSecsISocket>(loop(), files_);
  copySettings(*peer);
  peer->transfer_.settings() = settings();
  return peer;
}

bool CHSecsISocket::QueueMessage(ByteView message) {
  if (listening()) {
    CHHsmsConnection *peer = FindPeer(IPAddress(), PortNumber());
    if (peer == nullptr) {
      reportProblem(ErrorSecsNoPeer, {});
      return false;
    }
    return static_cast<CHSecsISocket *>(peer)->QueueMessage(message);
  }
  if (!Connected() || !transfer_.QueueMessage(message))
    return false;
  wake();
  return true;
}

bool CHSecsISocket::QueueHex(std::string_view text) { return QueueMessage(fromHex(text)); }

void CHSecsISocket::Close() {
  transfer_.Reset();
  CHHsmsConnection::Close();
}

void CHSecsISocket::Poll() {
  if (listening()) {
    CHHsmsConnection::Poll();
    return;
  }
  Lifetime::Watch alive(lifetime());
  transfer_.Poll();
  if (alive)
    reportSocketError();
}

std::optional<uint32_t> CHSecsISocket::NextPoll() const {
  return listening() || socketErrorPending() ? CHHsmsConnection::NextPoll() : transfer_.NextPoll();
}

// Ticks go on while a report pumps the loop.
void CHSecsISocket::onArrived() {
  Lifetime::Watch alive(lifetime());
  wake();
  transfer_.Poll();
  if (alive)
    wake();
}

// The owner may replace this object as soon as it hears of the end: what was queued comes first.
void CHSecsISocket::onConnectionChanged(bool connected) {
  Lifetime::Watch alive(lifetime());
  if (!connected)
    transfer_.FailAll();
  if (alive)
    CHHsmsConnection::onConnectionChanged(connected);
}

uint8_t CHSecsISocket::ReadByte() {
  uint8_t byte = 0;
  ReadBuffer(&byte, 1, true);
  return byte;
}

void CHSecsISocket::OnMessage(ByteView message) {
  markChanged();
  reportReceived(message);
}

void CHSecsISocket::OnMessageSent(ByteView message, bool sent) {
  markChanged();
  const std::string address = IPAddress();
  if (sink() != nullptr)
    sink()->OnSent(Kind(), address, PortNumber(), message, sent);
}

void CHSecsISocket::OnTransferProblem(VeltoSecsIError code, const std::string &text) {
  reportProblem(code, text);
}

void CHSecsISocket::OnTransferTrace(ByteView bytes, TraceDirection direction) {
  if (sink() != nullptr)
    sink()->OnTrace(Kind(), bytes, direction);
}

} // namespace velto
