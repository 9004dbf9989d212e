#pragma once

#include "transport/secsi/block_transfer.h"
#include "transport/secsi/serial_port.h"

#include <string_view>

namespace velto {

/// SECS-I (SEMI E4) on a serial port. Acts the moment something arrives.
///
/// Reports to its sink with an empty address and port 0. A device that vanishes ends in one problem
/// with its `errno` number, after every queued message was reported failed.
class CHSecsI : public CHSerialPort, private BlockTransferOwner {
public:
  explicit CHSecsI(EventLoop &loop, FileSystem &files = systemFiles());

  void SetSink(CHConnectionSink *sink) { sink_ = sink; }
  /// All of it counts at once.
  void SetSettings(const SecsISettings &settings);
  const SecsISettings &settings() const { return transfer_.settings(); }

  /// Empties the queues and closes the port.
  void Close();
  /// Queues a message, header and data. False when the port is not open, and as BlockTransfer says.
  bool QueueMessage(ByteView message);
  /// The same from hexadecimal text; at least 20 digits.
  bool QueueHex(std::string_view text);

  /// One tick of the owner's timer.
  void Poll();
  /// As BlockTransfer::NextPoll().
  std::optional<uint32_t> NextPoll() const;
  /// The queues: of each message the header and up to two bytes of data.
  const BlockTransfer &transfer() const { return transfer_; }

  size_t InputCount() override { return BufferedCount(); }

protected:
  void onArrived() override;

private:
  void reportLost();

  void OnMessage(ByteView message) override;
  void OnMessageSent(ByteView message, bool sent) override;
  void OnTransferProblem(VeltoSecsIError code, const std::string &text) override;
  void OnTransferTrace(ByteView bytes, TraceDirection direction) override;

  CHConnectionSink *sink_ = nullptr;
  BlockTransfer transfer_;
  Lifetime lifetime_;
};

} // namespace velto
