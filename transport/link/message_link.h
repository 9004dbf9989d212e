#pragma once

#include "base/bytes.h"
#include "platform/tcp_socket.h"
#include "secs2/header.h"
#include "transport/link/problem.h"
#include "transport/link/statistics.h"
#include "transport/link/ticker.h"
#include "transport/secsi/serial_ports.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace velto {

class WireTap;

/// Down: no connection. Up: connected, but messages are not exchanged yet (HSMS: not selected).
/// Ready: messages go both ways.
enum class LinkState : int { Down = 0, Up = 1, Ready = 2 };

/// How sessions are used over HSMS (SEMI E37.1, E37.2). Other values are possible; linktests are
/// then ignored.
struct HsmsSession {
  enum Mode : int32_t { Generic = 0, Single = 1, General = 2 };
};
using HsmsSessionMode = HsmsSession::Mode;

/// What a SECS-I line needs beside the address of its TCP connection (SEMI E4). Name, number and
/// rate of the serial port count from the next opening on, all else at once.
struct SecsILine {
  enum Master : int32_t { MasterByRole = -1, Slave = 0, AlwaysMaster = 1 };

  std::string portName;   ///< a device, or "com1" and so on; empty: by its number
  int32_t portNumber = 0; ///< 0 is COM1
  int32_t baudRate = 9600;
  int32_t t1 = 500;              ///< between characters of a block
  int32_t t2 = 10'000;           ///< for EOT, the length byte, ACK or NAK
  int32_t t4 = 45'000;           ///< between blocks of a message
  int32_t retry = 3;             ///< further attempts for a block
  int32_t master = MasterByRole; ///< who wins contention: the equipment, unless set otherwise

  /// The port as it is opened.
  std::string name() const { return portName.empty() ? SerialPorts::name(portNumber) : portName; }
  bool isMaster(bool equipment) const {
    return master == MasterByRole ? equipment : master != Slave;
  }
};

/// How a message link is opened and how it behaves. Times are milliseconds; negative ones count as
/// 0. Addresses and limits count from the next opening on, all else at once.
struct LinkSettings {
  std::string ipAddress;    ///< of the remote end to connect to; empty: "localhost"
  int32_t portNumber = 0;   ///< of the remote end; of a listener whose own port is 0, its own
  int32_t myPortNumber = 0; ///< to listen on, or to connect from; 0: any
  bool server = false;      ///< listens (passive entity)
  int32_t sessionMode = HsmsSession::Single;
  int32_t t6 = 5000;                           ///< control transaction; 0: never
  int32_t t7 = 10000;                          ///< not selected; 0: never
  int32_t t8 = 5000;                           ///< between arrivals of one message
  uint32_t maxLength = 10'485'760;             ///< of a message in bytes
  size_t maxPeers = 1024;                      ///< that a listener serves at once
  size_t maxQueued = size_t{64} * 1024 * 1024; ///< bytes that wait for a peer that does not read
  int32_t linktestInterval = 0;                ///< silence before a linktest; 0: none is sent
  KeepAlive keepAlive;                         ///< seconds
  bool rejectInvalidHeaders = true;            ///< answers a wrong PType or SType with Reject.req
  bool sendSelectRequest = true;               ///< after connecting as an active entity
  bool discardDuplicates = true;               ///< drops a message that equals the one before
  /// Own system bytes begin at 0x80000001, else at 1. Two ends of which one has this never share
  /// any: there are partners that tell transactions apart by system bytes alone.
  bool highSystemBytes = false;
  /// This side is the equipment: what it sends over SECS-I has the R-bit, and it is the master.
  bool equipment = false;
  SecsILine secsI;
  std::shared_ptr<WireTap> tap; ///< hears the bytes of TCP connections; null: nobody does
};

/// What a message link tells its owner, naming the connection by the remote end's address. The
/// owner may do anything inside a call: send, close, reopen, give the link up, pump the loop.
class MessageLinkOwner {
public:
  virtual ~MessageLinkOwner() = default;

  /// The status to answer a Select.req with; 0 accepts. Proposed: 0; 1 when this connection is
  /// selected already; 3 in single-session mode when another one is (SEMI E37 7.2, E37.1).
  virtual uint8_t OnSelectRequest(const std::string & /*ipAddress*/, int32_t /*portNumber*/,
                                  uint8_t proposed) {
    return proposed;
  }
  virtual void OnConnected(const std::string &ipAddress, int32_t portNumber) = 0;
  /// A connection has ended: the remote end closed it or separated, or a time-out ended it. Close()
  /// is not told. The change of state follows on the next tick.
  virtual void OnDisconnected(const std::string &ipAddress, int32_t portNumber) = 0;
  /// Whether the partner owes a reply: no linktest is sent meanwhile.
  virtual bool awaitsReply() const { return false; }
  /// The partner rejected the message that went out with these system bytes.
  virtual void OnRejected(uint32_t /*systemBytes*/) {}
  /// A message, header and body; a control message before the link acts on it. `refused`: it came
  /// before the link was ready, and is rejected after this call.
  virtual void OnReceived(const std::string &ipAddress, int32_t portNumber, ByteView message,
                          bool refused) = 0;
  /// A message went out that the link sent by itself, with the header as it went out. (What the
  /// owner sends, the owner knows.)
  virtual void OnSent(const std::string &ipAddress, int32_t portNumber, const CHSecsHeader &header,
                      ByteView body) = 0;
  /// `data`: the length field where a length is wrong, the header of the request for T6, the
  /// message for an invalid header; else empty.
  virtual void OnProblem(const std::string &ipAddress, int32_t portNumber, const Problem &problem,
                         ByteView data) = 0;
  virtual void OnStateChanged(LinkState next, LinkState previous) = 0;
  /// Of a link whose messages wait for the line: all of the message is with the partner, and the
  /// time for its reply begins.
  virtual void OnTransmitted(uint32_t /*systemBytes*/) {}
  /// The same link has given a message up after the last attempt; those that waited behind it
  /// follow, each in a call of its own (SEMI E4 7.4: a failure to send).
  virtual void OnSendFailed(const CHSecsHeader & /*header*/, ByteView /*body*/) {}
};

/// A link that carries SECS-II messages, whatever the transport. Owned through a Handle. It ticks
/// by itself.
class MessageLink {
public:
  virtual ~MessageLink() = default;

  /// The settings in force; settingsChanged() after changes of them, which also arms the ticks.
  virtual LinkSettings &settings() = 0;
  virtual void settingsChanged() = 0;

  virtual LinkState State() const = 0;
  /// Whether there is a partner to send to, which State() may tell only from the next tick on.
  virtual bool HasPartner() const { return State() == LinkState::Ready; }
  /// The protocol ("HSMS") and the state, as an operator knows them.
  virtual const char *protocolName() const = 0;
  virtual const char *stateText() const = 0;
  /// Listening, connecting or connected.
  virtual bool IsOpen() const = 0;
  /// The port that the socket is bound to.
  virtual int32_t LocalPort() const = 0;

  /// What it has carried since it was made, over all its connections.
  virtual LinkCounters counters() const = 0;
  /// What each connection that a listener now has, has carried.
  virtual std::vector<ConnectionCounters> connectionCounters() const = 0;
  /// Counts a problem that only the owner notices: T3, T5.
  virtual void count(LinkProblem problem) = 0;

  /// Starts to listen or connect and returns at once; false when that cannot even start. `done` is
  /// called once with the outcome, not from inside this call; never after Close().
  virtual bool StartOpen(std::function<void(bool connected)> done) = 0;
  /// Closes the connection and every peer. The change of state is told on the next tick.
  virtual void Close() = 0;
  /// The owner gives the link up: it closes and never reports again.
  virtual void End() = 0;

  /// Sends a message to the partner (of a listener: the first peer that is ready). The link
  /// completes the header, with new system bytes for every primary with the W-bit and any other
  /// that has none; returns it as it went out, or nothing when the message cannot be sent.
  virtual std::optional<CHSecsHeader> Send(const CHSecsHeader &header, ByteView body) = 0;
  /// The two parts of Send(), for a message that has to wait above the link: the header as it will
  /// go out, and sending with it. Of links that have blocks.
  virtual CHSecsHeader Complete(const CHSecsHeader &header) { return header; }
  virtual bool SendCompleted(const CHSecsHeader & /*header*/, ByteView /*body*/) { return false; }
  /// Bytes that the body of a message may have, as far as the link minds.
  virtual size_t longestBody() const { return std::numeric_limits<size_t>::max(); }
  /// The most of a body that goes out in one block; nothing where there are no blocks.
  virtual std::optional<size_t> blockData() const { return std::nullopt; }
  /// What Send() took waits for the line; OnTransmitted() or OnSendFailed() follows.
  virtual bool sendsLater() const { return false; }
  /// Messages wait for the line now.
  virtual bool hasUnsent() const { return false; }
  /// Whether a part of the reply to a primary, or a part of what may be one, has arrived.
  virtual bool replyArrives(const CHSecsHeader & /*primary*/) const { return false; }

  /// The link is part of a larger engine, which calls Poll(): it ticks by itself no longer.
  virtual void TickWith(Ticker &whole) = 0;
  /// One tick: state changes and time-outs.
  virtual void Poll() = 0;
  /// Milliseconds until Poll() has something to do if nothing arrives meanwhile; 0: on the next
  /// tick; nothing: never. Skipping the polls before that changes nothing.
  virtual std::optional<uint32_t> NextPoll() const = 0;
};

/// The owner of a link that nobody listens to.
MessageLinkOwner &silentOwner();

} // namespace velto
