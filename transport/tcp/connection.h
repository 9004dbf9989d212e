#pragma once

#include "base/handle.h"
#include "platform/event_loop.h"
#include "platform/tcp_socket.h"
#include "transport/link/connection_sink.h"
#include "transport/link/statistics.h"
#include "transport/link/ticker.h"
#include "transport/tcp/byte_queue.h"
#include "transport/tcp/spare_descriptor.h"
#include "transport/tcp/wire_tap.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velto {

/// The plain TCP connection, whatever the protocol: an active entity that connects to a remote
/// address, or a passive entity that listens on a local port and owns one connection per accepted
/// peer, which it names by the pair of IP address and port.
///
/// A connection is opened once; to reconnect, its owner makes a new one with the same settings. It
/// is owned through a Handle, which the sink may destroy from inside any report. The base class
/// carries a byte stream; the protocols derive from it.
class CHHsmsConnection : public std::enable_shared_from_this<CHHsmsConnection>,
                         protected Ticker::Client {
public:
  static constexpr uint32_t kDefaultMaxLength = 10'485'760;
  static constexpr uint32_t kLargestMaxLength = 0x7FFF'FF00;
  static constexpr uint32_t kOpenTimeout = 5000; ///< ms that Open() waits for a connect

  explicit CHHsmsConnection(EventLoop &loop, ConnectionKind kind = ConnectionKind::Stream);
  ~CHHsmsConnection() override;
  CHHsmsConnection(const CHHsmsConnection &) = delete;
  CHHsmsConnection &operator=(const CHHsmsConnection &) = delete;

  // Settings, to be made before Open().
  void SetServerMode(bool server) { serverMode_ = server; }
  void SetMyPortNumber(int32_t port) { myPortNumber_ = port; }
  /// Receive buffer limit and largest message accepted, in bytes; at most kLargestMaxLength counts.
  void SetMaxLength(uint32_t bytes) { maxLength_ = std::min(bytes, kLargestMaxLength); }
  /// Peers that a listener serves at most; further connections are closed at once,
  /// counted and reported as refused. Default 1,024.
  void SetMaxPeers(size_t count) { maxPeers_ = count; }
  /// Bytes that wait at most for a peer that does not read. Default 64 MiB.
  void SetMaxQueued(size_t bytes) { maxQueued_ = bytes; }

  void SetKeepAlive(const KeepAlive &settings) { keepAlive_ = settings; }
  /// Who hears the bytes of the connection, of a listener those of its peers; null: nobody.
  void SetTap(std::shared_ptr<WireTap> tap) { tap_ = std::move(tap); }

  /// Client: the remote end. Listener: the peer that SendFrame() addresses; each accepted peer sets
  /// it to itself.
  void SetIPAddress(std::string address) { ipAddress_ = std::move(address); }
  void SetPortNumber(int32_t port) { portNumber_ = port; }
  /// The connection is part of a larger engine, which calls Poll(): it ticks by itself no longer.
  void TickWith(Ticker &whole) { ticker_.follow(&whole); }
  /// Goes on with counters that outlive this connection, as a fresh one does for another.
  void CountIn(std::shared_ptr<LinkCounters> counters) { counters_ = std::move(counters); }
  /// What was carried; of a listener by all its peers, also by those that have gone.
  LinkCounters counters() const;
  /// What each of a listener's peers has carried.
  std::vector<ConnectionCounters> connectionCounters() const;
  /// Null: nobody hears of anything.
  void SetSink(CHConnectionSink *sink);

  bool ServerMode() const { return serverMode_; }
  int32_t MyPortNumber() const { return myPortNumber_; }
  uint32_t MaxLength() const { return maxLength_; }
  const KeepAlive &keepAlive() const { return keepAlive_; }
  const std::string &IPAddress() const { return ipAddress_; }
  int32_t PortNumber() const { return portNumber_; }
  ConnectionKind Kind() const { return kind_; }
  /// True once connected, listening or accepted, until the connection ends.
  bool Connected() const { return connected_; }
  /// True while a connect is on its way.
  bool Opening() const { return opening_ != nullptr; }
  /// True from a successful Open() on, also after the connection ended. Such an object cannot be
  /// opened again.
  bool Created() const { return created_; }
  /// The owner has given it up.
  bool ended() const { return ended_; }
  /// Why opening failed, as an `errno` value; 0 when it did not.
  int openError() const { return openError_; }
  /// The port that the socket is bound to (also when the platform chose it).
  int32_t LocalPort() const { return socket_.localPort(); }

  /// Listens, or connects and waits for the outcome up to kOpenTimeout while the loop goes on.
  /// False when that fails, when the object is open already, or when the connection has ended
  /// meanwhile.
  bool Open();
  /// Starts to listen or connect and returns at once; false when that cannot even start. `done` is
  /// called once with the outcome, not from inside this call; never after Close().
  bool StartOpen(std::function<void(bool connected)> done);
  /// Closes the socket, drops what is buffered and deletes every peer. Reports nothing. What waits
  /// to be sent is tried once more, without blocking.
  virtual void Close();
  /// The owner gives the connection up: it closes and never reports again.
  void End();

  /// Sends to the current target (see SetIPAddress); the count of bytes sent or queued, 0 when
  /// there is no target or the queue is full.
  virtual int32_t SendFrame(ByteView bytes);
  /// One tick, which comes by itself: hands over what arrived, and checks time-outs. What arrived
  /// whole before the remote end closed is still handed over; a listener keeps the peer until then.
  virtual void Poll();
  /// Milliseconds until Poll() has something to do if nothing arrives meanwhile; 0: on the next
  /// tick; nothing: never. Skipping the polls before that changes nothing.
  virtual std::optional<uint32_t> NextPoll() const;

  /// Copies up to `count` buffered bytes to `destination` and, with `remove`, drops them from the
  /// buffer; the count copied. Without a destination, empties the buffer.
  int32_t ReadBuffer(uint8_t *destination, int32_t count, bool remove);
  int32_t BufferedLength() const { return static_cast<int32_t>(received_.size()); }
  /// Bytes that wait for the remote end to read.
  size_t QueuedLength() const { return output_.size(); }
  /// The first four buffered bytes as a big-endian number; 0 when fewer are there.
  uint32_t PeekLength() const;

  /// The peers in order of acceptance.
  size_t PeerCount() const { return peers_.size(); }
  CHHsmsConnection &PeerAt(size_t index) const { return *peers_[index]; }
  /// The peer with exactly this address; null when there is none.
  CHHsmsConnection *FindPeer(const std::string &ipAddress, int32_t portNumber) const;
  /// Closes and deletes a peer; false when it is not one of this listener's.
  bool RemovePeer(CHHsmsConnection *peer);

protected:
  /// A new unconnected object of the same class with the same protocol settings, to become a peer.
  virtual std::shared_ptr<CHHsmsConnection> CreatePeer();
  /// Gives a new peer the settings of this class.
  void copySettings(CHHsmsConnection &peer) const;
  /// Bytes read at most each time that the socket is ready.
  virtual size_t readSize() const { return 1024; }
  /// Bytes buffered at most; reading stops there until some were taken.
  virtual size_t bufferLimit() const { return maxLength_; }
  /// Whether the buffer holds something to hand over.
  virtual bool holdsUnit() const { return !received_.empty(); }
  /// Whether the buffer starts with a whole frame: four bytes of length, and what they count.
  bool holdsFrame() const;
  /// Whether a listener takes another peer now; while it does not, connections wait.
  virtual bool acceptsPeer() const { return true; }
  /// Somebody has come whom acceptsPeer() let in; who is in the way ends here, with its reports.
  virtual void makeRoom() {}
  /// To be called when bufferLimit() has changed.
  void watchForMore() {
    if (connected_)
      watchSocket();
  }
  /// To be called when acceptsPeer() may have changed for another reason than a peer.
  void watchListener() {
    if (listening_)
      watchSocket();
  }
  /// Reads what the connected socket has, as when the loop finds it ready; whether something
  /// arrived. May report.
  bool receive();
  /// Bytes were added to the buffer; nothing else is done with this object afterwards.
  virtual void onArrived() { wake(); }
  /// The connection was made or ended by the remote end; reports it.
  virtual void onConnectionChanged(bool connected);

  bool listening() const { return listening_; }
  LinkCounters &counted() { return *counters_; }
  bool socketErrorPending() const { return socketError_ != 0; }
  /// The number of the socket error since the last tick, which is then forgotten; 0: none.
  int takeSocketError() { return std::exchange(socketError_, 0); }
  EventLoop &loop() const { return loop_; }
  uint32_t ticks() const { return loop_.clock().ticks(); }
  std::shared_ptr<void> hold() override { return shared_from_this(); }
  /// The next tick is due.
  void wake() { ticker_.wake(); }
  /// Something was set that the next tick may depend on.
  void arm() { ticker_.arm(); }
  /// Peers have come or gone, changed their state, or exchanged a message.
  void markChanged() { sink().OnChanged(); }

  /// Sends `first` followed by `second` on this object's own socket, and queues what that does not
  /// take. False, with nothing sent, when there is no connection or the queue is full.
  bool transmit(ByteView first, ByteView second = {});
  /// Moves the first bytes out of the receive buffer, to report them from; giveBack() afterwards
  /// saves the next arrival an allocation.
  ByteQueue takeReceived(size_t count);
  void giveBack(ByteQueue &&taken) { received_.reuse(std::move(taken)); }
  void dropReceived();
  /// Ends the connection as if the remote end had closed it, or with an error (`errno`); reports.
  void closedByRemote(int error);
  /// Ends the connection without a report and drops what is buffered; the object stays until its
  /// owner deletes it.
  void disconnect();

  // Reports to the sink. In each of them the sink may close or end this object.
  CHConnectionSink &sink() const;
  void reportReceived(ByteView data);
  void reportProblem(const Problem &problem);
  /// Reports and forgets the socket error that was recorded since the last tick.
  void reportSocketError();
  /// Ends a connection that could not send, with its error first; whether there was one to end.
  bool endBroken();

private:
  struct OpenRequest;

  // The ticks of what is no peer.
  void tick() override;
  std::optional<uint32_t> nextTick() const override { return NextPoll(); }

  int startListening();
  int startConnecting();
  void lookUpRemote();
  void finishOpen(int error);
  void watchSocket();
  void onReady(unsigned events);
  void acceptPeers();
  bool acceptPeer();
  void acceptFailed(int error);
  void turnAway(int error, const std::string &remote, const std::string &why);
  void addPeer(TcpSocket::Peer accepted);
  void dropPeer(std::vector<std::shared_ptr<CHHsmsConnection>>::iterator position);
  bool listensNow() const;
  bool finished() const { return !connected_ && !holdsUnit() && socketError_ == 0; }
  void pollPeers();
  void tapConnection(bool accepted);
  void tap(TraceDirection direction, ByteView first, ByteView second = {});
  void flush();
  bool cannotSend();
  ssize_t sendQueued();
  void sendFailed(int error);
  void recordError(int error);
  void closeSocket();

  EventLoop &loop_;
  const ConnectionKind kind_;
  CHHsmsConnection *listener_ = nullptr; // of a peer
  CHConnectionSink *sink_;               // never null
  Ticker ticker_;
  std::shared_ptr<LinkCounters> counters_; // never null

  std::string ipAddress_;
  int32_t portNumber_ = 0;
  int32_t myPortNumber_ = 0;
  uint32_t maxLength_ = kDefaultMaxLength;
  size_t maxPeers_ = 1024;
  KeepAlive keepAlive_;
  size_t maxQueued_ = size_t{64} * 1024 * 1024;
  std::shared_ptr<WireTap> tap_;
  bool serverMode_ = false;

  bool listening_ = false;
  bool connected_ = false;
  bool created_ = false;
  bool ended_ = false;
  bool acceptPaused_ = false;
  bool sendFailed_ = false; // what waited is lost: the connection ends on the next tick
  int openError_ = 0;       // errno
  int socketError_ = 0;     // the number to report, 0: none
  std::string turnedAway_;  // whom it concerns, of a connection that was turned away
  uint32_t peerGeneration_ = 0;

  ByteQueue received_;
  ByteQueue output_; // what the socket has not taken yet
  SpareDescriptor spare_;
  TcpSocket socket_;
  std::unique_ptr<WireTap::Wire> wire_;
  std::unique_ptr<DescriptorWatch> watch_;
  std::shared_ptr<OpenRequest> opening_;
  std::vector<std::shared_ptr<CHHsmsConnection>> peers_;
};

} // namespace velto
