#include "gem/engine/engine.h"

#include "secs2/item_codec.h"
#include "secs2/reply_text.h"

#include <optional>
#include <span>
#include <utility>

// The way of messages through the engine, in and out.

namespace velto {

namespace {

CHSecsHeader headerOf(ByteView bytes) {
  CHSecsHeader header;
  DecodeHeader(header, bytes.first<CHSecsHeader::kSize>(), static_cast<uint32_t>(bytes.size()));
  return header;
}

ByteView bodyOf(ByteView bytes) { return bytes.subspan(CHSecsHeader::kSize); }

} // namespace

// Receiving -------------------------------------------------------------------------------------

void CHGemEngine::OnReceived(const std::string &ipAddress, int32_t portNumber, ByteView message,
                             bool refused) {
  if (gem_ == nullptr || gem_->communication().State() == CommunicationState::Disabled)
    return;
  const Hold held(*this);
  if (logsMessages())
    record().received(message);
  // The slot stays with the partner, whose message may still be handled. Only HSMS has sessions.
  const int32_t mode =
      physical_.isHsms() ? physical_.settings().sessionMode : int32_t{HsmsSession::Single};
  if (refused)
    return;
  if (dispatch_.receive(*gem_, ipAddress, portNumber, message, mode)) {
    ticker_.wake();
    if (CHGemEventSink *sink = application())
      sink->OnReceived(ipAddress, portNumber);
  }
  if (gem_ != nullptr)
    dispatch_.giveBack(*gem_);
}

bool CHGemEngine::DefProc() {
  if (gem_ == nullptr)
    return false;
  const Hold held(*this);
  const auto reply = dispatch_.handle(*gem_, physical_.State() != LinkState::Down);
  replyLost_ = replyLost_ || (reply == CHGemDispatch::Reply::NotSent && held.logical == logical_);
  ticker_.wake();
  if (reply == CHGemDispatch::Reply::TooLong)
    reportProblem({LinkProblem::LengthTooLong});
  return true;
}

// Sending ---------------------------------------------------------------------------------------

bool CHGemEngine::Send(CHSecsMessage &message) {
  const Hold held(*this);
  const bool sent = held.logical->Send(message);
  return sent && held.logical->kind() == CHLogicalConnection::Kind::Gem;
}

bool CHGemEngine::InvokeEvent(uint32_t ceid) {
  const Hold held(*this);
  return gem_ != nullptr && gem_->InvokeEvent(ceid);
}

bool CHGemEngine::InvokeAlarm(uint32_t alid, uint8_t alcd) {
  const Hold held(*this);
  const bool sent = gem_ != nullptr && gem_->InvokeAlarm(alid, alcd);
  ticker_.arm(); // the changed state is saved on the next tick
  return sent;
}

void CHGemEngine::variableChanged(uint32_t vid) {
  if (gem_ == nullptr)
    return;
  const Hold held(*this);
  gem_->variableChanged(vid);
}

// The role may have changed since the last message.
std::optional<CHSecsHeader> CHGemEngine::sendOverLink(ByteView headerAndBody) {
  physical_.setEquipment(!logical_->Host());
  const CHSecsHeader header = headerOf(headerAndBody);
  const ByteView body = bodyOf(headerAndBody);
  if (!logical_->mustHold(header, body.size()))
    return physical_.Send(header, body);
  const CHSecsHeader completed = physical_.Complete(header);
  return logical_->hold(completed, body) ? std::optional(completed) : std::nullopt;
}

// What went out is told by whoever still holds it: a message that is not needed any more gives its
// body, of any other the bytes are kept.
bool CHGemEngine::transmit(CHSecsMessage &message) {
  Bytes bytes;
  const Hold held(*this);
  if (!message.Encode(bytes))
    return false;
  const auto sent = sendOverLink(bytes);
  if (!sent)
    return false;
  message.header.systemBytes = sent->systemBytes;
  reportSent(*sent, std::move(bytes));
  return true;
}

bool CHGemEngine::transmit(CHSecsMessage &&message) {
  Bytes bytes;
  const Hold held(*this);
  if (!message.Encode(bytes))
    return false;
  const auto sent = sendOverLink(bytes);
  if (!sent)
    return false;
  reportSent(*sent, std::move(bytes), &message.root);
  return true;
}

bool CHGemEngine::SendEncoded(ByteView headerAndBody) {
  if (headerAndBody.size() < CHSecsHeader::kSize)
    return false;
  const Hold held(*this);
  const auto sent = sendOverLink(headerAndBody);
  if (!sent)
    return false;
  reportSent(*sent, Bytes(headerAndBody.begin(), headerAndBody.end()));
  return true;
}

void CHGemEngine::OnSent(const std::string &, int32_t, const CHSecsHeader &header, ByteView body) {
  const Hold held(*this);
  Bytes bytes(CHSecsHeader::kSize);
  bytes.insert(bytes.end(), body.begin(), body.end());
  reportSent(header, std::move(bytes));
}

void CHGemEngine::reportSent(const CHSecsHeader &header, Bytes &&message, CHSecsItem *root) {
  const std::shared_ptr<CHLogicalConnection> logical = logical_;
  EncodeHeader(header, std::span(message).first<CHSecsHeader::kSize>());
  const CHSecsHeader sent = headerOf(message);
  if (logsMessages())
    record().sent(message);
  // Without a model nothing that arrives is looked at, and no reply would end a transaction.
  if (gem_ != nullptr && header.idWord == logical->DeviceID())
    logical->OnSent(sent, bodyOf(message));
  if (gem_ != nullptr && root != nullptr)
    gem_->setSent(sent, std::move(*root));
  else if (gem_ != nullptr)
    gem_->setSent(sent, std::move(message));
  ticker_.wake();
  if (CHGemEventSink *sink = application())
    sink->OnSent();
}

} // namespace velto
