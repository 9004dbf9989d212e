#include "transport/hsms/hsms_engine.h"
#include "transport/hsms/hsms_engine_peer.h"

#include <algorithm>

// What the engine does with a message that has arrived: the checks of its header and the answers to
// control messages (SEMI E37 7 and 8).

namespace velto {

namespace {

constexpr uint8_t kStatusOk = 0;
constexpr uint8_t kStatusDone = 1; // already selected; already not selected
constexpr uint8_t kStatusUsed = 3; // another connection has the single session

// The first rule of the header that is broken; nothing when it is valid.
std::optional<LinkProblem> headerProblem(const CHSecsHeader &header, int32_t sessionMode) {
  const auto type = static_cast<SType>(header.sType());
  const bool session = header.idWord != kNoSession;
  if (type == SType::Data && !session)
    return LinkProblem::InvalidSessionId;
  if (header.pType() != 0)
    return LinkProblem::InvalidPType;
  if (type == SType::Data)
    return std::nullopt;
  if (!header.isControl())
    return LinkProblem::InvalidSType;
  if (header.length != CHSecsHeader::kSize)
    return LinkProblem::ControlMessageTooLong;
  const bool isLinktest = type == SType::LinktestReq || type == SType::LinktestRsp;
  const bool hasStatus =
      type == SType::SelectRsp || type == SType::DeselectRsp || type == SType::RejectReq;
  if (isLinktest && session)
    return LinkProblem::InvalidSessionId;
  if (!hasStatus && header.functionByte != 0)
    return LinkProblem::InvalidFunction;
  if (type != SType::RejectReq && header.streamByte != 0)
    return LinkProblem::InvalidRejectReason;
  if (sessionMode == HsmsSession::Single && session)
    return LinkProblem::InvalidSessionId;
  return std::nullopt;
}

} // namespace

void CHHsms::handleMessage(Peer &peer, ByteView message) {
  if (isDuplicate(peer, message)) {
    ++peer.counted().duplicates;
    return;
  }
  const CHSecsHeader header = *readHeader(message);
  peer.counted().rejectsIn += isReject(header) ? 1 : 0;
  if (const auto problem = headerProblem(header, settings_.sessionMode)) {
    handleInvalid(peer, header, message, *problem);
    // Some name the session of what they reject: that ends all the same.
    if (problem == LinkProblem::InvalidSessionId && isReject(header) && !peer.ended())
      endRejected(peer, header);
    return;
  }
  const bool refused = !header.isControl() && !peer.selected;
  peer.held = header.isControl();
  owner_->OnReceived(peer.IPAddress(), peer.PortNumber(), message, refused);
  peer.held = false;
  if (peer.ended())
    return;
  if (header.isControl())
    handleControl(peer, header);
  else if (refused)
    reject(peer, header, EntityNotSelected);
}

bool CHHsms::isDuplicate(Peer &peer, ByteView message) {
  if (std::ranges::equal(peer.lastMessage, message))
    return settings_.discardDuplicates;
  peer.lastMessage.assign(message.begin(), message.end()); // also while they are not discarded
  return false;
}

void CHHsms::handleInvalid(Peer &peer, const CHSecsHeader &header, ByteView message,
                           LinkProblem problem) {
  if (settings_.rejectInvalidHeaders && problem == LinkProblem::InvalidPType)
    reject(peer, header, PTypeNotSupported);
  else if (settings_.rejectInvalidHeaders && problem == LinkProblem::InvalidSType)
    reject(peer, header, STypeNotSupported);
  else
    reportProblem(peer, {problem}, message);
}

void CHHsms::handleControl(Peer &peer, const CHSecsHeader &header) {
  switch (static_cast<SType>(header.sType())) {
  case SType::SelectReq:
    answerSelect(peer, header);
    break;
  case SType::DeselectReq:
    answerDeselect(peer, header);
    break;
  case SType::LinktestReq:
    answerLinktest(peer, header);
    break;
  case SType::SelectRsp:
  case SType::DeselectRsp:
  case SType::LinktestRsp:
    handleResponse(peer, header);
    break;
  case SType::SeparateReq:
    peer.disconnect();
    ticker_.wake();
    disconnected(peer);
    break;
  case SType::RejectReq:
    endRejected(peer, header);
    break;
  case SType::Data:
    break;
  }
}

// No answer will come to what the remote end has rejected.
void CHHsms::endRejected(Peer &peer, const CHSecsHeader &reject) {
  const bool wasControl =
      peer.requests.closeFirst([&reject](const OpenTransactions::Entry &request) {
        return request.header.systemBytes == reject.systemBytes;
      });
  if (!wasControl)
    owner_->OnRejected(reject.systemBytes);
}

void CHHsms::answerSelect(Peer &peer, const CHSecsHeader &header) {
  uint8_t status = kStatusOk;
  if (peer.selected)
    status = kStatusDone;
  else if (settings_.sessionMode == HsmsSession::Single &&
           anyPeer([](const Peer &other) { return other.selected; }))
    status = kStatusUsed;
  status = owner_->OnSelectRequest(peer.IPAddress(), peer.PortNumber(), status);
  answer(peer, header, SType::SelectRsp, status);
  if (status == kStatusOk)
    select(peer);
  else if (status == kStatusUsed)
    probeSelected();
}

// Who has the session may have died without a word: the host that comes back gets in when that one
// does not answer.
void CHHsms::probeSelected() {
  Peer *selected = selectedPeer();
  if (selected != nullptr && settings_.linktestInterval > 0 && selected->requests.empty())
    probe(*selected);
}

void CHHsms::answerDeselect(Peer &peer, const CHSecsHeader &header) {
  const bool selected = peer.selected;
  answer(peer, header, SType::DeselectRsp, selected ? kStatusOk : kStatusDone);
  if (selected)
    deselect(peer);
}

void CHHsms::answerLinktest(Peer &peer, const CHSecsHeader &header) {
  if (settings_.sessionMode == HsmsSession::Single && !peer.selected)
    reject(peer, header, EntityNotSelected);
  else if (settings_.sessionMode >= HsmsSession::Generic &&
           settings_.sessionMode <= HsmsSession::General)
    answer(peer, header, SType::LinktestRsp, kStatusOk);
}

void CHHsms::handleResponse(Peer &peer, const CHSecsHeader &header) {
  const bool isExpected = peer.requests.closeFirst([&](const OpenTransactions::Entry &request) {
    return isControlResponse(header, request.header);
  });
  if (!isExpected) {
    reject(peer, header, TransactionNotOpen);
    return;
  }
  const auto type = static_cast<SType>(header.sType());
  const bool accepted = header.functionByte <= kStatusDone;
  if (type == SType::SelectRsp && accepted)
    select(peer);
  else if (type == SType::DeselectRsp && accepted && peer.selected)
    deselect(peer);
}

// The end of another connection's selection is told first: what begins here is no part of it.
void CHHsms::select(Peer &peer) {
  if (!peer.ended() && state_ == LinkState::Ready)
    updateState();
  if (peer.ended())
    return;
  peer.selected = true;
  peer.watchForMore();
  ticker_.arm();
  updateState();
}

void CHHsms::deselect(Peer &peer) {
  if (peer.ended())
    return;
  peer.selected = false;
  peer.notSelectedSince = peer.ticks();
  ticker_.arm();
  updateState();
}

// The remote end may act on the answer before the report of it has returned.
void CHHsms::answer(Peer &peer, const CHSecsHeader &request, SType type, uint8_t status) {
  CHSecsHeader header = request;
  header.setSType(type);
  header.functionByte = status;
  peer.held = true;
  sendControl(peer, header);
  peer.held = false;
}

void CHHsms::reject(Peer &peer, const CHSecsHeader &rejected, uint8_t reason) {
  CHSecsHeader header = rejected;
  header.streamByte = reason == PTypeNotSupported ? rejected.pType() : rejected.sType();
  header.functionByte = reason;
  header.setSType(SType::RejectReq);
  sendControl(peer, header);
}

} // namespace velto
