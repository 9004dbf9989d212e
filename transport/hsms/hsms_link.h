#pragma once

#include "transport/link/open_transactions.h"
#include "transport/tcp/connection.h"

#include <array>

namespace velto {

/// The problems that an HSMS link reports. Socket errors are reported by their own numbers.
enum VeltoHsmsError : int16_t {
  ErrorHsmsCannotSend = -1, ///< for the owner, after a failed send
  ErrorHsmsTooLong = -2,    ///< a length of 0 or above the maximum
  ErrorHsmsLonger = -3,     ///< not raised
  ErrorHsmsT8 = -4,         ///< a message stopped arriving
  ErrorHsmsT3 = -5,         ///< no reply; the text is the primary in hexadecimal
  ErrorHsmsT5 = -6,         ///< not raised
  ErrorHsmsT6 = -7,         ///< no control response; the text is the request in hexadecimal
  ErrorHsmsT7 = -8,         ///< connected but not selected
  ErrorHsmsOther = -99,     ///< not raised
};

/// An HSMS connection (SEMI E37) that frames messages and watches over time-outs, and leaves the
/// control messages to its owner: nothing is answered here.
///
/// Times are milliseconds; a changed time counts at once, and NextPoll() with it. Each peer of a
/// listener has its own open transactions, times and Selected flag; the listener gives it its
/// current times with every send.
class CHHsmsLink : public CHHsmsConnection {
public:
  explicit CHHsmsLink(EventLoop &loop) : CHHsmsConnection(loop, ConnectionKind::Hsms) {}

  void SetT3(uint32_t ms) { times_.t3 = ms; } ///< reply
  void SetT5(uint32_t ms) { times_.t5 = ms; } ///< connect separation; kept for the owner
  void SetT6(uint32_t ms) { times_.t6 = ms; } ///< control transaction; 0: T3 counts instead
  void SetT7(uint32_t ms) { times_.t7 = ms; } ///< not selected; 0: never
  void SetT8(uint32_t ms) { times_.t8 = ms; } ///< between arrivals of one message
  uint32_t T3() const { return times_.t3; }
  uint32_t T5() const { return times_.t5; }
  uint32_t T6() const { return times_.t6; }
  uint32_t T7() const { return times_.t7; }
  uint32_t T8() const { return times_.t8; }

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
  /// One tick: reports the first transaction that timed out, or else a T7 time-out, or else hands
  /// over one message.
  void Poll() override;
  std::optional<uint32_t> NextPoll() const override;

protected:
  std::unique_ptr<CHHsmsConnection> CreatePeer() override;
  size_t bufferLimit() const override;
  bool holdsUnit() const override { return holdsFrame(); }
  void onArrived() override;
  void onConnectionChanged(bool connected) override;

private:
  struct Times {
    uint32_t t3 = 45000;
    uint32_t t5 = 10000;
    uint32_t t6 = 5000;
    uint32_t t7 = 10000;
    uint32_t t8 = 5000;
  };
  enum OpenKind : size_t { Data, Control, OpenKindCount };

  CHHsmsLink *findLink(const std::string &ipAddress, int32_t portNumber) const;
  bool isNamed(const std::string &ipAddress, int32_t portNumber) const;
  void setSelected(bool selected);
  void openTransaction(ByteView message);
  uint32_t timeLimit(OpenKind kind) const;
  bool expireTransaction();
  bool expireT7();
  bool hasLength() const;
  void receiveFrame();
  void rejectBuffered(int16_t errorCode, const std::string &text);
  void deliver(ByteView message);
  void trackSelected(const CHSecsHeader &header);
  void closeTransaction(const CHSecsHeader &header, ByteView message);
  bool answers(const CHSecsHeader &header, const CHSecsHeader &request) const;

  Times times_;
  bool selected_ = false;
  uint32_t notSelectedSince_ = 0; // tick, while connected and not selected
  uint32_t lastArrival_ = 0;      // tick, while bytes are buffered
  uint64_t sentCount_ = 0;
  std::array<OpenTransactions, OpenKindCount> open_; // all of a kind share their limit
};

} // namespace velto
