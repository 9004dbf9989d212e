#include "transport/hsms/hsms_engine.h"

#include "transport/hsms/hsms_engine_peer.h"

#include <algorithm>
#include <array>
#include <utility>

namespace velto {

const char *gemErrorText(int code) {
  static constexpr std::array kTexts{
      "Unknown Error",
      "Length is less than 10 bytes.",
      "Length exceeds maximum limit.",
      "T8 time out.",
      "T6 time out.",
      "T7 time out.",
      "Invalid session ID.",
      "P-type is not 0, which means SECS-II.",
      "Received control message which is not 10 bytes.",
      "Unknow S-type.",
      "Reason code is not 0.",
      "Invalid reject-reason code.",
      "T3 time out.",
      "T5 time out.",
  };
  return code > 0 && code < static_cast<int>(kTexts.size()) ? kTexts[static_cast<size_t>(code)]
                                                            : kTexts[0];
}

const char *hsmsStateText(HsmsState state) {
  switch (state) {
  case HsmsState::NotConnected:
    break;
  case HsmsState::NotSelected:
    return "Connected / Not Selected";
  case HsmsState::Selected:
    return "Connected / Selected";
  }
  return "Not Connected";
}

CHHsms::CHHsms(EventLoop &loop, CHHsmsOwner &owner) : loop_(loop), owner_(owner) {}

CHHsms::~CHHsms() = default;

bool CHHsms::IsOpen() const { return link_ != nullptr && (link_->Connected() || link_->Opening()); }

int32_t CHHsms::LocalPort() const { return link_ == nullptr ? 0 : link_->LocalPort(); }

size_t CHHsms::PeerCount() const { return link_ == nullptr ? 0 : link_->PeerCount(); }

// Opening ---------------------------------------------------------------------------------------

bool CHHsms::Open() { return prepareOpen() && link_->Open(); }

bool CHHsms::StartOpen(std::function<void(bool connected)> done) {
  return prepareOpen() && link_->StartOpen(std::move(done));
}

void CHHsms::Close() {
  link_.reset();
  wake();
}

// A connection is opened once, so every opening starts with a fresh one.
bool CHHsms::prepareOpen() {
  if (link_ != nullptr && (link_->Connected() || link_->Opening()))
    return false;
  link_ = std::make_unique<Link>(loop_, *this);
  link_->SetServerMode(settings_.server);
  link_->SetIPAddress(settings_.ipAddress.empty() ? "localhost" : settings_.ipAddress);
  link_->SetPortNumber(settings_.portNumber);
  link_->SetMyPortNumber(settings_.myPortNumber);
  link_->SetMaxLength(settings_.maxLength);
  link_->SetMaxPeers(settings_.maxPeers);
  link_->SetMaxQueued(settings_.maxQueued);
  link_->SetWake([this] { wake(); });
  return true;
}

void CHHsms::connected(Link &link) {
  link.notSelectedSince = link.ticks();
  const std::string address = link.IPAddress();
  Lifetime::Watch alive(link.lifetime());
  owner_.OnConnected(address, link.PortNumber());
  if (!alive || !link.usable() || &link != link_.get() || !settings_.sendSelectRequest)
    return;
  CHSecsHeader request;
  request.setSType(SType::SelectReq);
  send(link, request);
}

void CHHsms::disconnected(Link &link) {
  const std::string address = link.IPAddress();
  owner_.OnDisconnected(address, link.PortNumber());
}

void CHHsms::wake() const {
  if (wake_)
    wake_();
}

// Receiving -------------------------------------------------------------------------------------

// A report may pump the loop, and so get here again: each frame is taken out before it is reported,
// and what is left is looked at anew afterwards. That the remote end has closed meanwhile does not
// matter; disconnect() empties the buffer. T8 starts anew after reports, which may take long.
void CHHsms::handleArrival(Link &link) {
  link.grownAt = link.ticks();
  Lifetime::Watch alive(link.lifetime());
  while (link.holdsUnit() && !link.held) {
    const uint32_t length = link.PeekLength();
    if (length > link.MaxLength())
      rejectLength(link, ErrorGemHsmsExceedMaxLength, length);
    else if (length < CHSecsHeader::kSize)
      rejectLength(link, ErrorGemHsmsLengthTooShort, length);
    else
      handleFrame(link, length);
    if (!alive)
      return;
  }
  link.grownAt = link.ticks();
  if (link.holdsPart())
    wake();
}

void CHHsms::rejectLength(Link &link, int code, uint32_t length) {
  link.dropReceived();
  std::array<uint8_t, kFrameLengthSize> field{};
  writeBigEndian(field.data(), length);
  reportProblem(link, code, field);
}

void CHHsms::handleFrame(Link &link, uint32_t length) {
  Lifetime::Watch alive(link.lifetime());
  ByteQueue frame = link.takeReceived(length + kFrameLengthSize);
  handleMessage(link, frame.view().subspan(kFrameLengthSize));
  if (alive)
    link.giveBack(std::move(frame));
}

// Sending ---------------------------------------------------------------------------------------

bool CHHsms::SendMessage(ByteView headerAndBody) { return sendTo(target(), headerAndBody); }

bool CHHsms::SendMessage(const std::string &ipAddress, int32_t portNumber, ByteView headerAndBody) {
  if (link_ == nullptr)
    return false;
  if (link_->usable() && link_->IPAddress() == ipAddress && link_->PortNumber() == portNumber)
    return sendTo(link_.get(), headerAndBody);
  return sendTo(static_cast<Link *>(link_->FindPeer(ipAddress, portNumber)), headerAndBody);
}

bool CHHsms::SendToSelected(ByteView headerAndBody) {
  return sendTo(selectedLink(), headerAndBody);
}

CHHsms::Link *CHHsms::selectedLink() const {
  if (link_ == nullptr || link_->usable())
    return link_ != nullptr && link_->selected ? link_.get() : nullptr;
  for (size_t i = 0; i < link_->PeerCount(); ++i) {
    auto &peer = static_cast<Link &>(link_->Peer(i));
    if (peer.usable() && peer.selected)
      return &peer;
  }
  return nullptr;
}

CHHsms::Link *CHHsms::target() const {
  if (link_ == nullptr || link_->usable())
    return link_.get();
  return static_cast<Link *>(link_->FindPeer(link_->IPAddress(), link_->PortNumber()));
}

bool CHHsms::sendTo(Link *link, ByteView headerAndBody) {
  const auto header = readHeader(headerAndBody);
  return link != nullptr && header &&
         send(*link, *header, headerAndBody.subspan(CHSecsHeader::kSize));
}

bool CHHsms::send(Link &link, CHSecsHeader header, ByteView body) {
  complete(header);
  header.length = static_cast<uint32_t>(CHSecsHeader::kSize + body.size());
  if (!link.transmit(frameHead(header, body.size()), body))
    return false;
  if (isControlRequest(header)) {
    link.requests.push_back({link.ticks(), header});
    wake();
  }
  const std::string address = link.IPAddress();
  owner_.OnMessageSent(address, link.PortNumber(), header, body);
  return true;
}

// What the standard fixes in a header (SEMI E37 8.2) is filled in here, whatever the owner gave.
void CHHsms::complete(CHSecsHeader &header) {
  const auto type = static_cast<SType>(header.sType());
  header.blockWord = 0; // PType SECS-II
  header.setSType(type);
  switch (type) {
  case SType::SelectReq:
  case SType::DeselectReq:
  case SType::LinktestReq:
  case SType::SeparateReq:
    header.systemBytes = nextSystemBytes();
    [[fallthrough]];
  case SType::LinktestRsp:
    header.functionByte = 0;
    [[fallthrough]];
  case SType::SelectRsp:
  case SType::DeselectRsp:
    header.streamByte = 0;
    [[fallthrough]];
  case SType::RejectReq:
    header.idWord = kNoSession;
    return;
  case SType::Data:
    break;
  }
  header.setSType(SType::Data);
  if (header.wbit())
    header.systemBytes = nextSystemBytes();
}

uint32_t CHHsms::nextSystemBytes() {
  const uint32_t next = systemBytes_++;
  if (systemBytes_ == 0)
    systemBytes_ = 1;
  return next;
}

// Ticks -----------------------------------------------------------------------------------------

void CHHsms::Poll() {
  Lifetime::Watch alive(lifetime_);
  updateState();
  if (!alive || link_ == nullptr)
    return;
  t6Reported_ = false;
  link_->Poll();
  if (alive)
    updateState();
}

std::optional<uint32_t> CHHsms::NextPoll() const {
  if (state_ != linkState())
    return 0;
  return link_ == nullptr ? std::nullopt : link_->NextPoll();
}

// A listener is selected as soon as one of its peers is.
HsmsState CHHsms::linkState() const {
  if (anyLink([](const Link &link) { return link.selected; }))
    return HsmsState::Selected;
  return anyLink([](const Link &) { return true; }) ? HsmsState::NotSelected
                                                    : HsmsState::NotConnected;
}

void CHHsms::updateState() {
  const HsmsState old = std::exchange(state_, linkState());
  if (state_ != old)
    owner_.OnStateChanged(state_, old);
}

void CHHsms::pollLink(Link &link) {
  Lifetime::Watch alive(link.lifetime());
  for (const auto expire : {&CHHsms::expireT6, &CHHsms::expireT7, &CHHsms::expireT8})
    if (alive && link.usable())
      (this->*expire)(link);
}

// At most one a tick.
void CHHsms::expireT6(Link &link) {
  if (t6Reported_ || settings_.t6 == 0 || link.requests.empty() ||
      timeLeft(link.ticks(), link.requests.front().sentAt, settings_.t6) != 0)
    return;
  t6Reported_ = true;
  std::array<uint8_t, CHSecsHeader::kSize> header{};
  EncodeHeader(link.requests.front().header, header);
  link.requests.erase(link.requests.begin());
  reportProblem(link, ErrorGemHsmsT6Timeout, header);
}

// The end is told even when the report of T7 pumps the loop, whose ticks remove a peer that has
// ended.
void CHHsms::expireT7(Link &link) {
  if (link.selected || settings_.t7 == 0 ||
      timeLeft(link.ticks(), link.notSelectedSince, settings_.t7) != 0)
    return;
  link.disconnect();
  const std::string address = link.IPAddress();
  const int32_t port = link.PortNumber();
  Lifetime::Watch alive(lifetime_);
  reportProblem(link, ErrorGemHsmsT7Timeout);
  if (alive)
    owner_.OnDisconnected(address, port);
}

void CHHsms::expireT8(Link &link) {
  if (!link.holdsPart() || timeLeft(link.ticks(), link.grownAt, settings_.t8) != 0)
    return;
  link.dropReceived();
  reportProblem(link, ErrorGemHsmsT8Timeout);
}

void CHHsms::reportProblem(Link &link, int code, ByteView data) {
  const std::string address = link.IPAddress();
  owner_.OnProblem(address, link.PortNumber(), code, data);
}

} // namespace velto
