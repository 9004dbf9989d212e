#pragma once

#include "base/lifetime.h"
#include "platform/event_loop.h"
#include "secs2/header.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace velto {

/// The problems that the equipment's link reports.
enum VeltoGemError : int {
  ErrorGemHsmsLengthTooShort = 1,
  ErrorGemHsmsExceedMaxLength = 2,
  ErrorGemHsmsT8Timeout = 3,
  ErrorGemHsmsT6Timeout = 4,
  ErrorGemHsmsT7Timeout = 5,
  ErrorGemHsmsInvalidSessionID = 6,
  ErrorGemHsmsInvalidPType = 7,
  ErrorGemHsmsControlMessageTooLong = 8,
  ErrorGemHsmsInvalidSType = 9,
  ErrorGemHsmsInvalidFunction = 10,
  ErrorGemHsmsInvalidRejectReason = 11,
  ErrorGemHsmsT3Timeout = 12, ///< for the owner's reply timer
  ErrorGemHsmsT5Timeout = 13, ///< for the owner's reconnect timer
};
const char *gemErrorText(int code);

enum class HsmsState : int { NotConnected = 0, NotSelected = 1, Selected = 2 };
/// "Not Connected", "Connected / Not Selected", "Connected / Selected".
const char *hsmsStateText(HsmsState state);

/// How sessions are used (SEMI E37.1, E37.2). Other values are possible; linktests are then
/// ignored.
enum class HsmsSessionMode : int { Generic = 0, Single = 1, General = 2 };

/// Times are milliseconds.
struct HsmsSettings {
  std::string ipAddress; ///< of the remote end to connect to; empty: "localhost"
  int32_t portNumber = 0;
  int32_t myPortNumber = 0; ///< to listen on, or to connect from; 0: any
  bool server = false;      ///< listens (passive entity)
  HsmsSessionMode sessionMode = HsmsSessionMode::Single;
  uint32_t t6 = 5000;                   ///< control transaction; 0: never
  uint32_t t7 = 10000;                  ///< not selected; 0: never
  uint32_t t8 = 5000;                   ///< between arrivals of one message
  uint32_t maxLength = 10'485'760;      ///< of a message in bytes
  size_t maxPeers = 1024;               ///< that a listener serves at once
  size_t maxQueued = 64U * 1024 * 1024; ///< bytes that wait for a peer that does not read
  bool rejectInvalidHeaders = true;     ///< answers a wrong PType or SType with Reject.req
  bool sendSelectRequest = true;        ///< after connecting as an active entity
  bool discardDuplicates = true;        ///< drops a message that equals the one before
};

/// What the engine tells its owner, naming the connection by the remote end's address. The owner
/// may do anything inside a call: send, close, reopen, destroy the engine, pump the loop. Messages
/// that arrive behind a control message meanwhile are handled once that has taken effect.
class CHHsmsOwner {
public:
  virtual ~CHHsmsOwner() = default;

  /// The status to answer a Select.req with; 0 accepts. Proposed: 0; 1 when this connection is
  /// selected already; 3 in single-session mode when another one is (SEMI E37 7.2, E37.1).
  virtual uint8_t OnSelectRequest(const std::string & /*ipAddress*/, int32_t /*portNumber*/,
                                  uint8_t proposed) {
    return proposed;
  }
  virtual void OnConnected(const std::string &ipAddress, int32_t portNumber) = 0;
  /// A connection has ended: the remote end closed it or separated, or T7 ran out. Close() is not
  /// told. The change of state follows on the next tick.
  virtual void OnDisconnected(const std::string &ipAddress, int32_t portNumber) = 0;
  /// A data message, header and body. `notSelected`: it came outside the Selected state, and is
  /// rejected after this call.
  virtual void OnDataReceived(const std::string &ipAddress, int32_t portNumber, ByteView message,
                              bool notSelected) = 0;
  /// A valid control message, before the engine acts on it.
  virtual void OnControlReceived(const std::string &ipAddress, int32_t portNumber,
                                 ByteView message) = 0;
  /// A message was sent, with the header as it went out.
  virtual void OnMessageSent(const std::string &ipAddress, int32_t portNumber,
                             const CHSecsHeader &header, ByteView body) = 0;
  /// A VeltoGemError. `data`: the length field for 1 and 2, the header of the request for T6, the
  /// message for an invalid header; else empty.
  virtual void OnProblem(const std::string &ipAddress, int32_t portNumber, int code,
                         ByteView data) = 0;
  virtual void OnStateChanged(HsmsState newState, HsmsState oldState) = 0;
};

/// The HSMS engine of an equipment (SEMI E37): checks every header, answers control messages by
/// itself and drives the connection state. A message is handled the moment it has arrived.
class CHHsms {
public:
  CHHsms(EventLoop &loop, CHHsmsOwner &owner);
  ~CHHsms();
  CHHsms(const CHHsms &) = delete;
  CHHsms &operator=(const CHHsms &) = delete;

  /// Times, modes and switches count at once, addresses and limits from the next Open() on.
  HsmsSettings &settings() { return settings_; }
  const HsmsSettings &settings() const { return settings_; }
  HsmsState State() const { return state_; }
  /// Listening, connecting or connected.
  bool IsOpen() const;
  /// The port that the socket is bound to.
  int32_t LocalPort() const;
  size_t PeerCount() const;

  /// Listens, or connects and waits for the outcome up to five seconds while the loop goes on.
  /// False when that fails, when the engine is open, or when the connection has ended meanwhile.
  bool Open();
  /// Starts to listen or connect and returns at once; false when that cannot even start. `done` is
  /// called once with the outcome, not from inside this call; never after Close().
  bool StartOpen(std::function<void(bool connected)> done);
  /// Closes the connection and every peer. The next Poll() tells the change of state.
  void Close();

  /// Sends a message (header and body) to the remote end; of a listener, to the peer accepted last.
  /// The engine completes the header: PType, session ID and unused bytes of control messages, new
  /// system bytes of every request and every data message with the W-bit. False when it is shorter
  /// than a header or cannot be sent.
  bool SendMessage(ByteView headerAndBody);
  /// The same to the connection that is selected; of a listener, to the first selected peer. False
  /// when none is.
  bool SendToSelected(ByteView headerAndBody);
  /// The same to a named connection.
  bool SendMessage(const std::string &ipAddress, int32_t portNumber, ByteView headerAndBody);

  /// One tick: state changes and time-outs.
  void Poll();
  /// Milliseconds until Poll() has something to do if nothing arrives meanwhile; 0: on the next
  /// tick; nothing: never. Skipping the polls before that changes nothing.
  std::optional<uint32_t> NextPoll() const;
  /// `wake` is called whenever NextPoll() may have become earlier for another reason than Poll()
  /// itself. It may schedule a poll, nothing else.
  void SetWake(std::function<void()> wake) { wake_ = std::move(wake); }

private:
  class Link;

  bool prepareOpen();
  void wake() const;
  Link *target() const;
  Link *selectedLink() const;
  template <typename Predicate> bool anyLink(Predicate predicate) const;
  HsmsState linkState() const;
  void updateState();

  void connected(Link &link);
  void disconnected(Link &link);
  void handleArrival(Link &link);
  void rejectLength(Link &link, int code, uint32_t length);
  void handleFrame(Link &link, uint32_t length);
  bool isDuplicate(Link &link, ByteView message);
  void handleMessage(Link &link, ByteView message);
  void handleInvalid(Link &link, const CHSecsHeader &header, ByteView message, int code);
  void handleControl(Link &link, const CHSecsHeader &header);
  void answerSelect(Link &link, const CHSecsHeader &header);
  void answerDeselect(Link &link, const CHSecsHeader &header);
  void answerLinktest(Link &link, const CHSecsHeader &header);
  void handleResponse(Link &link, const CHSecsHeader &header);
  void select(Link &link);
  void deselect(Link &link);
  void pollLink(Link &link);
  void expireT6(Link &link);
  void expireT7(Link &link);
  void expireT8(Link &link);

  bool send(Link &link, CHSecsHeader header, ByteView body = {});
  bool sendTo(Link *link, ByteView headerAndBody);
  void answer(Link &link, const CHSecsHeader &request, SType type, uint8_t status);
  void reject(Link &link, const CHSecsHeader &rejected, uint8_t reason);
  void complete(CHSecsHeader &header);
  uint32_t nextSystemBytes();
  void reportProblem(Link &link, int code, ByteView data = {});

  EventLoop &loop_;
  CHHsmsOwner &owner_;
  HsmsSettings settings_;
  std::function<void()> wake_;
  HsmsState state_ = HsmsState::NotConnected;
  uint32_t systemBytes_ = 1;   // of the next request
  bool t6Reported_ = false;    // in this tick
  std::unique_ptr<Link> link_; // the connection or the listener
  Lifetime lifetime_;
};

} // namespace velto
