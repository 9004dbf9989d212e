#include "gem/engine/logical_connection.h"

#include "base/text.h"
#include "platform/ini_file.h"

namespace velto {

CHLogicalConnection::CHLogicalConnection(LogicalConnectionOwner &owner, std::string iniFileName,
                                         Kind kind)
    : owner_(&owner), kind_(kind), iniFileName_(std::move(iniFileName)),
      host_(kind == Kind::Plain ? 1 : 0) {
  settings_.section("LogicalConnection");
  settings_.integer("DeviceID", deviceId_, 0);
  settings_.integer("T3", t3_, 45000);
  settings_.integer("Host", host_, 1);
  settings_.rareInteger("Edition", edition_, 0);
}

void CHLogicalConnection::loadSettings() {
  if (owner_ == nullptr)
    return;
  settings_.load(IniFile(iniFileName_, owner_->files()));
  SetHost(Host());
  SetEdition(Edition());
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

bool CHLogicalConnection::SendUngated(CHSecsMessage &message) {
  return owner_ != nullptr && owner_->transmit(message);
}

bool CHLogicalConnection::OnReceive(CHSecsVerifier &slot) {
  open_.closeAnswered(slot.message);
  return false;
}

void CHLogicalConnection::OnSent(const CHSecsHeader &header, ByteView /*body*/) {
  if (owner_ != nullptr && header.sType() == 0 && awaitsReply(header))
    open_.open(header, owner_->clock().ticks(), owner_->sendsLater());
}

void CHLogicalConnection::OnTransmitted(uint32_t systemBytes) {
  if (owner_ != nullptr)
    open_.begin(systemBytes, owner_->clock().ticks());
}

void CHLogicalConnection::OnSendFailed(const CHSecsMessage &message) {
  open_.closeFirst([&message](const OpenTransactions::Entry &entry) {
    return isSameMessage(entry.header, message.header);
  });
}

size_t CHLogicalConnection::longestBody() const {
  return owner_ != nullptr ? owner_->longestBody() : std::numeric_limits<size_t>::max();
}

void CHLogicalConnection::endRejected(uint32_t systemBytes) {
  CHSecsHeader primary;
  const bool was = open_.closeFirst([&](const OpenTransactions::Entry &entry) {
    primary = entry.header;
    return entry.header.systemBytes == systemBytes;
  });
  if (was)
    OnRejected(primary);
}

void CHLogicalConnection::Tick() {
  if (owner_ == nullptr)
    return;
  if (const auto due = open_.takeDue(owner_->clock().ticks(), T3() + 1, hasTime()))
    owner_->reportReplyTimeout(due->header);
}

// A reply may still come when just T3 has passed.
std::optional<uint32_t> CHLogicalConnection::NextTick() const {
  return owner_ == nullptr ? std::nullopt
                           : open_.next(owner_->clock().ticks(), T3() + 1, hasTime());
}

void CHLogicalConnection::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add("Logical Connection");
  branch.expanded = true;
  branch.add(formatText("Device ID : %u", DeviceID()));
  branch.add(formatText("T3 : %u sec", T3() / 1000));
  branch.add(Host() ? "Host" : "Equipment");
}

} // namespace velto
