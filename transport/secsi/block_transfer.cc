#include "transport/secsi/block_transfer.h"

#include "base/text.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace velto {

namespace {

constexpr uint8_t kBinaryItem = 0x21; // with one length byte

} // namespace

BlockTransfer::BlockTransfer(ByteChannel &channel, BlockTransferOwner &owner,
                             const SecsIVariant &variant, const Clock &clock, FileSystem &files)
    : channel_(channel), owner_(owner), variant_(variant), clock_(clock),
      trace_(settings_, variant_, clock, files) {}

// Ticks -----------------------------------------------------------------------------------------

void BlockTransfer::Poll() {
  if (!channel_.IsOpen()) {
    open_.clear();
    return;
  }
  lookedAt_ = clock_.ticks();
  mayRequest_ = state_ == State::Idle;
  while (channel_.IsOpen() && channel_.InputCount() > 0)
    handle(channel_.ReadByte());
  if (channel_.IsOpen())
    pollTimers();
  if (channel_.IsOpen())
    pollReplyTimer();
}

std::optional<uint32_t> BlockTransfer::NextPoll() const {
  if (!channel_.IsOpen())
    return std::nullopt;
  if (channel_.InputCount() > 0 || (state_ == State::Idle && !queue_.empty()))
    return 0;
  const uint32_t now = clock_.ticks();
  std::optional<uint32_t> next;
  if (!takesBlock())
    next = open_.next(now, settings_.t3, replyArrives());
  if (state_ != State::Idle)
    return sooner(next, timeLeft(now, since_, timeLimit()));
  if (!lastBlock_.empty())
    next = sooner(next, timeLeft(now, lastBlockAt_, settings_.t4));
  if (const auto expiry = assembly_.nextExpiry(now, settings_.t4))
    next = sooner(next, *expiry);
  return next;
}

void BlockTransfer::enter(State state) {
  state_ = state;
  since_ = clock_.ticks();
  mayRequest_ = false;
}

// With MSEC the length byte, too, has to follow within T1.
uint32_t BlockTransfer::timeLimit() const {
  switch (state_) {
  case State::Granted:
    return settings_.msec ? settings_.t1 : settings_.t2;
  case State::Receiving:
  case State::Discarding:
    return settings_.t1;
  default:
    return settings_.t2;
  }
}

// A time limit as it counts in this tick: it has run out when it had as this tick began. What came
// while reports were at work is not known yet.
uint32_t BlockTransfer::extended(uint32_t limit) const {
  const uint32_t busy = clock_.ticks() - lookedAt_;
  return limit + std::min(busy, std::numeric_limits<uint32_t>::max() - limit);
}

void BlockTransfer::pollTimers() {
  if (state_ == State::Idle)
    pollIdle();
  else if (timeLeft(clock_.ticks(), since_, extended(timeLimit())) != 0)
    return;
  else if (state_ == State::Requested || state_ == State::Sent)
    retryOrFail(LinkProblem::T2, false);
  else
    receiveTimedOut();
}

void BlockTransfer::pollIdle() {
  const uint32_t now = clock_.ticks();
  if (assembly_.nextExpiry(now, settings_.t4) == 0U)
    owner_.OnQueuesChanged();
  assembly_.forgetComplete(now, settings_.t4);
  if (timeLeft(now, lastBlockAt_, extended(settings_.t4)) == 0)
    lastBlock_.clear();
  if (const auto header = assembly_.expire(now, extended(settings_.t4)))
    problem(LinkProblem::T4, toHex(*header));
  else if (mayRequest_ && !queue_.empty())
    startBlock();
}

void BlockTransfer::receiveTimedOut() {
  const bool noLength = state_ == State::Granted && !settings_.msec;
  if (state_ == State::Receiving)
    trace_.received(block_);
  enter(State::Idle);
  trace_.line("Sent NAK");
  write(kNak);
  problem(noLength ? LinkProblem::T2 : LinkProblem::T1);
}

void BlockTransfer::pollReplyTimer() {
  if (takesBlock())
    return;
  const auto primary = open_.takeDue(clock_.ticks(), extended(settings_.t3), replyArrives());
  if (!primary)
    return;
  if (settings_.equipment && variant_.sendsS9F9)
    queueStream9(9, primary->message);
  problem(LinkProblem::T3, toHex(primary->message));
}

// Sending ---------------------------------------------------------------------------------------

bool BlockTransfer::QueueMessage(ByteView bytes) {
  if (bytes.size() < CHSecsHeader::kSize || blockCount(bytes.size()) > kMostBlocks ||
      queue_.size() >= kMostQueued || queuedBytes_ + bytes.size() > kMostQueuedBytes)
    return false;
  Bytes message(bytes.begin(), bytes.end());
  if (!settings_.msec)
    completeHeader(message);
  queuedBytes_ += message.size();
  queue_.emplace_back(std::move(message));
  owner_.OnQueuesChanged();
  return true;
}

void BlockTransfer::completeHeader(Bytes &message) const {
  CHSecsHeader header = *readHeader(message);
  header.blockWord = variant_.numbersSingleBlocks ? kEBit | 1U : header.blockWord | kEBit;
  if (settings_.equipment && header.function() % 2 == 0)
    header.setWbit(false);
  if (!settings_.carriesOnly)
    header.idWord = (settings_.deviceId & kDeviceIdMask) | (settings_.master ? kDirectionBit : 0U);
  EncodeHeader(header, std::span(message).first<CHSecsHeader::kSize>());
}

void BlockTransfer::queueStream9(uint8_t function, ByteView complaint) {
  CHSecsHeader header;
  header.hsms = false;
  header.Reset(9, function);
  header.setWbit(false);
  Bytes message(CHSecsHeader::kSize);
  EncodeHeader(header, std::span(message).first<CHSecsHeader::kSize>());
  const ByteView mhead = complaint.first(CHSecsHeader::kSize);
  message.insert(message.end(), {kBinaryItem, CHSecsHeader::kSize});
  message.insert(message.end(), mhead.begin(), mhead.end());
  QueueMessage(message);
}

void BlockTransfer::startBlock() {
  retries_ = 0;
  request();
}

void BlockTransfer::request() {
  enter(State::Requested);
  trace_.line("Sent ENQ");
  write(kEnq);
}

void BlockTransfer::sendBlock() {
  line_.clear();
  queue_.front().appendBlock(line_);
  enter(State::Sent);
  trace_.sent(line_, queue_.front().isFirstOfSeveral());
  writeLine(line_);
}

// A message that goes on asks for the line again as soon as all that waits has been handled;
// between messages the other side has its chance.
void BlockTransfer::blockAcknowledged() {
  enter(State::Idle);
  mayRequest_ = queue_.front().next();
  owner_.OnBlock(TraceDirection::Sent, false);
  if (mayRequest_)
    return;
  const OutgoingMessage sent = std::move(queue_.front());
  queue_.pop_front();
  queuedBytes_ -= sent.message().size();
  owner_.OnQueuesChanged();
  const CHSecsHeader header = *readHeader(sent.message());
  if (!settings_.msec && !settings_.carriesOnly && header.wbit() && header.function() % 2 != 0)
    open_.open(header, sent.message(), clock_.ticks(), sentCount_++);
  owner_.OnMessageSent(sent.message(), true);
}

// A T2 time-out that ends the last attempt is not reported: the failed message tells of it.
void BlockTransfer::retryOrFail(LinkProblem code, bool reportsLast) {
  if (++retries_ > settings_.retry) {
    failQueue(reportsLast ? std::optional(code) : std::nullopt);
  } else {
    request();
    problem(code);
  }
}

// A message that fails takes those behind it along. They leave the queue before the first report,
// so that what the owner queues meanwhile stays.
void BlockTransfer::failQueue(std::optional<LinkProblem> code) {
  enter(State::Idle);
  const auto failed = std::exchange(queue_, {});
  owner_.OnQueuesChanged();
  queuedBytes_ = 0;
  if (code)
    problem(*code);
  for (const OutgoingMessage &message : failed)
    owner_.OnMessageSent(message.message(), false);
}

void BlockTransfer::Reset() {
  queue_.clear();
  queuedBytes_ = 0;
  startAnew();
}

void BlockTransfer::FailAll() {
  startAnew();
  failQueue({});
}

void BlockTransfer::startAnew() {
  enter(State::Idle);
  owner_.OnQueuesChanged();
  assembly_.clear();
  open_.clear();
  lastBlock_.clear();
}

std::vector<Bytes> BlockTransfer::OutHeads() const {
  std::vector<Bytes> heads;
  for (const OutgoingMessage &message : queue_) {
    const ByteView head =
        message.message().first(std::min(message.message().size(), CHSecsHeader::kSize + 2));
    heads.emplace_back(head.begin(), head.end());
  }
  return heads;
}

// The line --------------------------------------------------------------------------------------

// What the line does not take is lost; T2 notices.
void BlockTransfer::writeLine(ByteView bytes) {
  owner_.OnTransferTrace(bytes, TraceDirection::Sent);
  channel_.Write(bytes);
}

void BlockTransfer::write(uint8_t character) { writeLine({&character, 1}); }

void BlockTransfer::problem(LinkProblem code, const std::string &text) {
  owner_.OnTransferProblem(code, text);
}

} // namespace velto
