#include "transport/secsi/block_transfer.h"

#include "base/text.h"

#include <algorithm>
#include <bit>

// What comes over the line: its characters by the state of the protocol, and the blocks.

namespace velto {

namespace {

std::string headerText(ByteView block) { return toHex(block.first(CHSecsHeader::kSize)); }

// Of the data; the eighth bit of each byte makes it so.
bool hasEvenParity(ByteView block) {
  return std::ranges::all_of(block.subspan(CHSecsHeader::kSize),
                             [](uint8_t byte) { return std::popcount(byte) % 2 == 0; });
}

} // namespace

// Input -----------------------------------------------------------------------------------------

void BlockTransfer::handle(uint8_t byte) {
  owner_.OnTransferTrace({&byte, 1}, TraceDirection::Received);
  switch (state_) {
  case State::Idle:
    inIdle(byte);
    break;
  case State::Granted:
    inGranted(byte);
    break;
  case State::Receiving:
    inReceiving(byte);
    break;
  case State::Discarding:
    since_ = clock_.ticks();
    break;
  case State::Requested:
    inRequested(byte);
    break;
  case State::Sent:
    inSent(byte);
    break;
  }
}

void BlockTransfer::inIdle(uint8_t byte) {
  since_ = clock_.ticks();
  if (byte == kEnq) {
    trace_.line("Received ENQ");
    grant();
  } else {
    unexpected(byte);
  }
}

void BlockTransfer::inGranted(uint8_t byte) {
  const bool inRange = byte >= kSmallestBlock && byte <= kLargestBlock;
  trace_.lengthByte(byte, inRange);
  if (inRange) {
    expected_ = byte + kSumSize;
    block_.clear();
    enter(State::Receiving);
  } else {
    enter(State::Discarding);
    problem(LinkProblem::BadBlockLength);
  }
}

void BlockTransfer::inReceiving(uint8_t byte) {
  since_ = clock_.ticks();
  block_.push_back(byte);
  if (block_.size() == expected_)
    handleBlock();
}

// In contention the slave gives way; the master's own request stands (SEMI E4 7.5).
void BlockTransfer::inRequested(uint8_t byte) {
  if (byte == kEot) {
    trace_.line("Received EOT");
    sendBlock();
  } else if (byte == kEnq) {
    trace_.line("Received ENQ (Contention)");
    if (!settings_.master)
      grant();
  } else {
    unexpected(byte);
  }
}

void BlockTransfer::inSent(uint8_t byte) {
  if (byte == kAck) {
    trace_.line("Received ACK (Transferred successfully)\r\n");
    blockAcknowledged();
  } else if (byte == kNak) {
    trace_.line("Received NAK");
    retryOrFail(LinkProblem::Nak, true);
  } else {
    trace_.unexpected(byte);
    retryOrFail(LinkProblem::UnexpectedCharacter, true);
  }
}

void BlockTransfer::unexpected(uint8_t byte) {
  trace_.unexpected(byte);
  problem(LinkProblem::UnexpectedCharacter);
}

void BlockTransfer::grant() {
  enter(State::Granted);
  trace_.line("Sent EOT");
  write(kEot);
}

// Receiving a block -----------------------------------------------------------------------------

// The block moves out of the way first: a report may pump the loop, and so receive the next one.
void BlockTransfer::handleBlock() {
  trace_.received(block_);
  const ByteView block = ByteView(block_).first(expected_ - kSumSize);
  if (blockSum(block) != readBigEndian<uint16_t>(block.data() + block.size())) {
    enter(State::Discarding);
    trace_.line("Sum error");
    problem(LinkProblem::BadChecksum, headerText(block));
    return;
  }
  if (settings_.msec && !hasEvenParity(block)) {
    enter(State::Idle);
    trace_.line("Sent NAK (Parity error)");
    write(kNak);
    problem(LinkProblem::BadParity);
    return;
  }
  enter(State::Idle);
  trace_.line("Sent ACK (Transferred successfully)\r\n");
  write(kAck);
  block_.resize(block.size());
  const uint32_t now = clock_.ticks();
  const bool duplicate = !settings_.msec && block_ == lastBlock_;
  lastBlockAt_ = now;
  owner_.OnBlock(TraceDirection::Received, duplicate);
  if (duplicate) {
    assembly_.repeat(block_, now);
    return; // sent again because its acknowledge was lost (SEMI E4 9.4.3)
  }
  lastBlock_.swap(block_);
  assemble(lastBlock_);
}

void BlockTransfer::assemble(ByteView block) {
  const uint32_t now = clock_.ticks();
  owner_.OnQueuesChanged();
  if (settings_.msec) {
    assembly_.remember(block, now);
    owner_.OnMessage(Bytes(block.begin(), block.end()));
    return;
  }
  const BlockAssembly::Outcome outcome = assembly_.add(block, now);
  if (outcome.anew) {
    problem(LinkProblem::BadMultiBlockNumber, headerText(block));
    if (!channel_.IsOpen())
      return;
  }
  switch (outcome.result) {
  case BlockAssembly::Result::Incomplete:
    if (const auto header = assembly_.shed())
      problem(LinkProblem::T4, toHex(*header));
    break;
  case BlockAssembly::Result::Complete:
    deliver(outcome.message);
    break;
  case BlockAssembly::Result::BadMultiBlockNumber:
    problem(LinkProblem::BadMultiBlockNumber, headerText(block));
    break;
  case BlockAssembly::Result::BadBlockNumber:
    problem(LinkProblem::BadBlockNumber, headerText(block));
    break;
  }
}

void BlockTransfer::deliver(ByteView message) {
  const CHSecsHeader header = *readHeader(message);
  if (settings_.equipment && ((header.idWord ^ settings_.deviceId) & kDeviceIdMask) != 0) {
    queueStream9(1, message);
    problem(LinkProblem::BadDeviceId);
    return;
  }
  open_.closeAnswered(header, message);
  owner_.OnMessage(message);
}

} // namespace velto
