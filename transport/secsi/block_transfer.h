#pragma once

#include "platform/clock.h"
#include "transport/link/connection_sink.h"
#include "transport/link/open_transactions.h"
#include "transport/secsi/block_assembly.h"
#include "transport/secsi/block_trace.h"
#include "transport/secsi/byte_channel.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace velto {

/// What the block transfer engine tells its owner, who may do anything inside a call (but for
/// the last three): send, close the line, pump the loop; but the engine outlives the call.
class BlockTransferOwner {
public:
  virtual ~BlockTransferOwner() = default;
  virtual void OnMessage(ByteView message) = 0;
  /// `sent` false: the message was given up.
  virtual void OnMessageSent(ByteView message, bool sent) = 0;
  virtual void OnTransferProblem(LinkProblem code, const std::string &text) = 0;
  /// Bytes as they went over the line. Only to look at: the engine is in the midst of a step.
  virtual void OnTransferTrace(ByteView bytes, TraceDirection direction) = 0;
  /// A block was acknowledged, sent or received; `duplicate`: it had been received before. Only to
  /// note, likewise.
  virtual void OnBlock(TraceDirection /*direction*/, bool /*duplicate*/) {}
  /// The queues look different, or are about to. Only to note, likewise.
  virtual void OnQueuesChanged() {}
};

/// The block transfer protocol of SECS-I (SEMI E4): messages in and out over a line of single
/// bytes, with handshake, contention, retries, and time-outs. A serial port and a connection are
/// driven by this one engine.
///
/// - Between the blocks of a message the line is idle: a request of the other side that waits is
///   granted, and T4 is looked for. Between two messages there is a tick.
/// - What has arrived is handled before a time-out is looked for, and the time that a report takes
///   its receiver counts for none. T3 waits for a block that arrives, and for the rest of a reply
///   whose first blocks have; T4 guards those.
/// - A block that equals the one accepted last, until T4 after that was last seen, is acknowledged
///   and dropped. With MSEC every block counts.
/// - A first block of a message that has begun begins it anew, after BadMultiBlockNumber.
/// - A message that was sent, or failed, has the header of the block that was sent last.
class BlockTransfer {
public:
  static constexpr size_t kMostQueued = 10'000;
  static constexpr size_t kMostQueuedBytes = size_t{64} * 1024 * 1024;

  /// All of what is given must outlive the engine. The rest of `variant` is the owner's business.
  BlockTransfer(ByteChannel &channel, BlockTransferOwner &owner, const SecsIVariant &variant,
                const Clock &clock, FileSystem &files);

  SecsISettings &settings() { return settings_; }
  const SecsISettings &settings() const { return settings_; }

  /// Puts a message, header and data, at the end of the queue, with its header completed (unless
  /// MSEC is set): E-bit, own device ID, R-bit; a reply of the equipment has no W-bit. False when
  /// it is shorter than a header or has more than 32,767 blocks, or when the queue is full.
  bool QueueMessage(ByteView bytes);

  /// One tick: what arrived, then time-outs and the start of the next block, then T3. To be called
  /// when something arrived as well, and after the channel has looked for what arrived.
  void Poll();
  /// Milliseconds until Poll() has something to do if nothing arrives meanwhile; 0: on the next
  /// tick; nothing: never. Skipping the polls before that changes nothing.
  std::optional<uint32_t> NextPoll() const;

  /// Drops the queue and all that is being received, and starts anew. Reports nothing.
  void Reset();
  /// The line is gone: reports every queued message as failed and starts anew.
  void FailAll();

  /// Whether a reply to `primary` may be on its way in: blocks of it, or a block, have begun to
  /// arrive.
  bool replyArrives(const CHSecsHeader &primary) const {
    return takesBlock() || assembly_.holdsReplyTo(primary);
  }

  // The queues, for those who look at them: of each message the header and up to two bytes of data.
  size_t OutCount() const { return queue_.size(); }
  /// Bytes of all messages that wait to be sent.
  size_t QueuedBytes() const { return queuedBytes_; }
  size_t InCount() const { return assembly_.size(); }
  std::vector<Bytes> OutHeads() const;
  std::vector<Bytes> InHeads() const { return assembly_.heads(); }

private:
  // The states of the protocol (SEMI E4 7.6): idle, line granted and length byte awaited, receiving
  // a block, discarding a bad one until the line is quiet, ENQ sent, block sent.
  enum class State { Idle, Granted, Receiving, Discarding, Requested, Sent };

  void enter(State state);
  uint32_t timeLimit() const;
  uint32_t extended(uint32_t limit) const;
  bool takesBlock() const { return state_ == State::Granted || state_ == State::Receiving; }
  void pollTimers();
  void pollIdle();
  void receiveTimedOut();
  void pollReplyTimer();
  auto replyArrives() const {
    return [this](const OpenTransactions::Entry &entry) {
      return assembly_.holdsReplyTo(entry.header);
    };
  }

  void handle(uint8_t byte);
  void inIdle(uint8_t byte);
  void inGranted(uint8_t byte);
  void inReceiving(uint8_t byte);
  void inRequested(uint8_t byte);
  void inSent(uint8_t byte);
  void unexpected(uint8_t byte);
  void grant();

  void handleBlock();
  void assemble(ByteView block);
  void deliver(ByteView message);

  void completeHeader(Bytes &message) const;
  void queueStream9(uint8_t function, ByteView complaint);
  void startBlock();
  void request();
  void sendBlock();
  void blockAcknowledged();
  void retryOrFail(LinkProblem code, bool reportsLast);
  void failQueue(std::optional<LinkProblem> code);
  void startAnew();

  void writeLine(ByteView bytes);
  void write(uint8_t character);
  void problem(LinkProblem code, const std::string &text = {});

  ByteChannel &channel_;
  BlockTransferOwner &owner_;
  const SecsIVariant &variant_;
  const Clock &clock_;
  SecsISettings settings_;
  BlockTrace trace_;

  State state_ = State::Idle;
  uint32_t since_ = 0;    // tick of the last event of this state
  uint32_t lookedAt_ = 0; // tick at which all that had arrived was known
  bool mayRequest_ = false;
  int retries_ = 0;
  Bytes block_; // being received, without its length byte
  size_t expected_ = 0;
  Bytes lastBlock_; // accepted, to tell a duplicate until T4 has passed
  uint32_t lastBlockAt_ = 0;
  Bytes line_; // a block on its way out

  std::deque<OutgoingMessage> queue_;
  size_t queuedBytes_ = 0;
  BlockAssembly assembly_;
  OpenTransactions open_;
  uint64_t sentCount_ = 0;
};

} // namespace velto
