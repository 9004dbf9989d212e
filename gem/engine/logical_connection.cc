#include "gem/engine/logical_connection.h"

#include "base/text.h"
#include "platform/ini_file.h"
#include "secs2/node_path.h"

#include <algorithm>

namespace velto {

namespace {

constexpr uint8_t kErrorStream = 9;

// The header that a stream 9 message complains of; nothing when it holds none.
std::optional<CHSecsHeader> complaint(const CHSecsMessage &message) {
  const CHSecsItem &head = message.root;
  if (message.header.stream() != kErrorStream || head.format() != format::kBinary ||
      head.count() < CHSecsHeader::kSize)
    return std::nullopt;
  CHSecsHeader header;
  DecodeHeader(header, head.bytes().first<CHSecsHeader::kSize>(), CHSecsHeader::kUnknownLength);
  return header;
}

bool isAnswer(const CHSecsHeader &reply, const CHSecsHeader &primary) {
  return reply.stream() == primary.stream() && reply.systemBytes == primary.systemBytes &&
         (reply.function() == primary.function() + 1 || reply.function() == 0);
}

} // namespace

CHLogicalConnection::CHLogicalConnection(LogicalConnectionOwner &owner, std::string iniFileName,
                                         Kind kind)
    : owner_(&owner), kind_(kind), iniFileName_(std::move(iniFileName)),
      host_(kind == Kind::Plain ? 1 : 0) {
  settings_.section("LogicalConnection");
  settings_.integer("DeviceID", deviceId_, 0);
  settings_.integer("T3", t3_, 45000);
  settings_.integer("Host", host_, 1);
}

void CHLogicalConnection::loadSettings() {
  if (owner_ == nullptr)
    return;
  settings_.load(IniFile(iniFileName_, owner_->files()));
  SetHost(Host());
}

bool CHLogicalConnection::saveSettings() const {
  if (owner_ == nullptr)
    return false;
  IniFile file(iniFileName_, owner_->files());
  settings_.store(file);
  return file.save();
}

bool CHLogicalConnection::Send(CHSecsMessage &message) {
  message.header.idWord = DeviceID();
  return SendUngated(message);
}

bool CHLogicalConnection::SendUngated(const CHSecsMessage &message) {
  return owner_ != nullptr && owner_->transmit(message);
}

bool CHLogicalConnection::OnReceive(CHSecsVerifier &slot) {
  closeTransaction(slot.message);
  return false;
}

void CHLogicalConnection::closeTransaction(const CHSecsMessage &message) {
  const auto head = complaint(message);
  const auto closes = [&](const OpenTransaction &transaction) {
    const CHSecsHeader &primary = transaction.header;
    return head ? head->stream() == primary.stream() && head->function() == primary.function() &&
                      head->systemBytes == primary.systemBytes
                : isAnswer(message.header, primary);
  };
  const auto found = std::ranges::find_if(open_, closes);
  if (found != open_.end())
    open_.erase(found);
}

void CHLogicalConnection::OnSent(const CHSecsMessage &message) {
  const CHSecsHeader &header = message.header;
  if (owner_ != nullptr && header.sType() == 0 && header.function() % 2 == 1 && header.wbit())
    open_.push_back({header, owner_->clock().ticks()});
}

void CHLogicalConnection::Tick() {
  if (owner_ == nullptr || open_.empty() || CHLogicalConnection::NextTick().value_or(1) != 0)
    return;
  const CHSecsHeader expired = open_.front().header;
  open_.pop_front();
  owner_->reportReplyTimeout(expired);
}

// All wait for the same T3, so the one sent first is due first.
std::optional<uint32_t> CHLogicalConnection::NextTick() const {
  if (owner_ == nullptr || open_.empty())
    return std::nullopt;
  const uint32_t age = owner_->clock().ticks() - open_.front().sentAt;
  return age > T3() ? 0 : T3() + 1 - age;
}

bool CHLogicalConnection::hasOpenTransaction(uint8_t stream, uint8_t function) const {
  return std::ranges::any_of(open_, [=](const OpenTransaction &transaction) {
    return transaction.header.stream() == stream && transaction.header.function() == function;
  });
}

void CHLogicalConnection::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add("Logical Connection");
  branch.expanded = true;
  branch.add(formatText("Device ID : %u", DeviceID()));
  branch.add(formatText("T3 : %u sec", T3() / 1000));
  branch.add(Host() ? "Host" : "Equipment");
}

} // namespace velto
