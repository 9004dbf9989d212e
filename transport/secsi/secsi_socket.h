#pragma once

#include "transport/secsi/block_transfer.h"
#include "transport/tcp/connection.h"

#include <string_view>

namespace velto {

/// SECS-I (SEMI E4) over a TCP connection: the characters and blocks of the serial line are the
/// bytes of the stream. A connection acts the moment something arrives; every peer of a listener is
/// a line of its own. When the remote end closes it, every queued message is reported failed first.
/// The rules of the line are those of BlockTransfer; a tick reads what the socket has before it
/// looks for time-outs.
class CHSecsISocket : public CHHsmsConnection, private ByteChannel, private BlockTransferOwner {
public:
  explicit CHSecsISocket(EventLoop &loop, FileSystem &files = systemFiles());

  /// Counts at once; of a listener, for its peers too.
  void SetSettings(const SecsISettings &settings);
  const SecsISettings &settings() const { return transfer_.settings(); }
  /// A listener with a peer leaves further connections waiting until the peer has gone. Default
  /// true.
  void SetOneOnOne(bool oneOnOne);
  bool OneOnOne() const { return oneOnOne_; }
  /// A listener's only peer ends for one that waits, as if its connection had timed out, when it
  /// has sent no character for that long since it came, or has met all attempts to send it a
  /// message with silence. In ms; 0, the default: it stays.
  void SetGivesWayAfter(uint32_t silence);

  /// Queues a message, header and data; of a listener, for the addressed peer (NoPeer is
  /// reported without one). False when there is no connection, and as BlockTransfer says.
  bool QueueMessage(ByteView message);
  /// The same from hexadecimal text; at least 20 digits.
  bool QueueHex(std::string_view text);

  /// Messages that wait to be sent; of a listener, to any of its peers.
  size_t OutCount() const;
  /// As BlockTransfer::replyArrives(); of a listener, at any of its peers.
  bool replyArrives(const CHSecsHeader &primary) const;

  void Close() override;
  void Poll() override;
  std::optional<uint32_t> NextPoll() const override;

protected:
  std::shared_ptr<CHHsmsConnection> CreatePeer() override;
  bool holdsUnit() const override { return false; } // all of it is handled as it arrives
  bool acceptsPeer() const override;
  void makeRoom() override;
  void onArrived() override;
  void onConnectionChanged(bool connected) override;

private:
  bool IsOpen() const override { return Connected() && !listening(); }
  size_t InputCount() override { return static_cast<size_t>(BufferedLength()); }
  uint8_t ReadByte() override;
  bool Write(ByteView bytes) override { return transmit(bytes); }

  void OnMessage(ByteView message) override;
  void OnMessageSent(ByteView message, bool sent) override;
  void OnTransferProblem(LinkProblem code, const std::string &text) override;
  void OnTransferTrace(ByteView bytes, TraceDirection direction) override;
  void OnBlock(TraceDirection direction, bool duplicate) override;
  void OnQueuesChanged() override;

  CHSecsISocket &lineAt(size_t index) const { return static_cast<CHSecsISocket &>(PeerAt(index)); }
  std::optional<uint32_t> givesWayIn(uint32_t silence) const;

  FileSystem &files_;
  BlockTransfer transfer_;
  bool oneOnOne_ = true;
  uint32_t givesWayAfter_ = 0;

  // Of a peer.
  uint32_t heardAt_; // tick of what arrived last, or of the beginning
  bool heard_ = false;
  bool metWithSilence_ = false; // a message to it
};

} // namespace velto
