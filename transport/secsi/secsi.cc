#include "transport/secsi/secsi.h"

#include "base/text.h"

namespace velto {

CHSecsI::CHSecsI(EventLoop &loop, FileSystem &files)
    : CHSerialPort(loop), transfer_(*this, *this, kSerialVariant, loop.clock(), files) {}

void CHSecsI::SetSettings(const SecsISettings &settings) {
  transfer_.settings() = settings;
  wake();
}

void CHSecsI::Close() {
  transfer_.Reset();
  CHSerialPort::Close();
}

bool CHSecsI::QueueMessage(ByteView message) {
  if (!IsOpen() || !transfer_.QueueMessage(message))
    return false;
  wake();
  return true;
}

bool CHSecsI::QueueHex(std::string_view text) { return QueueMessage(fromHex(text)); }

void CHSecsI::Poll() {
  Lifetime::Watch alive(lifetime_);
  transfer_.Poll();
  if (alive && LostError() != 0 && !IsOpen())
    reportLost();
}

std::optional<uint32_t> CHSecsI::NextPoll() const {
  return LostError() != 0 ? std::optional<uint32_t>(0) : transfer_.NextPoll();
}

void CHSecsI::onArrived() {
  Lifetime::Watch alive(lifetime_);
  Poll();
  if (alive)
    wake();
}

void CHSecsI::reportLost() {
  const auto error = static_cast<int16_t>(LostError());
  CHSerialPort::Close();
  Lifetime::Watch alive(lifetime_);
  transfer_.FailAll();
  if (alive && sink_ != nullptr)
    sink_->OnProblem(ConnectionKind::SecsI, {}, 0, error, "The serial device is gone.");
}

void CHSecsI::OnMessage(ByteView message) {
  if (sink_ != nullptr)
    sink_->OnReceived(ConnectionKind::SecsI, {}, 0, message);
}

void CHSecsI::OnMessageSent(ByteView message, bool sent) {
  if (sink_ != nullptr)
    sink_->OnSent(ConnectionKind::SecsI, {}, 0, message, sent);
}

void CHSecsI::OnTransferProblem(VeltoSecsIError code, const std::string &text) {
  if (sink_ != nullptr)
    sink_->OnProblem(ConnectionKind::SecsI, {}, 0, code, text);
}

void CHSecsI::OnTransferTrace(ByteView bytes, TraceDirection direction) {
  if (sink_ != nullptr)
    sink_->OnTrace(ConnectionKind::SecsI, bytes, direction);
}

} // namespace velto
