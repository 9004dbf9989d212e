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

enum RejectReason : uint8_t {
  STypeNotSupported = 1,
  PTypeNotSupported = 2,
  TransactionNotOpen = 3,
  EntityNotSelected = 4,
};

// The first rule of the header that is broken; 0 when it is valid.
int headerProblem(const CHSecsHeader &header, HsmsSessionMode mode) {
  const auto type = static_cast<SType>(header.sType());
  const bool session = header.idWord != kNoSession;
  if (type == SType::Data && !session)
    return ErrorGemHsmsInvalidSessionID;
  if (header.pType() != 0)
    return ErrorGemHsmsInvalidPType;
  if (type == SType::Data)
    return 0;
  if (!header.isControl())
    return ErrorGemHsmsInvalidSType;
  if (header.length != CHSecsHeader::kSize)
    return ErrorGemHsmsControlMessageTooLong;
  const bool isLinktest = type == SType::LinktestReq || type == SType::LinktestRsp;
  const bool hasStatus =
      type == SType::SelectRsp || type == SType::DeselectRsp || type == SType::RejectReq;
  if (isLinktest && session)
    return ErrorGemHsmsInvalidSessionID;
  if (!hasStatus && header.functionByte != 0)
    return ErrorGemHsmsInvalidFunction;
  if (type != SType::RejectReq && header.streamByte != 0)
    return ErrorGemHsmsInvalidRejectReason;
  if (mode == HsmsSessionMode::Single && session)
    return ErrorGemHsmsInvalidSessionID;
  return 0;
}

} // namespace

void CHHsms::handleMessage(Link &link, ByteView message) {
  if (isDuplicate(link, message))
    return;
  const CHSecsHeader header = *readHeader(message);
  if (const int code = headerProblem(header, settings_.sessionMode); code != 0) {
    handleInvalid(link, header, message, code);
    return;
  }
  const std::string address = link.IPAddress();
  Lifetime::Watch alive(link.lifetime());
  if (header.isControl()) {
    link.held = true;
    owner_.OnControlReceived(address, link.PortNumber(), message);
    if (!alive)
      return;
    link.held = false;
    handleControl(link, header);
    return;
  }
  const bool notSelected = !link.selected;
  owner_.OnDataReceived(address, link.PortNumber(), message, notSelected);
  if (notSelected && alive)
    reject(link, header, EntityNotSelected);
}

bool CHHsms::isDuplicate(Link &link, ByteView message) {
  if (!settings_.discardDuplicates)
    link.lastMessage = Bytes();
  else if (std::ranges::equal(link.lastMessage, message))
    return true;
  else
    link.lastMessage.assign(message.begin(), message.end());
  return false;
}

void CHHsms::handleInvalid(Link &link, const CHSecsHeader &header, ByteView message, int code) {
  if (settings_.rejectInvalidHeaders && code == ErrorGemHsmsInvalidPType)
    reject(link, header, PTypeNotSupported);
  else if (settings_.rejectInvalidHeaders && code == ErrorGemHsmsInvalidSType)
    reject(link, header, STypeNotSupported);
  else
    reportProblem(link, code, message);
}

void CHHsms::handleControl(Link &link, const CHSecsHeader &header) {
  switch (static_cast<SType>(header.sType())) {
  case SType::SelectReq:
    answerSelect(link, header);
    break;
  case SType::DeselectReq:
    answerDeselect(link, header);
    break;
  case SType::LinktestReq:
    answerLinktest(link, header);
    break;
  case SType::SelectRsp:
  case SType::DeselectRsp:
  case SType::LinktestRsp:
    handleResponse(link, header);
    break;
  case SType::SeparateReq:
    link.disconnect();
    wake();
    disconnected(link);
    break;
  case SType::RejectReq:
  case SType::Data:
    break;
  }
}

void CHHsms::answerSelect(Link &link, const CHSecsHeader &header) {
  uint8_t status = kStatusOk;
  if (link.selected)
    status = kStatusDone;
  else if (settings_.sessionMode == HsmsSessionMode::Single &&
           anyLink([](const Link &other) { return other.selected; }))
    status = kStatusUsed;
  const std::string address = link.IPAddress();
  Lifetime::Watch alive(link.lifetime());
  status = owner_.OnSelectRequest(address, link.PortNumber(), status);
  if (!alive)
    return;
  answer(link, header, SType::SelectRsp, status);
  if (alive && status == kStatusOk)
    select(link);
}

void CHHsms::answerDeselect(Link &link, const CHSecsHeader &header) {
  const bool selected = link.selected;
  Lifetime::Watch alive(link.lifetime());
  answer(link, header, SType::DeselectRsp, selected ? kStatusOk : kStatusDone);
  if (alive && selected)
    deselect(link);
}

void CHHsms::answerLinktest(Link &link, const CHSecsHeader &header) {
  if (settings_.sessionMode == HsmsSessionMode::Single && !link.selected)
    reject(link, header, EntityNotSelected);
  else if (settings_.sessionMode >= HsmsSessionMode::Generic &&
           settings_.sessionMode <= HsmsSessionMode::General)
    answer(link, header, SType::LinktestRsp, kStatusOk);
}

void CHHsms::handleResponse(Link &link, const CHSecsHeader &header) {
  const auto found = std::ranges::find_if(link.requests, [&](const Link::Request &request) {
    return isControlResponse(header, request.header);
  });
  if (found == link.requests.end()) {
    reject(link, header, TransactionNotOpen);
    return;
  }
  link.requests.erase(found);
  const auto type = static_cast<SType>(header.sType());
  const bool accepted = header.functionByte <= kStatusDone;
  if (type == SType::SelectRsp && accepted)
    select(link);
  else if (type == SType::DeselectRsp && accepted && link.selected)
    deselect(link);
}

// The end of another connection's selection is told first: what begins here is no part of it.
void CHHsms::select(Link &link) {
  Lifetime::Watch alive(link.lifetime());
  if (state_ == HsmsState::Selected)
    updateState();
  if (!alive)
    return;
  link.selected = true;
  updateState();
}

void CHHsms::deselect(Link &link) {
  link.selected = false;
  link.notSelectedSince = link.ticks();
  wake();
  updateState();
}

// The remote end may act on the answer before the report of it has returned.
void CHHsms::answer(Link &link, const CHSecsHeader &request, SType type, uint8_t status) {
  CHSecsHeader header = request;
  header.setSType(type);
  header.functionByte = status;
  Lifetime::Watch alive(link.lifetime());
  link.held = true;
  send(link, header);
  if (alive)
    link.held = false;
}

void CHHsms::reject(Link &link, const CHSecsHeader &rejected, uint8_t reason) {
  CHSecsHeader header = rejected;
  header.streamByte = reason == PTypeNotSupported ? rejected.pType() : rejected.sType();
  header.functionByte = reason;
  header.setSType(SType::RejectReq);
  send(link, header);
}

} // namespace velto
