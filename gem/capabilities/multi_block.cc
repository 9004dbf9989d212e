#include "gem/capabilities/multi_block.h"

#include "gem/messages/items.h"
#include "gem/messages/reply.h"
#include "secs2/item_codec.h"
#include "transport/link/deadline.h"

#include <algorithm>
#include <utility>

namespace velto {

namespace {

// GRANT and GRANT6 (SEMI E5).
constexpr uint32_t kGranted = 0;
constexpr uint32_t kBusy = 1;
constexpr uint32_t kNoGrant = 255; // the answer says nothing

constexpr int kMostRefusals = 10;
constexpr uint32_t kBusyPause = 1000; // ms
constexpr size_t kMostHeld = 10'000;
constexpr size_t kMostHeldBytes = size_t{64} * 1024 * 1024;

// The DATAID of a message is the first item of its body, where that is no list; else 0.
CHSecsItem dataId(ByteView body) {
  CHSecsItem root;
  DecodeItem(root, body);
  const bool isFirst = root.isList() && root.count() != 0;
  const CHSecsItem &first = isFirst ? root.children().front() : root;
  return isFirst && !first.isList() && first.hasData() ? first.clone() : numberItem(0);
}

} // namespace

bool CHGemMultiBlock::isLong(size_t bodySize) const {
  const auto room = host().blockData();
  return room && bodySize > *room;
}

bool CHGemMultiBlock::mustHold(const CHSecsHeader &header, size_t bodySize) const {
  return header.stream() == stream() && header.function() % 2 == 1 &&
         header.function() != inquiry() && (isLong(bodySize) || !held_.empty()) &&
         owner().communicationState() == CommunicationState::Communicating;
}

bool CHGemMultiBlock::hold(const CHSecsHeader &header, ByteView body) {
  if (held_.size() >= kMostHeld || bytes_ + body.size() > kMostHeldBytes)
    return false;
  bytes_ += body.size();
  held_.push_back({header, Bytes(body.begin(), body.end())});
  return true;
}

// Sending ----------------------------------------------------------------------------------------

void CHGemMultiBlock::Tick() {
  if (NextTick() != 0U)
    return;
  pausedAt_.reset();
  if (!granted_ && isLong(held_.front().body.size()))
    inquire();
  else
    sendFront();
}

std::optional<uint32_t> CHGemMultiBlock::NextTick() const {
  if (held_.empty() || asked_)
    return std::nullopt;
  return pausedAt_ ? timeLeft(owner().clock().ticks(), *pausedAt_, kBusyPause) : 0;
}

void CHGemMultiBlock::inquire() {
  CHSecsMessage message;
  message.header.Reset(stream(), inquiry());
  message.header.setWbit(true);
  const Bytes &body = held_.front().body;
  message.root =
      listItem(dataId(body), numberItem(static_cast<uint32_t>(body.size()), format::kU4));
  asked_ = 0; // the answer may come before Send() returns
  const bool sent = owner().Send(message);
  if (!asked_)
    return;
  if (sent) {
    asked_ = message.header.systemBytes;
  } else {
    asked_.reset();
    pausedAt_ = owner().clock().ticks();
  }
}

void CHGemMultiBlock::sendFront() {
  const Held first = std::move(held_.front());
  held_.pop_front();
  bytes_ -= first.body.size();
  granted_ = false;
  refusals_ = 0;
  if (!host().sendHeld(first.header, first.body))
    host().failHeld(first.header, first.body);
}

// Answers ----------------------------------------------------------------------------------------

bool CHGemMultiBlock::OnReceive(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  if (!asked_ || header.systemBytes != *asked_ || header.stream() != stream() ||
      header.function() != inquiry() + 1)
    return false;
  answered(isVerified(slot) ? numberOf(slot.message.root) : kNoGrant);
  return true;
}

// An inquiry whose transaction has ended otherwise will not be granted.
void CHGemMultiBlock::OnReceived() {
  if (asked_ && *asked_ != 0 && !owner().awaitsAnswerTo(*asked_))
    answered(kNoGrant);
}

void CHGemMultiBlock::OnRejected(const CHSecsHeader &primary) {
  if (asked_ == primary.systemBytes)
    answered(kNoGrant);
}

void CHGemMultiBlock::answered(uint32_t grant) {
  asked_.reset();
  if (held_.empty())
    return;
  granted_ = grant == kGranted;
  if (granted_)
    return;
  if (grant == kBusy && ++refusals_ < kMostRefusals) {
    pausedAt_ = owner().clock().ticks();
    return;
  }
  const Held first = std::move(held_.front());
  held_.pop_front();
  bytes_ -= first.body.size();
  refusals_ = 0;
  host().refuseHeld(first.header);
}

// The end of communications -----------------------------------------------------------------------

void CHGemMultiBlock::OnProblem(LinkProblem, const CHSecsHeader &) {
  if (owner().communicationState() != CommunicationState::Communicating)
    giveUp();
}

// Whoever hears of one may send others.
void CHGemMultiBlock::giveUp() {
  const auto failed = std::exchange(held_, {});
  Reset();
  for (const Held &message : failed)
    host().failHeld(message.header, message.body);
}

void CHGemMultiBlock::OnSwitchedOff() {
  while (!held_.empty())
    sendFront();
  Reset();
}

void CHGemMultiBlock::Reset() {
  held_.clear();
  bytes_ = 0;
  asked_.reset();
  granted_ = false;
  refusals_ = 0;
  pausedAt_.reset();
}

} // namespace velto
