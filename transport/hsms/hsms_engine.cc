#include "transport/hsms/hsms_engine.h"

#include "platform/socket_error.h"
#include "transport/hsms/hsms_engine_peer.h"

#include <algorithm>
#include <array>
#include <cerrno>
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
    : CHHsms(loop, owner, std::make_shared<LinkSettings>()) {}

CHHsms::CHHsms(EventLoop &loop, MessageLinkOwner &owner, std::shared_ptr<LinkSettings> settings)
    : loop_(loop), owner_(&owner), kept_(std::move(settings)), ticker_(loop, *this) {}

CHHsms::~CHHsms() = default;

bool CHHsms::IsOpen() const { return root_ && (root_->Connected() || root_->Opening()); }

int32_t CHHsms::LocalPort() const { return root_ ? root_->LocalPort() : 0; }

size_t CHHsms::PeerCount() const { return root_ ? root_->PeerCount() : 0; }

LinkCounters CHHsms::counters() const { return root_ ? root_->counters() : *counters_; }

std::vector<ConnectionCounters> CHHsms::connectionCounters() const {
  return root_ ? root_->connectionCounters() : std::vector<ConnectionCounters>();
}

// It concerns the partner, if there is one.
void CHHsms::count(LinkProblem problem) {
  Peer *peer = selectedPeer();
  (peer != nullptr ? peer->counted() : *counters_).count(problem);
}

// Opening ---------------------------------------------------------------------------------------

bool CHHsms::Open() {
  const auto held = hold();
  return prepareOpen() && root_->Open();
}

bool CHHsms::StartOpen(std::function<void(bool connected)> done) {
  if (!prepareOpen())
    return false;
  const bool started = root_->StartOpen([this, done = std::move(done)](bool connected) {
    noteOpenError();
    if (done)
      done(connected);
  });
  if (!started)
    noteOpenError();
  return started;
}

// That the partner is not there yet is no fault of this side: whoever opens tries again.
void CHHsms::noteOpenError() {
  const int error = root_->openError();
  if (error == 0 || error == ECONNREFUSED || error == ETIMEDOUT)
    return;
  openError_ = socketErrorNumber(error);
  ticker_.wake();
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
  root_->CountIn(counters_);
  root_->SetServerMode(settings_.server);
  root_->SetIPAddress(settings_.ipAddress.empty() ? "localhost" : settings_.ipAddress);
  root_->SetPortNumber(settings_.portNumber);
  root_->SetMyPortNumber(ownPort ? settings_.portNumber : settings_.myPortNumber);
  root_->SetMaxLength(settings_.maxLength);
  root_->SetMaxPeers(settings_.maxPeers);
  root_->SetMaxQueued(settings_.maxQueued);
  root_->SetKeepAlive(settings_.keepAlive);
  root_->SetTap(settings_.tap);
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
  if (!peer.selected && peer.holds() + kFrameHeadSize + body.size() > Peer::kStrangerLimit)
    return std::nullopt;
  if (!peer.transmit(frameHead(header, body.size()), body))
    return std::nullopt;
  peer.lastTraffic = peer.ticks();
  ++peer.counted().framesOut;
  peer.counted().rejectsOut += isReject(header) ? 1 : 0;
  if (isControlRequest(header)) {
    peer.requests.open(header, peer.ticks());
    ticker_.arm();
  }
  return header;
}

void CHHsms::sendControl(Peer &peer, const CHSecsHeader &header) {
  if (const auto sent = transmit(peer, header, {})) {
    owner_->OnSent(peer.IPAddress(), peer.PortNumber(), *sent, {});
  } else if (peer.usable() && peer.QueuedLength() != 0) { // else the connection has ended
    peer.overflowed = true;
    ticker_.wake();
  }
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
    header.systemBytes = systemBytes_.next(settings_.highSystemBytes);
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
  systemBytes_.complete(header, settings_.highSystemBytes);
}

// Ticks -----------------------------------------------------------------------------------------

void CHHsms::Poll() {
  updateState();
  if (const int error = std::exchange(openError_, 0); error != 0) {
    counters_->count(LinkProblem::System);
    owner_->OnProblem(settings_.ipAddress, settings_.portNumber,
                      {.code = LinkProblem::System, .number = error}, {});
  }
  if (!root_)
    return;
  t6Reported_ = false;
  root_->Poll();
  updateState();
}

std::optional<uint32_t> CHHsms::NextPoll() const {
  if (state_ != linkState() || openError_ != 0)
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
  for (const auto step : {&CHHsms::endOverflowed, &CHHsms::expireT6, &CHHsms::expireT7,
                          &CHHsms::expireT8, &CHHsms::testIdleLink})
    if (peer.usable())
      (this->*step)(peer);
}

// A partner that does not read what it is answered is not there.
void CHHsms::endOverflowed(Peer &peer) {
  if (peer.overflowed)
    end(peer, {.code = LinkProblem::System, .number = ErrorSocketENoBufs});
}

// A link that is tested notices a missing answer whatever T6 is.
uint32_t CHHsms::controlLimit() const {
  constexpr uint32_t kNormalT6 = 5000;
  const uint32_t t6 = milliseconds(settings_.t6);
  return t6 == 0 && settings_.linktestInterval > 0 ? kNormalT6 : t6;
}

// At most one a tick.
void CHHsms::expireT6(Peer &peer) {
  if (t6Reported_ || controlLimit() == 0 || peer.requests.next(peer.ticks(), controlLimit()) != 0U)
    return;
  t6Reported_ = true;
  std::array<uint8_t, CHSecsHeader::kSize> header{};
  EncodeHeader(peer.requests.takeFirst().header, header);
  if (settings_.linktestInterval > 0)
    end(peer, {LinkProblem::T6}, header);
  else
    reportProblem(peer, {LinkProblem::T6}, header);
}

void CHHsms::expireT7(Peer &peer) {
  if (peer.selected || settings_.t7 <= 0 ||
      timeLeft(peer.ticks(), peer.notSelectedSince, milliseconds(settings_.t7)) != 0)
    return;
  end(peer, {LinkProblem::T7});
}

void CHHsms::expireT8(Peer &peer) {
  if (!peer.awaitsMore() || settings_.t8 <= 0 ||
      timeLeft(peer.ticks(), peer.grownAt, milliseconds(settings_.t8)) != 0)
    return;
  if (peer.skipping != 0) { // what may still come of it must not be read as frames
    end(peer, {LinkProblem::T8});
    return;
  }
  peer.dropReceived();
  reportProblem(peer, {LinkProblem::T8});
}

// An idle link is tested, unless the partner owes an answer anyway: one that has died without a
// word is found by T6 then (SEMI E37 7.8).
bool CHHsms::testsLink(const Peer &peer) const {
  return settings_.linktestInterval > 0 && peer.selected && peer.requests.empty() &&
         !owner_->awaitsReply();
}

void CHHsms::testIdleLink(Peer &peer) {
  if (testsLink(peer) &&
      timeLeft(peer.ticks(), peer.lastTraffic, milliseconds(settings_.linktestInterval)) == 0)
    probe(peer);
}

void CHHsms::probe(Peer &peer) {
  CHSecsHeader request;
  request.setSType(SType::LinktestReq);
  sendControl(peer, request);
}

// The end is told even when the report of its reason pumps the loop, whose ticks remove a peer that
// has ended.
void CHHsms::end(Peer &peer, const Problem &problem, ByteView data) {
  peer.disconnect();
  ticker_.wake();
  reportProblem(peer, problem, data);
  disconnected(peer);
}

void CHHsms::reportProblem(Peer &peer, const Problem &problem, ByteView data) {
  peer.counted().count(problem.code);
  owner_->OnProblem(peer.IPAddress(), peer.PortNumber(), problem, data);
}

} // namespace velto
