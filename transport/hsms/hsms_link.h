#pragma once

#include "transport/link/open_transactions.h"
#include "transport/tcp/connection.h"

#include <array>

namespace velto {

/// The timers of HSMS (SEMI E37 9.2) in milliseconds.
struct HsmsTimes {
  uint32_t t3 = 45000; ///< reply
  uint32_t t5 = 10000; ///< connect separation; kept for the owner
  uint32_t t6 = 5000;  ///< control transaction; 0: T3 counts instead
  uint32_t t7 = 10000; ///< not selected; 0: never
  uint32_t t8 = 5000;  ///< between arrivals of one message
};

/// A bare HSMS connection (SEMI E37): frames messages, watches over time-outs, and leaves the
/// control messages to its owner. Nothing is answered here.
///
/// Its reports are those of the time-outs (with the message that got no answer in hexadecimal) and
/// LengthTooLong, for a length of 0 as well. Each peer of a listener has its own open transactions
/// and Selected flag.
class CHHsmsLink : public CHHsmsConnection {
public:
  explicit CHHsmsLink(EventLoop &loop) : CHHsmsConnection(loop, ConnectionKind::Hsms) {}

  const HsmsTimes &times() const { return times_; }
  /// Changed times count at once, for the peers of a listener too.
  void SetTimes(const HsmsTimes &times);

  /// Whether the connection (of a listener: the addressed peer) is selected. A new connection is
  /// not; received Select messages set it; only the owner clears it.
  bool Selected() const { return Selected(IPAddress(), PortNumber()); }
  void SetSelected(bool selected) { SetSelected(IPAddress(), PortNumber(), selected); }
  /// The same for a named connection; false and no effect when there is none of that name.
  bool Selected(const std::string &ipAddress, int32_t portNumber) const;
  void SetSelected(const std::string &ipAddress, int32_t portNumber, bool selected);

  /// Requests that wait for their answer; of a listener: those of all peers.
  size_t OpenTransactionCount() const;

  /// Sends a whole frame (length, header and body), whose header goes out as it is. A request that
  /// was sent opens a transaction.
  int32_t SendFrame(ByteView bytes) override;
  /// One tick: hands over one message, or reports the first transaction that timed out, or else a
  /// T7 time-out. What had arrived when that was noticed goes first.
  void Poll() override;
  std::optional<uint32_t> NextPoll() const override;

protected:
  std::shared_ptr<CHHsmsConnection> CreatePeer() override;
  size_t bufferLimit() const override;
  bool holdsUnit() const override { return holdsFrame(); }
  void onArrived() override;
  void onConnectionChanged(bool connected) override;

private:
  enum OpenKind : size_t { Data, Control, OpenKindCount };

  CHHsmsLink *findLink(const std::string &ipAddress, int32_t portNumber) const;
  bool isNamed(const std::string &ipAddress, int32_t portNumber) const;
  void setSelected(bool selected);
  void openTransaction(ByteView message);
  uint32_t timeLimit(OpenKind kind) const;
  void noteTimeouts();
  std::optional<uint32_t> nextTimeout() const;
  bool expireTransaction();
  bool expireT7();
  bool hasLength() const;
  void receiveFrame();
  void rejectBuffered(const Problem &problem);
  void deliver(ByteView message);
  void trackSelected(const CHSecsHeader &header);
  void closeTransaction(const CHSecsHeader &header, ByteView message);

  HsmsTimes times_;
  bool selected_ = false;
  uint32_t notSelectedSince_ = 0; // tick, while connected and not selected
  uint32_t lastArrival_ = 0;      // tick, while bytes are buffered
  uint64_t sentCount_ = 0;
  std::optional<int32_t> ahead_; // while a time-out is due: bytes that are handed over before it
  std::array<OpenTransactions, OpenKindCount> open_; // all of a kind share their limit
};

} // namespace velto
