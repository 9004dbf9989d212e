#pragma once

#include "base/handle.h"
#include "transport/link/message_link.h"
#include "transport/link/system_bytes.h"
#include "transport/link/ticker.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace velto {

/// "Not Connected", "Connected / Not Selected", "Connected / Selected".
const char *hsmsStateText(LinkState state);

/// The HSMS engine of an equipment (SEMI E37): checks every header, answers control messages by
/// itself and drives the connection state. A message is handled the moment it has arrived; messages
/// that arrive behind a control message while its report pumps the loop are handled once that has
/// taken effect.
class CHHsms final : public MessageLink,
                     public std::enable_shared_from_this<CHHsms>,
                     private Ticker::Client {
public:
  CHHsms(EventLoop &loop, MessageLinkOwner &owner);
  /// With settings that outlive the link.
  CHHsms(EventLoop &loop, MessageLinkOwner &owner, std::shared_ptr<LinkSettings> settings);
  ~CHHsms() override;
  CHHsms(const CHHsms &) = delete;
  CHHsms &operator=(const CHHsms &) = delete;

  LinkSettings &settings() override { return settings_; }
  void settingsChanged() override { ticker_.arm(); }
  LinkState State() const override { return state_; }
  bool HasPartner() const override { return linkState() == LinkState::Ready; }
  const char *protocolName() const override { return "HSMS"; }
  const char *stateText() const override { return hsmsStateText(state_); }
  bool IsOpen() const override;
  int32_t LocalPort() const override;
  size_t PeerCount() const;
  LinkCounters counters() const override;
  std::vector<ConnectionCounters> connectionCounters() const override;
  void count(LinkProblem problem) override;

  /// Listens, or connects and waits for the outcome up to five seconds while the loop goes on.
  /// False when that fails, when the engine is open, or when the connection has ended meanwhile.
  bool Open();
  bool StartOpen(std::function<void(bool connected)> done) override;
  void Close() override;
  void End() override;

  std::optional<CHSecsHeader> Send(const CHSecsHeader &header, ByteView body) override;
  /// Sends a message (header and body) to a named connection; without a name to the remote end, of
  /// a listener to the peer accepted last. The header is completed as in Send(). False when it is
  /// shorter than a header or cannot be sent.
  bool SendMessage(ByteView headerAndBody);
  bool SendMessage(const std::string &ipAddress, int32_t portNumber, ByteView headerAndBody);

  void TickWith(Ticker &whole) override { ticker_.follow(&whole); }
  void Poll() override;
  std::optional<uint32_t> NextPoll() const override;

private:
  class Peer;

  bool prepareOpen();
  std::shared_ptr<void> hold() override { return shared_from_this(); }
  void tick() override { Poll(); }
  std::optional<uint32_t> nextTick() const override { return NextPoll(); }
  Peer *target() const;
  Peer *selectedPeer() const;
  template <typename Predicate> bool anyPeer(Predicate predicate) const;
  LinkState linkState() const;
  void updateState();

  void connected(Peer &peer);
  void disconnected(Peer &peer);
  void handleArrival(Peer &peer);
  void rejectShort(Peer &peer, uint32_t length);
  void rejectLong(Peer &peer, uint32_t length);
  void refuseStranger(Peer &peer, uint32_t length);
  size_t strangersHold() const;
  void end(Peer &peer, const Problem &problem, ByteView data = {});
  void handleFrame(Peer &peer, uint32_t length);
  bool isDuplicate(Peer &peer, ByteView message);
  void handleMessage(Peer &peer, ByteView message);
  void handleInvalid(Peer &peer, const CHSecsHeader &header, ByteView message, LinkProblem problem);
  void handleControl(Peer &peer, const CHSecsHeader &header);
  void answerSelect(Peer &peer, const CHSecsHeader &header);
  void answerDeselect(Peer &peer, const CHSecsHeader &header);
  void answerLinktest(Peer &peer, const CHSecsHeader &header);
  void handleResponse(Peer &peer, const CHSecsHeader &header);
  void endRejected(Peer &peer, const CHSecsHeader &reject);
  void select(Peer &peer);
  void deselect(Peer &peer);
  void pollPeer(Peer &peer);
  uint32_t controlLimit() const;
  void expireT6(Peer &peer);
  void expireT7(Peer &peer);
  void expireT8(Peer &peer);
  void endOverflowed(Peer &peer);
  bool testsLink(const Peer &peer) const;
  void testIdleLink(Peer &peer);
  void probe(Peer &peer);
  void probeSelected();

  std::optional<CHSecsHeader> transmit(Peer &peer, CHSecsHeader header, ByteView body);
  void sendControl(Peer &peer, const CHSecsHeader &header);
  void noteOpenError();
  bool sendTo(Peer *peer, ByteView headerAndBody);
  void answer(Peer &peer, const CHSecsHeader &request, SType type, uint8_t status);
  void reject(Peer &peer, const CHSecsHeader &rejected, uint8_t reason);
  void complete(CHSecsHeader &header);
  void reportProblem(Peer &peer, const Problem &problem, ByteView data = {});

  EventLoop &loop_;
  MessageLinkOwner *owner_; // never null
  std::shared_ptr<LinkSettings> kept_;
  LinkSettings &settings_ = *kept_;
  Ticker ticker_;
  LinkState state_ = LinkState::Down;
  SystemBytes systemBytes_;
  bool t6Reported_ = false; // in this tick
  int openError_ = 0;       // the number to report of an attempt to open; 0: none
  std::shared_ptr<LinkCounters> counters_ = std::make_shared<LinkCounters>();
  Handle<Peer> root_; // the connection or the listener
};

} // namespace velto
