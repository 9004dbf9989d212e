#pragma once

#include "base/setting_list.h"
#include "gem/capabilities/application.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "secs2/verifier.h"
#include "transport/link/open_transactions.h"
#include "transport/link/problem.h"
#include "ui/view.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace velto {

/// What a logical connection needs of the engine that holds it. Any call may run host code.
class LogicalConnectionOwner {
public:
  virtual ~LogicalConnectionOwner() = default;

  /// Sends over the selected connection; false when there is none. The message then has the system
  /// bytes with which it went out.
  virtual bool transmit(CHSecsMessage &message) = 0;
  /// The same for a message that is not needed afterwards: its body may be taken over.
  virtual bool transmit(CHSecsMessage &&message) { return transmit(message); }
  /// Whether there is a partner to send to; the states follow on the next tick when it has gone.
  virtual bool hasPartner() const { return true; }
  // As MessageLink has them.
  virtual bool sendsLater() const { return false; }
  virtual bool replyArrives(const CHSecsHeader & /*primary*/) const { return false; }
  virtual size_t longestBody() const { return std::numeric_limits<size_t>::max(); }
  virtual std::optional<size_t> blockData() const { return std::nullopt; }
  // A message that was held back, with the header that it has: it goes out now (false: it cannot),
  // it has failed with the communications, or the partner did not grant it.
  virtual bool sendHeld(const CHSecsHeader & /*header*/, ByteView /*body*/) { return false; }
  virtual void failHeld(const CHSecsHeader & /*header*/, ByteView /*body*/) {}
  virtual void refuseHeld(const CHSecsHeader & /*header*/) {}
  /// The reply to a primary did not come within T3.
  virtual void reportReplyTimeout(const CHSecsHeader &primary) = 0;
  virtual void reportCommunicationState(uint8_t next, uint8_t previous) = 0;
  virtual void reportControlState(uint8_t next, uint8_t previous) = 0;
  virtual void reportVariable(uint32_t vid) = 0;
  /// What the partner changed could not be written to the data file. `systemError`: why, as errno
  /// has it; 0 when that is not known.
  virtual void reportSaveFailure(int /*systemError*/) {}
  /// Something else went wrong on this side that the host application is to hear of.
  virtual void reportFailure(const std::string & /*reason*/) {}
  /// Who is asked about what the partner wants of the equipment; null while there is nobody.
  virtual GemApplication *application() { return nullptr; }
  virtual Clock &clock() const = 0;
  virtual FileSystem &files() const = 0;
};

/// A connection with a partner of one device ID: its role, the reply time-out T3, and the primaries
/// whose replies are awaited. Used as it is when the equipment model is switched off.
class CHLogicalConnection {
public:
  enum class Kind : int { Plain = 0, Gem = 1 };

  CHLogicalConnection(LogicalConnectionOwner &owner, std::string iniFileName,
                      Kind kind = Kind::Plain);
  virtual ~CHLogicalConnection() = default;
  CHLogicalConnection(const CHLogicalConnection &) = delete;
  CHLogicalConnection &operator=(const CHLogicalConnection &) = delete;

  /// The owner is gone: nothing is sent or reported any more.
  void detach() { owner_ = nullptr; }

  Kind kind() const { return kind_; }
  uint16_t DeviceID() const { return static_cast<uint16_t>(deviceId_); }
  void SetDeviceID(int32_t id) { deviceId_ = id; }
  /// Whether a header can hold the device ID that was set: 0 to 32767 (SEMI E5 6.2).
  bool deviceIdFits() const { return deviceId_ >= 0 && deviceId_ <= 0x7FFF; }
  /// Reply time-out in ms. A reply ends its transaction when the host hands it to OnReceive(): one
  /// that never calls DefProc() sees every T3 run out.
  uint32_t T3() const { return t3_ < 0 ? 0 : static_cast<uint32_t>(t3_); }
  void SetT3(uint32_t ms) { t3_ = static_cast<int32_t>(ms); }
  /// True: this side is the host; false: the equipment.
  bool Host() const { return host_ != 0; }
  virtual void SetHost(bool host) { host_ = host ? 1 : 0; }
  /// The edition of SEMI E5 by which messages are judged and built.
  E5Edition Edition() const { return edition_ == 1 ? E5Edition::Current : E5Edition::Early; }
  virtual void SetEdition(E5Edition edition) { edition_ = static_cast<int32_t>(edition); }
  const std::string &DataFileName() const { return dataFileName_; }
  void SetDataFileName(std::string name) { dataFileName_ = std::move(name); }
  int32_t DataBakCount() const { return dataBackups_; }
  void SetDataBakCount(int32_t count) { dataBackups_ = count; }
  void SetIniFileName(std::string name) { iniFileName_ = std::move(name); }

  /// Stamps the device ID and sends.
  virtual bool Send(CHSecsMessage &message);
  bool SendUngated(CHSecsMessage &message);
  /// Handles a received message; true when it was taken. The transaction that it answers ends.
  virtual bool OnReceive(CHSecsVerifier &slot);
  /// A message went out: a primary with the W-bit opens a transaction.
  virtual void OnSent(const CHSecsHeader &header, ByteView body);
  /// A message that waited for the line is with the partner: T3 begins.
  void OnTransmitted(uint32_t systemBytes);
  /// Whether a message that is about to go out has to wait first, and keeps it: with the header
  /// that it will have. False when there is no room.
  virtual bool mustHold(const CHSecsHeader & /*header*/, size_t /*bodySize*/) { return false; }
  virtual bool hold(const CHSecsHeader & /*header*/, ByteView /*body*/) { return false; }
  /// It will never be there: its transaction ends.
  virtual void OnSendFailed(const CHSecsMessage &message);
  /// One tick of the engine's timer: at most one transaction times out.
  virtual void Tick();
  /// Milliseconds until Tick() has something to do; nothing: never.
  virtual std::optional<uint32_t> NextTick() const;
  virtual void OnLinkReady() {}
  virtual void OnLinkLost() {}
  /// The partner rejected a message: the transaction that it opened ends without a reply.
  void endRejected(uint32_t systemBytes);
  virtual void OnRejected(const CHSecsHeader & /*primary*/) {}
  virtual void OnProblem(LinkProblem /*problem*/, const CHSecsHeader & /*header*/) {}
  /// Adds the branch of the status tree.
  virtual void addStatus(TreeNode &parent) const;

  /// Reads and writes the settings of section "LogicalConnection".
  void loadSettings();
  bool saveSettings() const;

  size_t OpenTransactionCount() const { return open_.size(); }
  /// Bytes that the body of a message may have, as far as the link minds.
  size_t longestBody() const;

protected:
  LogicalConnectionOwner *owner() const { return owner_; }
  SettingList &settingList() { return settings_; }
  bool hasOpenTransaction(uint8_t stream, uint8_t function) const {
    return open_.holds(stream, function);
  }
  bool hasOpenTransaction(uint32_t systemBytes) const { return open_.holds(systemBytes); }
  void clearTransactions() { open_.clear(); }
  /// The transaction has time: its primary waits for the line, or its reply has begun to arrive.
  auto hasTime() const {
    return [this](const OpenTransactions::Entry &entry) {
      return entry.waits || owner_->replyArrives(entry.header);
    };
  }
  SettingList &settings() { return settings_; }

private:
  LogicalConnectionOwner *owner_;
  Kind kind_;
  std::string iniFileName_;
  std::string dataFileName_ = "./kel.kel";
  int32_t dataBackups_ = 0;
  int32_t deviceId_ = 0;
  int32_t t3_ = 45000;
  int32_t host_;
  int32_t edition_ = 0;
  SettingList settings_;
  OpenTransactions open_;
};

} // namespace velto
