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
  const auto keep = logical_;
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
  if (physical_.protocol != kAnnounced || !acceptsDevice(slot))
    return;
  wake();
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
  const auto keep = logical_;
  CHGem &gem = *gem_;
  if (refused_ || handled_ == received_ || gem.slot(CHGem::kReceived).message.header.sType() != 0)
    return true;
  const Lifetime::Watch alive(lifetime_);
  const uint32_t received = received_;
  const uint32_t selects = selects_;
  const std::optional<uint32_t> outer = std::exchange(handled_, received);
  CHSecsVerifier work;
  copySlot(gem.slot(CHGem::kReceived), work);
  if (physical_.State() != HsmsState::NotConnected)
    gem.OnReceive(work);
  const CHSecsHeader &header = work.message.header;
  if (alive && selects == selects_ && header.function() % 2 == 1 && header.wbit() &&
      work.partner()->replyValid)
    gem.SendUngated(work.partner()->message);
  if (!alive)
    return true;
  handled_ = outer;
  if (received == received_)
    moveSlot(work, gem.slot(CHGem::kReceived));
  wake();
  return true;
}

// Sending ---------------------------------------------------------------------------------------

bool CHGemEngine::Send(CHSecsMessage &message) {
  const auto keep = logical_;
  const bool sent = keep->Send(message);
  return sent && keep->kind() == CHLogicalConnection::Kind::Gem;
}

bool CHGemEngine::InvokeEvent(uint32_t ceid) {
  const auto keep = logical_;
  return gem_ != nullptr && gem_->InvokeEvent(ceid);
}

bool CHGemEngine::InvokeAlarm(uint32_t alid, uint8_t alcd) {
  const auto keep = logical_;
  const Lifetime::Watch alive(lifetime_);
  const bool sent = gem_ != nullptr && gem_->InvokeAlarm(alid, alcd);
  if (alive)
    wake(); // the changed state is saved on the next tick
  return sent;
}

bool CHGemEngine::transmit(const CHSecsMessage &message) {
  Bytes bytes;
  return message.Encode(bytes) && physical_.Send(bytes);
}

bool CHGemEngine::transmit(CHSecsMessage &&message) {
  const Lifetime::Watch alive(lifetime_);
  outgoing_ = &message;
  const bool sent = transmit(std::as_const(message));
  if (alive)
    outgoing_ = nullptr;
  return sent;
}

// The slot gets what went out: the body itself where the sender leaves it, else what its bytes say.
void CHGemEngine::OnSent(const CHSecsHeader &header, ByteView body) {
  const auto keep = logical_;
  const Lifetime::Watch alive(lifetime_);
  CHSecsMessage plain;
  CHSecsMessage &sent = gem_ != nullptr ? gem_->slot(CHGem::kSent).message : plain;
  CHSecsMessage *left = std::exchange(outgoing_, nullptr);
  std::array<uint8_t, CHSecsHeader::kSize> head{};
  EncodeHeader(header, head);
  DecodeHeader(sent.header, head, static_cast<uint32_t>(head.size() + body.size()));
  if (left != nullptr)
    sent.root = std::move(left->root);
  else
    DecodeItem(sent.root, body);
  if (logsMessages())
    record().sent(joined(head, body));
  // Without a model nothing that arrives is looked at, and no reply would end a transaction.
  if (gem_ != nullptr && header.idWord == keep->DeviceID())
    keep->OnSent(sent);
  if (!alive)
    return;
  wake();
  if (sink_ != nullptr)
    sink_->OnSent();
}

} // namespace velto
