#include "transport/hsms/hsms_link.h"

#include "base/text.h"
#include "transport/hsms/hsms_frame.h"
#include "transport/link/deadline.h"

#include <algorithm>
#include <utility>

namespace velto {

namespace {

std::string lengthText(const char *what, uint32_t length, uint32_t maxLength) {
  return formatText("%s buffer is full.\nm_nLength=%d, m_nMaxLength=%d", what,
                    static_cast<int>(length), static_cast<int>(maxLength));
}

} // namespace

std::shared_ptr<CHHsmsConnection> CHHsmsLink::CreatePeer() {
  auto peer = std::make_shared<CHHsmsLink>(loop());
  copySettings(*peer);
  peer->times_ = times_;
  return peer;
}

void CHHsmsLink::SetTimes(const HsmsTimes &times) {
  times_ = times;
  for (size_t i = 0; i < PeerCount(); ++i)
    static_cast<CHHsmsLink &>(PeerAt(i)).times_ = times;
  arm();
}

// A frame of the greatest length must fit with its length field.
size_t CHHsmsLink::bufferLimit() const { return size_t{MaxLength()} + kFrameLengthSize; }

void CHHsmsLink::onArrived() {
  lastArrival_ = ticks();
  wake();
}

void CHHsmsLink::onConnectionChanged(bool connected) {
  if (connected)
    selected_ = false;
  notSelectedSince_ = ticks();
  CHHsmsConnection::onConnectionChanged(connected);
}

// Selected --------------------------------------------------------------------------------------

CHHsmsLink *CHHsmsLink::findLink(const std::string &ipAddress, int32_t portNumber) const {
  return static_cast<CHHsmsLink *>(FindPeer(ipAddress, portNumber));
}

bool CHHsmsLink::isNamed(const std::string &ipAddress, int32_t portNumber) const {
  return ipAddress == IPAddress() && portNumber == PortNumber();
}

bool CHHsmsLink::Selected(const std::string &ipAddress, int32_t portNumber) const {
  if (!listening())
    return selected_ && isNamed(ipAddress, portNumber);
  const CHHsmsLink *peer = findLink(ipAddress, portNumber);
  return peer != nullptr && peer->selected_;
}

void CHHsmsLink::SetSelected(const std::string &ipAddress, int32_t portNumber, bool selected) {
  if (CHHsmsLink *peer = findLink(ipAddress, portNumber); peer != nullptr)
    peer->setSelected(selected);
  else if (!listening() && isNamed(ipAddress, portNumber))
    setSelected(selected);
}

void CHHsmsLink::setSelected(bool selected) {
  if (selected == selected_)
    return;
  selected_ = selected;
  notSelectedSince_ = ticks();
  markChanged();
  arm();
}

void CHHsmsLink::trackSelected(const CHSecsHeader &header) {
  if (!header.isControl())
    return;
  const auto type = static_cast<SType>(header.sType());
  if (type == SType::SelectReq || (type == SType::SelectRsp && header.functionByte <= 1))
    setSelected(true);
}

// Transactions ----------------------------------------------------------------------------------

int32_t CHHsmsLink::SendFrame(ByteView bytes) {
  if (listening()) {
    CHHsmsLink *peer = findLink(IPAddress(), PortNumber());
    return peer != nullptr ? peer->SendFrame(bytes)
                           : CHHsmsConnection::SendFrame(bytes); // counts that
  }
  const int32_t sent = CHHsmsConnection::SendFrame(bytes);
  if (sent > static_cast<int32_t>(kFrameLengthSize)) {
    ++counted().framesOut;
    openTransaction(bytes.subspan(kFrameLengthSize));
  }
  return sent;
}

// The owner need not be woken for a transaction that times out after another one of its kind.
void CHHsmsLink::openTransaction(ByteView message) {
  const auto header = readHeader(message);
  if (!header)
    return;
  counted().rejectsOut += isReject(*header) ? 1 : 0;
  const bool isPrimary = header->sType() == 0 && awaitsReply(*header);
  if (!isPrimary && !isControlRequest(*header))
    return;
  OpenTransactions &list = open_[isPrimary ? Data : Control];
  list.open(*header, message, ticks(), sentCount_++);
  markChanged();
  if (list.size() == 1)
    arm();
}

size_t CHHsmsLink::OpenTransactionCount() const {
  size_t count = open_[Data].size() + open_[Control].size();
  for (size_t i = 0; i < PeerCount(); ++i)
    count += static_cast<const CHHsmsLink &>(PeerAt(i)).OpenTransactionCount();
  return count;
}

uint32_t CHHsmsLink::timeLimit(OpenKind kind) const {
  return kind == Control && times_.t6 != 0 ? std::min(times_.t3, times_.t6) : times_.t3;
}

// Reports at most one transaction a tick, the one sent first.
bool CHHsmsLink::expireTransaction() {
  const uint32_t now = ticks();
  std::optional<OpenKind> due;
  for (const OpenKind kind : {Data, Control})
    if (open_[kind].next(now, timeLimit(kind)) == 0U &&
        (!due || open_[kind].first().number < open_[*due].first().number))
      due = kind;
  if (!due)
    return false;
  const OpenTransactions::Entry expired = open_[*due].takeFirst();
  const bool isT6 =
      due == Control && times_.t6 != 0 && timeLeft(now, expired.sentAt, times_.t6) == 0;
  noteTimeouts();
  markChanged();
  reportProblem({isT6 ? LinkProblem::T6 : LinkProblem::T3, toHex(expired.message)});
  return true;
}

void CHHsmsLink::closeTransaction(const CHSecsHeader &header, ByteView message) {
  const auto isResponse = [&](const OpenTransactions::Entry &request) {
    return times_.t6 == 0 ? isReply(header, request.header)
                          : isControlResponse(header, request.header);
  };
  for (OpenTransactions &list : open_)
    if (header.sType() == 0 ? list.closeAnswered(header, message) : list.closeFirst(isResponse))
      return;
}

// Ticks -----------------------------------------------------------------------------------------

void CHHsmsLink::Poll() {
  if (listening()) {
    CHHsmsConnection::Poll();
    return;
  }
  if (endBroken())
    return;
  noteTimeouts();
  const bool judged = ahead_ && (*ahead_ <= 0 || !holdsFrame());
  if (judged && (expireTransaction() || expireT7()))
    return;
  receiveFrame();
  reportSocketError();
}

// What has arrived before a time-out is noticed may be what was waited for, and goes first. What
// arrives afterwards does not: a remote end that never pauses puts off no time-out for good.
void CHHsmsLink::noteTimeouts() {
  if (nextTimeout() != 0U)
    ahead_.reset();
  else if (!ahead_)
    ahead_ = BufferedLength();
}

bool CHHsmsLink::expireT7() {
  const uint32_t now = ticks();
  if (!Connected() || selected_ || times_.t7 == 0 ||
      timeLeft(now, notSelectedSince_, times_.t7) != 0)
    return false;
  notSelectedSince_ = now;
  noteTimeouts();
  reportProblem({LinkProblem::T7});
  return true;
}

bool CHHsmsLink::hasLength() const {
  return BufferedLength() >= static_cast<int32_t>(kFrameLengthSize);
}

void CHHsmsLink::receiveFrame() {
  if (!Connected() && !holdsFrame())
    dropReceived(); // the rest will not come
  if (!hasLength())
    return;
  const uint32_t length = PeekLength();
  const bool tooLong = length > MaxLength();
  if (!holdsFrame()) {
    if (timeLeft(ticks(), lastArrival_, times_.t8) != 0)
      return;
    if (tooLong)
      rejectBuffered({LinkProblem::LengthTooLong,
                      lengthText("Receive not completed and", length, MaxLength())});
    else
      rejectBuffered({LinkProblem::T8});
  } else if (length == 0 || tooLong) {
    rejectBuffered(
        {LinkProblem::LengthTooLong, lengthText("Receive completed but", length, MaxLength())});
  } else {
    ByteQueue frame = takeReceived(length + kFrameLengthSize);
    if (ahead_)
      *ahead_ -= static_cast<int32_t>(frame.size());
    deliver(frame.view().subspan(kFrameLengthSize));
    giveBack(std::move(frame));
  }
}

void CHHsmsLink::rejectBuffered(const Problem &problem) {
  dropReceived();
  ahead_.reset();
  reportProblem(problem);
}

// The transaction is closed first: the owner may pump the loop or destroy the link in the report.
void CHHsmsLink::deliver(ByteView message) {
  ++counted().framesIn;
  if (const auto header = readHeader(message)) {
    counted().rejectsIn += isReject(*header) ? 1 : 0;
    trackSelected(*header);
    closeTransaction(*header, message);
  }
  markChanged();
  reportReceived(message);
}

// Of those that wait for the remote end's messages.
std::optional<uint32_t> CHHsmsLink::nextTimeout() const {
  const uint32_t now = ticks();
  std::optional<uint32_t> next;
  if (Connected() && !selected_ && times_.t7 != 0)
    next = timeLeft(now, notSelectedSince_, times_.t7);
  for (const OpenKind kind : {Data, Control})
    if (const auto wait = open_[kind].next(now, timeLimit(kind)))
      next = sooner(next, *wait);
  return next;
}

std::optional<uint32_t> CHHsmsLink::NextPoll() const {
  if (listening() || socketErrorPending())
    return CHHsmsConnection::NextPoll();
  if (!hasLength())
    return nextTimeout();
  return sooner(nextTimeout(), holdsFrame() ? 0 : timeLeft(ticks(), lastArrival_, times_.t8));
}

} // namespace velto
