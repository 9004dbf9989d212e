#include "gem/messages/dispatch.h"

#include "gem/messages/items.h"
#include "gem/messages/reply.h"
#include "gem/messages/stream9.h"
#include "secs2/transaction.h"
#include "transport/link/message_link.h"

#include <utility>

namespace velto {

namespace {

constexpr uint16_t kAnyDevice = 0xFFFF;

void copyHead(const CHSecsMessage &from, CHSecsMessage &to) {
  to.node = from.node;
  to.header = from.header;
}

// All but the bodies of the two messages, and side and edition, which are those of the model.
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
  to.edition = from.edition;
  to.partner()->message.root = from.partner()->message.root.clone();
}

void moveSlot(CHSecsVerifier &from, CHSecsVerifier &to) {
  copyHeads(from, to);
  to.partner()->message.root = std::move(from.partner()->message.root);
}

} // namespace

bool CHGemDispatch::receive(CHGem &gem, const std::string &ipAddress, int32_t portNumber,
                            ByteView message, int32_t sessionMode) {
  setAside(gem);
  ++received_;
  sender_ = partners_;
  refused_ = false;
  CHSecsVerifier &slot = gem.slot(CHGem::kReceived);
  slot.remoteHost = ipAddress;
  slot.remotePort = portNumber;
  const bool told = take(gem, message, sessionMode);
  waits_ = told && slot.message.header.sType() == 0;
  if (waits_)
    aside_.reset();
  return told;
}

bool CHGemDispatch::take(CHGem &gem, ByteView message, int32_t sessionMode) {
  CHSecsVerifier &slot = gem.slot(CHGem::kReceived);
  if (!slot.message.Decode(message))
    return false;
  slot.Verify(true);
  return sessionMode == HsmsSession::Single && acceptsDevice(gem, slot);
}

bool CHGemDispatch::acceptsDevice(CHGem &gem, CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  CHSecsMessage &reply = slot.partner()->message;
  if (header.idWord == kAnyDevice || header.idWord == gem.DeviceID()) {
    reply.header.idWord = header.idWord;
    return true;
  }
  if (gem.Host())
    return true;
  refused_ = true;
  stream9::make(reply, stream9::UnrecognizedDevice, header, gem.DeviceID());
  if (awaitsReply(header))
    gem.SendUngated(reply);
  return false;
}

bool CHGemDispatch::connectionEnded(CHGem &gem, const std::string &ipAddress, int32_t portNumber) {
  const CHSecsVerifier &slot = aside_ ? *aside_->slot : gem.slot(CHGem::kReceived);
  if (slot.remoteHost != ipAddress || slot.remotePort != portNumber)
    return false;
  partnerChanged();
  return true;
}

CHGemDispatch::Received CHGemDispatch::keep(CHGem &gem) const {
  const CHSecsVerifier &slot = gem.slot(CHGem::kReceived);
  Received message{std::make_unique<CHSecsVerifier>(), received_, sender_, refused_, waits_};
  copySlot(slot, *message.slot);
  message.slot->message.root = slot.message.root.clone();
  return message;
}

void CHGemDispatch::putBack(CHGem &gem, const Received &message) {
  if (received_ == message.number)
    return;
  CHSecsVerifier &slot = gem.slot(CHGem::kReceived);
  copySlot(*message.slot, slot);
  slot.message.root = message.slot->message.root.clone();
  resume(message);
}

void CHGemDispatch::resume(const Received &message) {
  received_ = message.number;
  sender_ = message.sender;
  refused_ = message.refused;
  waits_ = message.waits;
}

// The prepared reply stays in the slot: a control message does not touch it.
void CHGemDispatch::setAside(CHGem &gem) {
  if (!waits_ || sender_ != partners_)
    return;
  CHSecsVerifier &slot = gem.slot(CHGem::kReceived);
  aside_ = Received{std::make_unique<CHSecsVerifier>(), received_, sender_, refused_, waits_};
  copySlot(slot, *aside_->slot);
  aside_->slot->message.root = std::move(slot.message.root);
}

void CHGemDispatch::giveBack(CHGem &gem) {
  const auto message = std::exchange(aside_, std::nullopt);
  if (!message || waits_)
    return;
  CHSecsVerifier &slot = gem.slot(CHGem::kReceived);
  copySlot(*message->slot, slot);
  slot.message.root = std::move(message->slot->message.root);
  resume(*message);
}

void CHGemDispatch::modelChanged() {
  refused_ = false;
  waits_ = false;
  aside_.reset();
}

CHGemDispatch::Reply CHGemDispatch::sendReply(CHGem &gem, CHSecsVerifier &slot) {
  const CHSecsItem &body = slot.partner()->message.root;
  const bool fits = fitsMessage(body) && bytesOf(body) <= gem.longestBody();
  if (!fits)
    abortReply(slot);
  if (!gem.SendUngated(slot.partner()->message))
    return Reply::NotSent;
  return fits ? Reply::Done : Reply::TooLong;
}

void CHGemDispatch::showMessage() {
  if (lender_ != nullptr)
    *lender_ = lent_->clone();
  lender_ = nullptr;
}

// A body is handled without a copy as long as the host is told of nothing: most of the time of a
// long question would go into it. True when it has been shown, and `work` still holds it.
bool CHGemDispatch::handleBody(CHGem &gem, CHSecsVerifier &work) {
  lender_ = &gem.slot(CHGem::kReceived).message.root;
  lent_ = &work.message.root;
  work.message.root = std::move(*lender_);
  gem.OnReceive(work);
  const bool shown = lender_ == nullptr;
  if (!shown)
    *std::exchange(lender_, nullptr) = std::move(work.message.root);
  return shown;
}

// Control messages have been answered by the link, and what the host was not told of has been
// refused. What is handled is a copy: a report may pump the loop, and the next message then takes
// the slot, or another partner the link, which gets no reply to the one before. Inside such a
// report the message itself is handled already.
CHGemDispatch::Reply CHGemDispatch::handle(CHGem &gem, bool connected) {
  if (refused_ || sender_ != partners_ || handled_ == received_ ||
      gem.slot(CHGem::kReceived).message.header.sType() != 0)
    return Reply::Done;
  waits_ = false;
  const uint32_t received = received_;
  const uint32_t partners = partners_;
  const std::optional<uint32_t> outer = std::exchange(handled_, received);
  CHSecsVerifier work;
  copySlot(gem.slot(CHGem::kReceived), work);
  const bool shown = connected && handleBody(gem, work);
  Reply reply = Reply::Done;
  if (partners == partners_ && awaitsReply(work.message.header) && work.partner()->replyValid)
    reply = sendReply(gem, work);
  handled_ = outer;
  if (received == received_) {
    CHSecsVerifier &slot = gem.slot(CHGem::kReceived);
    if (shown)
      slot.message.root = std::move(work.message.root);
    moveSlot(work, slot);
  }
  return partners == partners_ ? reply : Reply::Done;
}

} // namespace velto
