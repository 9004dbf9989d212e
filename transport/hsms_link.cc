#include "transport/hsms_link.h"

#include "platform/text.h"
#include "transport/deadline.h"
#include "transport/hsms_frame.h"

#include <algorithm>
#include <utility>

namespace velto {

namespace {

std::string lengthText(const char *what, uint32_t length, uint32_t maxLength) {
  return formatText("%s buffer is full.\nm_nLength=%d, m_nMaxLength=%d", what,
                    static_cast<int>(length), static_cast<int>(maxLength));
}

} // namespace

std::unique_ptr<CHHsmsConnection> CHHsmsLink::CreatePeer() {
  auto peer = std::make_unique<CHHsmsLink>(loop());
  copySettings(*peer);
  peer->times_ = times_;
  return peer;
}

// A frame of the greatest length must fit with its length field.
size_t CHHsmsLink::bufferLimit() const { return size_t{MaxLength()} + kFrameLengthSize; }

void CHHsmsLink::onArrived() {
  lastArrival_ = ticks();
  wake();
}

void CHHsmsLink::onConnectionChanged(bool connected) {
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
  wake();
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
    if (peer == nullptr)
      return 0;
    peer->times_ = times_;
    return peer->SendFrame(bytes);
  }
  if (Connected() && bytes.size() > kFrameLengthSize)
    openTransaction(bytes.subspan(kFrameLengthSize));
  return CHHsmsConnection::SendFrame(bytes);
}

// The owner need not be woken for a transaction that times out after another one of its kind.
void CHHsmsLink::openTransaction(ByteView message) {
  const auto header = readHeader(message);
  if (!header)
    return;
  const bool isPrimary = header->sType() == 0 && header->wbit() && header->function() % 2 != 0;
  if (!isPrimary && !isControlRequest(*header))
    return;
  const bool first = isPrimary ? open_.size() == openControls_ : openControls_ == 0;
  openControls_ += isPrimary ? 0 : 1;
  open_.push_back({ticks(), *header, Bytes(message.begin(), message.end())});
  markChanged();
  if (first)
    wake();
}

Bytes CHHsmsLink::takeTransaction(OpenList::iterator position) {
  Bytes message = std::move(position->message);
  openControls_ -= position->isControl() ? 1 : 0;
  open_.erase(position);
  return message;
}

size_t CHHsmsLink::OpenTransactionCount() const {
  size_t count = open_.size();
  for (size_t i = 0; i < PeerCount(); ++i)
    count += static_cast<const CHHsmsLink &>(Peer(i)).open_.size();
  return count;
}

uint32_t CHHsmsLink::timeLimit(const OpenTransaction &transaction) const {
  return transaction.isControl() && times_.t6 != 0 ? std::min(times_.t3, times_.t6) : times_.t3;
}

// Reports at most one transaction a tick, the one sent first.
bool CHHsmsLink::expireTransaction() {
  const uint32_t now = ticks();
  const auto found = std::find_if(open_.begin(), open_.end(), [&](const OpenTransaction &entry) {
    return timeLeft(now, entry.sentAt, timeLimit(entry)) == 0;
  });
  if (found == open_.end())
    return false;
  const bool isT6 =
      found->isControl() && times_.t6 != 0 && timeLeft(now, found->sentAt, times_.t6) == 0;
  const Bytes message = takeTransaction(found);
  markChanged();
  reportProblem(isT6 ? ErrorHsmsT6 : ErrorHsmsT3, toHex(message));
  return true;
}

// A stream 9 message ends the transaction of the message that its MHEAD names (SEMI E5 10.13).
void CHHsmsLink::closeTransaction(const CHSecsHeader &header, ByteView message) {
  const auto closeFirst = [this](const auto &isAnswered) {
    const auto found = std::find_if(open_.begin(), open_.end(), isAnswered);
    if (found != open_.end())
      takeTransaction(found);
  };
  if (header.sType() != 0 || header.stream() != 9) {
    closeFirst([&](const OpenTransaction &entry) { return answers(header, entry); });
  } else if (const auto mhead = readMhead(message)) {
    closeFirst([&](const OpenTransaction &entry) { return isSameMessage(*mhead, entry.header); });
  }
}

bool CHHsmsLink::answers(const CHSecsHeader &header, const OpenTransaction &transaction) const {
  if (times_.t6 == 0)
    return isReply(header, transaction.header);
  return isControlResponse(header, transaction.header) ||
         (header.sType() == 0 && isReply(header, transaction.header));
}

// Ticks -----------------------------------------------------------------------------------------

void CHHsmsLink::Poll() {
  if (listening()) {
    CHHsmsConnection::Poll();
    return;
  }
  if (expireTransaction())
    return;
  if (expireT7())
    return;
  Lifetime::Watch alive(lifetime());
  receiveFrame();
  if (alive)
    reportSocketError();
}

bool CHHsmsLink::expireT7() {
  const uint32_t now = ticks();
  if (!Connected() || selected_ || times_.t7 == 0 ||
      timeLeft(now, notSelectedSince_, times_.t7) != 0)
    return false;
  notSelectedSince_ = now;
  reportProblem(ErrorHsmsT7, {});
  return true;
}

void CHHsmsLink::receiveFrame() {
  const size_t buffered = static_cast<size_t>(BufferedLength());
  if (buffered < kFrameLengthSize)
    return;
  const uint32_t length = PeekLength();
  const bool tooLong = length > MaxLength();
  if (buffered < length + uint64_t{kFrameLengthSize}) {
    if (timeLeft(ticks(), lastArrival_, times_.t8) != 0)
      return;
    if (tooLong)
      rejectBuffered(ErrorHsmsTooLong,
                     lengthText("Receive not completed and", length, MaxLength()));
    else
      rejectBuffered(ErrorHsmsT8, {});
  } else if (length == 0 || tooLong) {
    rejectBuffered(ErrorHsmsTooLong, lengthText("Receive completed but", length, MaxLength()));
  } else {
    Lifetime::Watch alive(lifetime());
    ByteQueue frame = takeReceived(length + kFrameLengthSize);
    deliver(frame.view().subspan(kFrameLengthSize));
    if (alive)
      giveBack(std::move(frame));
  }
}

void CHHsmsLink::rejectBuffered(int16_t errorCode, const std::string &text) {
  dropReceived();
  reportProblem(errorCode, text);
}

// The transaction is closed first: the owner may pump the loop or destroy the link in the report.
void CHHsmsLink::deliver(ByteView message) {
  if (const auto header = readHeader(message)) {
    trackSelected(*header);
    closeTransaction(*header, message);
  }
  markChanged();
  reportReceived(message);
}

std::optional<uint32_t> CHHsmsLink::NextPoll() const {
  if (listening() || socketErrorPending())
    return CHHsmsConnection::NextPoll();
  const uint32_t now = ticks();
  std::optional<uint32_t> next;
  if (Connected() && !selected_ && times_.t7 != 0)
    next = timeLeft(now, notSelectedSince_, times_.t7);
  // The oldest of each kind is the next of its kind to time out.
  for (const bool isControl : {false, true}) {
    if ((isControl ? openControls_ : open_.size() - openControls_) == 0)
      continue;
    const auto oldest = std::find_if(open_.begin(), open_.end(), [&](const OpenTransaction &entry) {
      return entry.isControl() == isControl;
    });
    next = sooner(next, timeLeft(now, oldest->sentAt, timeLimit(*oldest)));
  }
  const size_t buffered = static_cast<size_t>(BufferedLength());
  if (buffered < kFrameLengthSize)
    return next;
  const bool complete = buffered >= PeekLength() + uint64_t{kFrameLengthSize};
  return sooner(next, complete ? 0 : timeLeft(now, lastArrival_, times_.t8));
}

} // namespace velto
