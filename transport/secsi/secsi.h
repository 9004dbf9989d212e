#pragma once

#include "base/handle.h"
#include "transport/link/statistics.h"
#include "transport/link/ticker.h"
#include "transport/secsi/block_transfer.h"
#include "transport/secsi/serial_port.h"

#include <memory>
#include <string_view>

namespace velto {

/// SECS-I (SEMI E4) on a serial port. Acts the moment something arrives, and ticks by itself. Owned
/// through a Handle. The rules of the line are those of BlockTransfer.
///
/// Reports to its sink with an empty address and port 0. A device that vanishes ends in one problem
/// with its `errno` number, after every queued message was reported failed.
class CHSecsI final : public CHSerialPort,
                      public std::enable_shared_from_this<CHSecsI>,
                      private BlockTransferOwner,
                      private Ticker::Client {
public:
  explicit CHSecsI(EventLoop &loop, FileSystem &files = systemFiles(),
                   const SerialPorts &ports = systemPorts());

  /// Null: nobody hears of anything.
  void SetSink(CHConnectionSink *sink) { sink_ = sink != nullptr ? sink : &silentSink(); }
  /// All of it counts at once.
  void SetSettings(const SecsISettings &settings);
  const SecsISettings &settings() const { return transfer_.settings(); }

  /// As CHSerialPort::Open().
  bool Open(const std::string &portName, int32_t baudRate, int16_t byteSize, int16_t parity,
            int16_t stopBits);
  /// What was carried since the engine was made, over all openings.
  const LinkCounters &counters() const { return counters_; }
  /// Empties the queues and closes the port.
  void Close();
  /// The owner gives the engine up: it closes and never reports again.
  void End();
  /// Queues a message, header and data. False when the port is not open, and as BlockTransfer says.
  bool QueueMessage(ByteView message);
  /// The same from hexadecimal text; at least 20 digits.
  bool QueueHex(std::string_view text);

  /// The engine is part of a larger one, which calls Poll(): it ticks by itself no longer.
  void TickWith(Ticker &whole) { ticker_.follow(&whole); }
  /// One tick, which comes by itself. Reads what the device has before it looks for time-outs.
  void Poll();
  /// As BlockTransfer::NextPoll().
  std::optional<uint32_t> NextPoll() const;
  /// The queues: of each message the header and up to two bytes of data.
  const BlockTransfer &transfer() const { return transfer_; }

  size_t InputCount() override { return BufferedCount(); }

private:
  std::shared_ptr<void> hold() override { return shared_from_this(); }
  void tick() override { Poll(); }
  std::optional<uint32_t> nextTick() const override { return NextPoll(); }
  void onArrived() override;
  void work();
  void reportLost();
  void report(const Problem &problem);

  void OnMessage(ByteView message) override;
  void OnMessageSent(ByteView message, bool sent) override;
  void OnTransferProblem(LinkProblem code, const std::string &text) override;
  void OnTransferTrace(ByteView bytes, TraceDirection direction) override;
  void OnBlock(TraceDirection direction, bool duplicate) override;
  void OnQueuesChanged() override;

  CHConnectionSink *sink_; // never null
  LinkCounters counters_;
  BlockTransfer transfer_;
  Ticker ticker_;
};

} // namespace velto
