#include "gem/engine/engine.h"

#include "secs2/item_codec.h"
#include "secs2/reply_text.h"

#include <array>
#include <optional>
#include <utility>

// The way of messages through the engine, in and out.

namespace velto {

namespace {

constexpr uint16_t kAnyDevice = 0xFFFF;
constexpr uint8_t kUnrecognizedDevice = 1; // S9F1
constexpr int32_t kAnnounced = 1;          // the protocol whose messages are announced

void copyHead(const CHSecsMessage &from, CHSecsMessage &to) {
  to.node = from.node;
  to.header = from.header;
}

// All but the bodies of the two messages and the side, which is that of the model.
void copyHeads(const CHSecsVerifier &from, CHSecsVerifier &to) {
  to.remoteHost = from.remoteHost;
  to.remotePort = from.remotePort;
  to.result = from.result;
  to.partner()->replyValid = from.partner()->replyValid;
  copyHead(from.message, to.message);
  copyHead(from.partner()->message, to.partner()->message);
}

void copySlot(const CHSecsVerifier &from, CHSecsVerifier &to) {
  copyHeads(from, to);
  to.isEquipmentSide = from.isEquipmentSide;
  to.message.root = from.message.root.clone();
  to.partner()->message.root = from.partner()->message.root.clone();
}

void moveSlot(CHSecsVerifier &from, CHSecsVerifier &to) {
  copyHeads(from, to);
  to.message.root = std::move(from.message.root);
  to.partner()->message.root = std::move(from.partner()->message.root);
}

CHSecsHeader headerOf(ByteView bytes) {
  CHSecsHeader header;
  DecodeHeader(header, bytes.first<CHSecsHeader::kSize>(), static_cast<uint32_t>(bytes.size()));
  return header;
}

ByteView bodyOf(ByteView bytes) { return bytes.subspan(CHSecsHeader::kSize); }

// The root item of a message that went out, as the partner will read it.
CHSecsItem sentRoot(const CHSecsItem &root, ByteView body) {
  if (ReadsBackAsItIs(root))
    return root.clone();
  CHSecsItem decoded;
  DecodeItem(decoded, body);
  return decoded;
}

Bytes joined(ByteView head, ByteView body) {
  Bytes bytes(head.begin(), head.end());
  bytes.insert(bytes.end(), body.begin(), body.end());
  return bytes;
}

} // namespace

// Receiving -------------------------------------------------------------------------------------

void CHGemEngine::OnReceived(const std::string &ipAddress, int32_t portNumber, ByteView message,
                             bool storeOnly) {
  if (gem_ == nullptr || gem_->communication().State() == 0)
    return;
  const Hold held(*this);
  ++received_;
  refused_ = storeOnly;
  CHSecsVerifier &slot = gem_->slot(CHGem::kReceived);
  slot.remoteHost = ipAddress;
  slot.remotePort = portNumber;
  if (logsMessages())
    record().received(message);
  if (!slot.message.Decode(message) || storeOnly)
    return;
  slot.Verify(true);
  if (physical_.settings().sessionMode != kAnnounced || !acceptsDevice(slot))
    return;
  ticker_.wake();
  if (sink_ != nullptr)
    sink_->OnReceived(std::string(ipAddress), portNumber);
}

// An equipment answers a foreign device ID with S9F1 and keeps the message to itself.
bool CHGemEngine::acceptsDevice(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  CHSecsMessage &reply = slot.partner()->message;
  if (header.idWord == kAnyDevice || header.idWord == logical_->DeviceID()) {
    reply.header.idWord = header.idWord;
    return true;
  }
  if (logical_->Host())
    return true;
  refused_ = true;
  MakeStream9(reply, kUnrecognizedDevice, &header);
  reply.header.idWord = logical_->DeviceID();
  if (header.function() % 2 == 1 && header.wbit())
    transmit(reply);
  return false;
}

// Control messages have been answered by the link, and what the host was not told of has been
// refused. What is handled is a copy: a report may pump the loop, and the next message then takes
// the slot, or another partner the link, which gets no reply to the one before. Inside such a
// report the message itself is handled already.
bool CHGemEngine::DefProc() {
  if (gem_ == nullptr)
    return false;
  const Hold held(*this);
  CHGem &gem = *gem_;
  if (refused_ || handled_ == received_ || gem.slot(CHGem::kReceived).message.header.sType() != 0)
    return true;
  const uint32_t received = received_;
  const uint32_t selects = selects_;
  const std::optional<uint32_t> outer = std::exchange(handled_, received);
  CHSecsVerifier work;
  copySlot(gem.slot(CHGem::kReceived), work);
  if (physical_.State() != LinkState::Down)
    gem.OnReceive(work);
  const CHSecsHeader &header = work.message.header;
  if (selects == selects_ && header.function() % 2 == 1 && header.wbit() &&
      work.partner()->replyValid)
    gem.SendUngated(work.partner()->message);
  handled_ = outer;
  if (received == received_)
    moveSlot(work, gem.slot(CHGem::kReceived));
  ticker_.arm();
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

// What went out is told by whoever still holds it: no message is decoded to be shown, but for one
// that does not read back as it stands.
bool CHGemEngine::transmit(const CHSecsMessage &message) {
  Bytes bytes;
  const Hold held(*this);
  if (!message.Encode(bytes))
    return false;
  const ByteView body = bodyOf(bytes);
  const auto sent = physical_.Send(headerOf(bytes), body);
  if (!sent)
    return false;
  reportSent(*sent, body, sentRoot(message.root, body));
  return true;
}

bool CHGemEngine::transmit(CHSecsMessage &&message) {
  Bytes bytes;
  const Hold held(*this);
  if (!message.Encode(bytes))
    return false;
  const auto sent = physical_.Send(headerOf(bytes), bodyOf(bytes));
  if (!sent)
    return false;
  reportSent(*sent, bodyOf(bytes), std::move(message.root));
  return true;
}

bool CHGemEngine::SendEncoded(ByteView headerAndBody) {
  if (headerAndBody.size() < CHSecsHeader::kSize)
    return false;
  const Hold held(*this);
  const auto sent = physical_.Send(headerOf(headerAndBody), bodyOf(headerAndBody));
  if (!sent)
    return false;
  OnSent({}, 0, *sent, bodyOf(headerAndBody));
  return true;
}

void CHGemEngine::OnSent(const std::string &, int32_t, const CHSecsHeader &header, ByteView body) {
  const Hold held(*this);
  CHSecsItem root;
  DecodeItem(root, body);
  reportSent(header, body, std::move(root));
}

void CHGemEngine::reportSent(const CHSecsHeader &header, ByteView body, CHSecsItem &&root) {
  const std::shared_ptr<CHLogicalConnection> logical = logical_;
  CHSecsMessage plain;
  CHSecsMessage &sent = gem_ != nullptr ? gem_->slot(CHGem::kSent).message : plain;
  std::array<uint8_t, CHSecsHeader::kSize> head{};
  EncodeHeader(header, head);
  DecodeHeader(sent.header, head, static_cast<uint32_t>(head.size() + body.size()));
  sent.root = std::move(root);
  if (logsMessages())
    record().sent(joined(head, body));
  // Without a model nothing that arrives is looked at, and no reply would end a transaction.
  if (gem_ != nullptr && header.idWord == logical->DeviceID())
    logical->OnSent(sent);
  ticker_.arm();
  if (sink_ != nullptr)
    sink_->OnSent();
}

} // namespace velto
