#include "transport/hsms/hsms_engine.h"

#include "transport/hsms/hsms_engine_peer.h"

#include <algorithm>
#include <array>
#include <utility>

namespace velto {

const char *hsmsStateText(LinkState state) {
  switch (state) {
  case LinkState::Down:
    break;
  case LinkState::Up:
    return "Connected / Not Selected";
  case LinkState::Ready:
    return "Connected / Selected";
  }
  return "Not Connected";
}

CHHsms::CHHsms(EventLoop &loop, MessageLinkOwner &owner)
    : loop_(loop), owner_(&owner), ticker_(loop, *this) {}

CHHsms::~CHHsms() = default;

bool CHHsms::IsOpen() const { return root_ && (root_->Connected() || root_->Opening()); }

int32_t CHHsms::LocalPort() const { return root_ ? root_->LocalPort() : 0; }

size_t CHHsms::PeerCount() const { return root_ ? root_->PeerCount() : 0; }

// Opening ---------------------------------------------------------------------------------------

bool CHHsms::Open() {
  const auto held = hold();
  return prepareOpen() && root_->Open();
}

bool CHHsms::StartOpen(std::function<void(bool connected)> done) {
  return prepareOpen() && root_->StartOpen(std::move(done));
}

void CHHsms::Close() {
  root_.reset();
  ticker_.wake();
}

void CHHsms::End() {
  root_.reset();
  owner_ = &silentOwner();
  state_ = LinkState::Down;
  ticker_.follow(nullptr);
}

// A connection is opened once, so every opening starts with a fresh one.
bool CHHsms::prepareOpen() {
  if (IsOpen())
    return false;
  const bool ownPort = settings_.server && settings_.myPortNumber == 0;
  root_ = makeHandle<Peer>(loop_, *this);
  root_->SetServerMode(settings_.server);
  root_->SetIPAddress(settings_.ipAddress.empty() ? "localhost" : settings_.ipAddress);
  root_->SetPortNumber(settings_.portNumber);
  root_->SetMyPortNumber(ownPort ? settings_.portNumber : settings_.myPortNumber);
  root_->SetMaxLength(settings_.maxLength);
  root_->SetMaxPeers(settings_.maxPeers);
  root_->SetMaxQueued(settings_.maxQueued);
  root_->TickWith(ticker_);
  return true;
}

void CHHsms::connected(Peer &peer) {
  peer.notSelectedSince = peer.ticks();
  owner_->OnConnected(peer.IPAddress(), peer.PortNumber());
  if (!peer.usable() || &peer != root_.get() || !settings_.sendSelectRequest)
    return;
  CHSecsHeader request;
  request.setSType(SType::SelectReq);
  sendControl(peer, request);
}

void CHHsms::disconnected(Peer &peer) {
  owner_->OnDisconnected(peer.IPAddress(), peer.PortNumber());
}

// Receiving -------------------------------------------------------------------------------------

// A report may pump the loop, and so get here again: each frame is taken out before it is reported,
// and what is left is looked at anew afterwards. That the remote end has closed meanwhile does not
// matter; disconnect() empties the buffer. T8 starts anew after reports, which may take long.
void CHHsms::handleArrival(Peer &peer) {
  peer.grownAt = peer.ticks();
  while (peer.holdsUnit() && !peer.held) {
    const uint32_t length = peer.PeekLength();
    if (length > peer.MaxLength())
      rejectLength(peer, LinkProblem::LengthTooLong, length);
    else if (length < CHSecsHeader::kSize)
      rejectLength(peer, LinkProblem::LengthTooShort, length);
    else
      handleFrame(peer, length);
  }
  peer.grownAt = peer.ticks();
  if (peer.holdsPart())
    ticker_.arm();
}

void CHHsms::rejectLength(Peer &peer, LinkProblem problem, uint32_t length) {
  peer.dropReceived();
  std::array<uint8_t, kFrameLengthSize> field{};
  writeBigEndian(field.data(), length);
  reportProblem(peer, problem, field);
}

void CHHsms::handleFrame(Peer &peer, uint32_t length) {
  ByteQueue frame = peer.takeReceived(length + kFrameLengthSize);
  handleMessage(peer, frame.view().subspan(kFrameLengthSize));
  peer.giveBack(std::move(frame));
}

// Sending ---------------------------------------------------------------------------------------

std::optional<CHSecsHeader> CHHsms::Send(const CHSecsHeader &header, ByteView body) {
  Peer *peer = selectedPeer();
  return peer != nullptr ? transmit(*peer, header, body) : std::nullopt;
}

bool CHHsms::SendMessage(ByteView headerAndBody) { return sendTo(target(), headerAndBody); }

bool CHHsms::SendMessage(const std::string &ipAddress, int32_t portNumber, ByteView headerAndBody) {
  if (!root_)
    return false;
  if (root_->usable() && root_->IPAddress() == ipAddress && root_->PortNumber() == portNumber)
    return sendTo(root_.get(), headerAndBody);
  return sendTo(static_cast<Peer *>(root_->FindPeer(ipAddress, portNumber)), headerAndBody);
}

CHHsms::Peer *CHHsms::selectedPeer() const {
  if (!root_ || root_->usable())
    return root_ && root_->selected ? root_.get() : nullptr;
  for (size_t i = 0; i < root_->PeerCount(); ++i) {
    auto &peer = static_cast<Peer &>(root_->PeerAt(i));
    if (peer.usable() && peer.selected)
      return &peer;
  }
  return nullptr;
}

CHHsms::Peer *CHHsms::target() const {
  if (!root_ || root_->usable())
    return root_.get();
  return static_cast<Peer *>(root_->FindPeer(root_->IPAddress(), root_->PortNumber()));
}

bool CHHsms::sendTo(Peer *peer, ByteView headerAndBody) {
  const auto header = readHeader(headerAndBody);
  return peer != nullptr && header &&
         transmit(*peer, *header, headerAndBody.subspan(CHSecsHeader::kSize));
}

std::optional<CHSecsHeader> CHHsms::transmit(Peer &peer, CHSecsHeader header, ByteView body) {
  complete(header);
  header.length = static_cast<uint32_t>(CHSecsHeader::kSize + body.size());
  if (!peer.transmit(frameHead(header, body.size()), body))
    return std::nullopt;
  if (isControlRequest(header)) {
    peer.requests.push_back({peer.ticks(), header});
    ticker_.arm();
  }
  return header;
}

void CHHsms::sendControl(Peer &peer, const CHSecsHeader &header) {
  if (const auto sent = transmit(peer, header, {}))
    owner_->OnSent(peer.IPAddress(), peer.PortNumber(), *sent, {});
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
  const bool isPrimary = header.function() % 2 == 1;
  if (header.wbit() || (isPrimary && header.systemBytes == 0))
    header.systemBytes = nextSystemBytes();
}

// The upper bit tells the two ends apart, so a number comes again after 2^31 - 1 of them.
uint32_t CHHsms::nextSystemBytes() {
  constexpr uint32_t kHighBit = 0x80000000;
  const uint32_t next = systemBytes_;
  systemBytes_ = next == kHighBit - 1 ? 1 : next + 1;
  return settings_.highSystemBytes ? next | kHighBit : next;
}

// Ticks -----------------------------------------------------------------------------------------

void CHHsms::Poll() {
  updateState();
  if (!root_)
    return;
  t6Reported_ = false;
  root_->Poll();
  updateState();
}

std::optional<uint32_t> CHHsms::NextPoll() const {
  if (state_ != linkState())
    return 0;
  return root_ ? root_->NextPoll() : std::nullopt;
}

// A listener is selected as soon as one of its peers is.
LinkState CHHsms::linkState() const {
  if (anyPeer([](const Peer &peer) { return peer.selected; }))
    return LinkState::Ready;
  return anyPeer([](const Peer &) { return true; }) ? LinkState::Up : LinkState::Down;
}

void CHHsms::updateState() {
  const LinkState old = std::exchange(state_, linkState());
  if (state_ != old)
    owner_->OnStateChanged(state_, old);
}

void CHHsms::pollPeer(Peer &peer) {
  for (const auto expire : {&CHHsms::expireT6, &CHHsms::expireT7, &CHHsms::expireT8})
    if (peer.usable())
      (this->*expire)(peer);
}

// At most one a tick.
void CHHsms::expireT6(Peer &peer) {
  if (t6Reported_ || settings_.t6 <= 0 || peer.requests.empty() ||
      timeLeft(peer.ticks(), peer.requests.front().sentAt, milliseconds(settings_.t6)) != 0)
    return;
  t6Reported_ = true;
  std::array<uint8_t, CHSecsHeader::kSize> header{};
  EncodeHeader(peer.requests.front().header, header);
  peer.requests.erase(peer.requests.begin());
  reportProblem(peer, LinkProblem::T6, header);
}

// The end is told even when the report of T7 pumps the loop, whose ticks remove a peer that has
// ended.
void CHHsms::expireT7(Peer &peer) {
  if (peer.selected || settings_.t7 <= 0 ||
      timeLeft(peer.ticks(), peer.notSelectedSince, milliseconds(settings_.t7)) != 0)
    return;
  peer.disconnect();
  reportProblem(peer, LinkProblem::T7);
  disconnected(peer);
}

void CHHsms::expireT8(Peer &peer) {
  if (!peer.holdsPart() || timeLeft(peer.ticks(), peer.grownAt, milliseconds(settings_.t8)) != 0)
    return;
  peer.dropReceived();
  reportProblem(peer, LinkProblem::T8);
}

void CHHsms::reportProblem(Peer &peer, LinkProblem problem, ByteView data) {
  owner_->OnProblem(peer.IPAddress(), peer.PortNumber(), problem, data);
}

} // namespace velto
