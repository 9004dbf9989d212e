#include "transport/secsi/secsi.h"

#include "base/text.h"

namespace velto {

CHSecsI::CHSecsI(EventLoop &loop, FileSystem &files, const SerialPorts &ports)
    : CHSerialPort(loop, ports), sink_(&silentSink()),
      transfer_(*this, *this, kSerialVariant, loop.clock(), files), ticker_(loop, *this) {
  SetWake([this] { ticker_.arm(); });
}

void CHSecsI::SetSettings(const SecsISettings &settings) {
  transfer_.settings() = settings;
  ticker_.arm();
}

bool CHSecsI::Open(const std::string &portName, int32_t baudRate, int16_t byteSize, int16_t parity,
                   int16_t stopBits) {
  if (!CHSerialPort::Open(portName, baudRate, byteSize, parity, stopBits))
    return false;
  ++counters_.connections;
  return true;
}

void CHSecsI::Close() {
  transfer_.Reset();
  CHSerialPort::Close();
}

void CHSecsI::End() {
  sink_ = &silentSink();
  Close();
  ticker_.follow(nullptr);
}

bool CHSecsI::QueueMessage(ByteView message) {
  if (!IsOpen() || !transfer_.QueueMessage(message))
    return false;
  ticker_.arm();
  return true;
}

bool CHSecsI::QueueHex(std::string_view text) { return QueueMessage(fromHex(text)); }

void CHSecsI::Poll() {
  FetchInput();
  work();
}

void CHSecsI::work() {
  transfer_.Poll();
  if (LostError() != 0 && !IsOpen())
    reportLost();
}

std::optional<uint32_t> CHSecsI::NextPoll() const {
  return LostError() != 0 ? std::optional<uint32_t>(0) : transfer_.NextPoll();
}

void CHSecsI::onArrived() {
  const auto held = hold();
  work();
  ticker_.arm();
}

void CHSecsI::reportLost() {
  const int error = LostError();
  CHSerialPort::Close();
  transfer_.FailAll();
  report({LinkProblem::System, "The serial device is gone.", error});
}

void CHSecsI::report(const Problem &problem) {
  counters_.count(problem.code);
  sink_->OnProblem(ConnectionKind::SecsI, {}, 0, problem);
}

void CHSecsI::OnMessage(ByteView message) {
  ++counters_.framesIn;
  sink_->OnReceived(ConnectionKind::SecsI, {}, 0, message);
}

void CHSecsI::OnMessageSent(ByteView message, bool sent) {
  counters_.messageSent(sent);
  sink_->OnSent(ConnectionKind::SecsI, {}, 0, message, sent);
}

void CHSecsI::OnTransferProblem(LinkProblem code, const std::string &text) { report({code, text}); }

void CHSecsI::OnTransferTrace(ByteView bytes, TraceDirection direction) {
  (direction == TraceDirection::Sent ? counters_.bytesOut : counters_.bytesIn) += bytes.size();
  sink_->OnTrace(ConnectionKind::SecsI, bytes, direction);
}

void CHSecsI::OnBlock(TraceDirection direction, bool duplicate) {
  counters_.block(direction == TraceDirection::Sent, duplicate);
}

void CHSecsI::OnQueuesChanged() {
  counters_.queued(transfer_.QueuedBytes());
  sink_->OnChanged();
}

} // namespace velto
