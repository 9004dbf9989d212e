#pragma once

#include "base/handle.h"
#include "transport/link/message_link.h"
#include "transport/link/system_bytes.h"
#include "transport/link/ticker.h"
#include "transport/secsi/secsi.h"
#include "transport/secsi/secsi_socket.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace velto {

/// SECS-I (SEMI E4) as a link that carries messages, on a serial port or over TCP, where either end
/// connects. It is ready as soon as it is up: SECS-I knows no selection. The lines below it do all
/// of the block protocol; T3 is its owner's.
///
/// Headers have the form that those of HSMS have: the device ID without the R-bit, no block number.
/// A listener serves one partner at a time; further ones wait.
class CHSecsIMessageLink final : public MessageLink,
                                 public std::enable_shared_from_this<CHSecsIMessageLink>,
                                 private CHConnectionSink,
                                 private Ticker::Client {
public:
  enum class Medium { Serial, Tcp };

  CHSecsIMessageLink(EventLoop &loop, MessageLinkOwner &owner, Medium medium,
                     std::shared_ptr<LinkSettings> settings = std::make_shared<LinkSettings>(),
                     const SerialPorts &ports = systemPorts());
  ~CHSecsIMessageLink() override;

  LinkSettings &settings() override { return *settings_; }
  void settingsChanged() override;
  LinkState State() const override { return state_; }
  bool HasPartner() const override { return linkState() == LinkState::Ready; }
  const char *protocolName() const override;
  const char *stateText() const override;
  bool IsOpen() const override;
  int32_t LocalPort() const override { return socket_ ? socket_->LocalPort() : 0; }
  LinkCounters counters() const override;
  std::vector<ConnectionCounters> connectionCounters() const override;
  void count(LinkProblem problem) override { counters_->count(problem); }

  bool StartOpen(std::function<void(bool connected)> done) override;
  void Close() override;
  void End() override;

  /// Queues the message. Nothing also for a control message of HSMS, and for a message of more than
  /// 32,767 blocks.
  std::optional<CHSecsHeader> Send(const CHSecsHeader &header, ByteView body) override;
  CHSecsHeader Complete(const CHSecsHeader &header) override;
  bool SendCompleted(const CHSecsHeader &header, ByteView body) override;
  size_t longestBody() const override { return kMostBlocks * kBlockData; }
  std::optional<size_t> blockData() const override { return kBlockData; }
  bool sendsLater() const override { return true; }
  bool hasUnsent() const override;
  bool replyArrives(const CHSecsHeader &primary) const override;

  void TickWith(Ticker &whole) override { ticker_.follow(&whole); }
  void Poll() override;
  std::optional<uint32_t> NextPoll() const override;

private:
  std::shared_ptr<void> hold() override { return shared_from_this(); }
  void tick() override { Poll(); }
  std::optional<uint32_t> nextTick() const override { return NextPoll(); }
  // CHConnectionSink
  void OnReceived(ConnectionKind, const std::string &ipAddress, int32_t portNumber,
                  ByteView data) override;
  void OnSent(ConnectionKind, const std::string &ipAddress, int32_t portNumber, ByteView data,
              bool sent) override;
  void OnProblem(ConnectionKind, const std::string &ipAddress, int32_t portNumber,
                 const Problem &problem) override;
  void OnConnectionChanged(ConnectionKind, const std::string &ipAddress, int32_t portNumber,
                           bool connected) override;
  void OnTrace(ConnectionKind, ByteView, TraceDirection) override {}

  bool openPort();
  bool openSocket(std::function<void(bool connected)> done);
  void applySettings();
  void noteOpenError(const Problem &problem);
  void tellOpened();
  LinkState linkState() const;
  void setState(LinkState next);
  void updateState() { setState(linkState()); }

  EventLoop &loop_;
  MessageLinkOwner *owner_; // never null
  const Medium medium_;
  std::shared_ptr<LinkSettings> settings_;
  Ticker ticker_;
  LinkState state_ = LinkState::Down;
  SystemBytes systemBytes_;
  std::optional<Problem> openError_;           // to be reported
  std::function<void(bool connected)> opened_; // the port is open; to be told
  std::string portName_;                       // of the port as it was opened
  std::shared_ptr<LinkCounters> counters_ = std::make_shared<LinkCounters>();
  Handle<CHSecsI> port_;         // of a serial line
  Handle<CHSecsISocket> socket_; // the connection or listener; a fresh one for each opening
};

} // namespace velto
