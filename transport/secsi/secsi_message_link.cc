#include "transport/secsi/secsi_message_link.h"

#include "platform/socket_error.h"
#include "secs2/transaction.h"
#include "transport/link/deadline.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace velto {

namespace {

constexpr std::array<uint8_t, 2> kHeaderItem{0x21, CHSecsHeader::kSize}; // a binary item of ten

Bytes joined(const CHSecsHeader &header, ByteView body) {
  Bytes bytes(CHSecsHeader::kSize);
  EncodeHeader(header, std::span(bytes).first<CHSecsHeader::kSize>());
  bytes.insert(bytes.end(), body.begin(), body.end());
  return bytes;
}

CHSecsHeader withoutLine(CHSecsHeader header) {
  header.idWord &= kDeviceIdMask;
  header.blockWord = 0;
  return header;
}

// As it goes over the line, from the equipment or to it.
void addLine(CHSecsHeader &header, bool fromEquipment) {
  header.idWord = (header.idWord & kDeviceIdMask) | (fromEquipment ? kDirectionBit : 0U);
  header.blockWord = kEBit | 1U;
}

// The header that a message of stream 9 complains of gets the form that its sender knows. All but
// S9F9 are about a message of the partner.
void addLineToMhead(Bytes &message, const CHSecsHeader &complaint, bool equipment) {
  constexpr uint8_t kTransactionTimeout = 9;
  const size_t mhead = CHSecsHeader::kSize + kHeaderItem.size();
  if (complaint.stream() != kErrorStream || message.size() != mhead + CHSecsHeader::kSize ||
      !std::equal(kHeaderItem.begin(), kHeaderItem.end(), &message[CHSecsHeader::kSize]))
    return;
  const auto bytes = std::span(message).subspan(mhead).first<CHSecsHeader::kSize>();
  CHSecsHeader header = *readHeader(bytes);
  addLine(header, equipment == (complaint.function() == kTransactionTimeout));
  EncodeHeader(header, bytes);
}

} // namespace

CHSecsIMessageLink::CHSecsIMessageLink(EventLoop &loop, MessageLinkOwner &owner, Medium medium,
                                       std::shared_ptr<LinkSettings> settings,
                                       const SerialPorts &ports)
    : loop_(loop), owner_(&owner), medium_(medium), settings_(std::move(settings)),
      ticker_(loop, *this) {
  if (medium_ == Medium::Tcp)
    return;
  port_ = makeHandle<CHSecsI>(loop, systemFiles(), ports);
  port_->SetSink(this);
  port_->TickWith(ticker_);
}

CHSecsIMessageLink::~CHSecsIMessageLink() = default;

const char *CHSecsIMessageLink::protocolName() const {
  return medium_ == Medium::Serial ? "SECS-I" : "SECS-I over TCP";
}

const char *CHSecsIMessageLink::stateText() const {
  if (state_ == LinkState::Down)
    return "Not Connected";
  return medium_ == Medium::Serial ? "Open" : "Connected";
}

bool CHSecsIMessageLink::IsOpen() const {
  return port_ ? port_->IsOpen() : socket_ && (socket_->Connected() || socket_->Opening());
}

LinkCounters CHSecsIMessageLink::counters() const {
  LinkCounters sum = socket_ ? socket_->counters() : *counters_;
  if (port_)
    sum += port_->counters();
  return sum;
}

std::vector<ConnectionCounters> CHSecsIMessageLink::connectionCounters() const {
  return socket_ ? socket_->connectionCounters() : std::vector<ConnectionCounters>();
}

// Opening ---------------------------------------------------------------------------------------

bool CHSecsIMessageLink::StartOpen(std::function<void(bool connected)> done) {
  if (IsOpen())
    return false;
  if (!port_)
    return openSocket(std::move(done));
  if (!openPort())
    return false;
  opened_ = std::move(done);
  ticker_.wake();
  return true;
}

bool CHSecsIMessageLink::openPort() {
  const SecsILine &line = settings_->secsI;
  portName_ = line.name();
  applySettings();
  if (port_->Open(portName_, line.baudRate, 8, 0, 0))
    return true;
  noteOpenError({LinkProblem::System, portName_ + ": " + std::strerror(port_->OpenError()),
                 port_->OpenError()});
  return false;
}

// A connection is opened once, so every opening starts with a fresh one. That the partner is not
// there yet is no fault of this side: whoever opens tries again.
bool CHSecsIMessageLink::openSocket(std::function<void(bool connected)> done) {
  const bool ownPort = settings_->server && settings_->myPortNumber == 0;
  socket_ = makeHandle<CHSecsISocket>(loop_);
  socket_->SetSink(this);
  socket_->CountIn(counters_);
  socket_->SetServerMode(settings_->server);
  socket_->SetIPAddress(settings_->ipAddress.empty() ? "localhost" : settings_->ipAddress);
  socket_->SetPortNumber(settings_->portNumber);
  socket_->SetMyPortNumber(ownPort ? settings_->portNumber : settings_->myPortNumber);
  socket_->SetMaxQueued(settings_->maxQueued);
  socket_->SetKeepAlive(settings_->keepAlive);
  socket_->SetTap(settings_->tap);
  socket_->TickWith(ticker_);
  applySettings();
  const auto noteError = [this] {
    const int error = socket_->openError();
    if (error != 0 && error != ECONNREFUSED && error != ETIMEDOUT)
      noteOpenError({.code = LinkProblem::System, .number = socketErrorNumber(error)});
  };
  const bool started = socket_->StartOpen([noteError, done = std::move(done)](bool opened) {
    noteError();
    if (done)
      done(opened);
  });
  if (!started)
    noteError();
  return started;
}

void CHSecsIMessageLink::noteOpenError(const Problem &problem) {
  openError_ = problem;
  ticker_.wake();
}

void CHSecsIMessageLink::settingsChanged() {
  applySettings();
  ticker_.arm();
}

void CHSecsIMessageLink::applySettings() {
  const SecsILine &line = settings_->secsI;
  SecsISettings settings;
  settings.t1 = milliseconds(line.t1);
  settings.t2 = milliseconds(line.t2);
  settings.t4 = milliseconds(line.t4);
  settings.retry = static_cast<int16_t>(std::clamp(line.retry, 0, INT16_MAX));
  settings.master = line.isMaster(settings_->equipment);
  settings.carriesOnly = true;
  if (port_)
    port_->SetSettings(settings);
  else if (socket_)
    socket_->SetSettings(settings);
  if (socket_)
    socket_->SetGivesWayAfter(milliseconds(settings_->linktestInterval));
}

void CHSecsIMessageLink::Close() {
  opened_ = {};
  if (port_)
    port_->Close();
  socket_.reset();
  ticker_.wake();
}

void CHSecsIMessageLink::End() {
  owner_ = &silentOwner();
  opened_ = {};
  port_.reset();
  socket_.reset();
  state_ = LinkState::Down;
  ticker_.follow(nullptr);
}

// Sending ---------------------------------------------------------------------------------------

std::optional<CHSecsHeader> CHSecsIMessageLink::Send(const CHSecsHeader &header, ByteView body) {
  if (header.blockWord != 0 || linkState() != LinkState::Ready)
    return std::nullopt;
  CHSecsHeader sent = Complete(header);
  sent.length = static_cast<uint32_t>(CHSecsHeader::kSize + body.size());
  return SendCompleted(sent, body) ? std::optional(sent) : std::nullopt;
}

CHSecsHeader CHSecsIMessageLink::Complete(const CHSecsHeader &header) {
  CHSecsHeader completed = withoutLine(header);
  systemBytes_.complete(completed, settings_->highSystemBytes);
  return completed;
}

bool CHSecsIMessageLink::SendCompleted(const CHSecsHeader &header, ByteView body) {
  CHSecsHeader out = header;
  addLine(out, settings_->equipment);
  Bytes message = joined(out, body);
  addLineToMhead(message, out, settings_->equipment);
  if (port_)
    return port_->QueueMessage(message);
  return socket_ && linkState() == LinkState::Ready && socket_->QueueMessage(message);
}

bool CHSecsIMessageLink::hasUnsent() const {
  return (port_ && port_->transfer().OutCount() != 0) || (socket_ && socket_->OutCount() != 0);
}

bool CHSecsIMessageLink::replyArrives(const CHSecsHeader &primary) const {
  if (port_)
    return port_->transfer().replyArrives(primary);
  return socket_ && socket_->replyArrives(primary);
}

// Reports of the lines --------------------------------------------------------------------------

void CHSecsIMessageLink::OnReceived(ConnectionKind, const std::string &ipAddress,
                                    int32_t portNumber, ByteView data) {
  const auto held = hold();
  tellOpened(); // a port may be read before the tick that tells of it
  updateState();
  const CHSecsHeader header = withoutLine(*readHeader(data));
  owner_->OnReceived(port_ ? portName_ : ipAddress, portNumber,
                     joined(header, data.subspan(CHSecsHeader::kSize)), false);
}

void CHSecsIMessageLink::OnSent(ConnectionKind, const std::string &, int32_t, ByteView data,
                                bool sent) {
  const auto held = hold();
  const CHSecsHeader header = withoutLine(*readHeader(data));
  if (sent)
    owner_->OnTransmitted(header.systemBytes);
  else
    owner_->OnSendFailed(header, data.subspan(CHSecsHeader::kSize));
}

void CHSecsIMessageLink::OnProblem(ConnectionKind, const std::string &ipAddress, int32_t portNumber,
                                   const Problem &problem) {
  const auto held = hold();
  const std::string name = port_ ? portName_ : ipAddress;
  const bool portIsGone = port_ && problem.code == LinkProblem::System;
  owner_->OnProblem(name, portNumber, problem, {});
  if (portIsGone)
    owner_->OnDisconnected(name, portNumber);
  ticker_.wake();
}

// The link to one partner has ended before that to the next begins.
void CHSecsIMessageLink::OnConnectionChanged(ConnectionKind, const std::string &ipAddress,
                                             int32_t portNumber, bool connected) {
  const auto held = hold();
  ticker_.wake();
  if (!connected) {
    owner_->OnDisconnected(ipAddress, portNumber);
    return;
  }
  setState(LinkState::Down);
  owner_->OnConnected(ipAddress, portNumber);
  updateState();
}

// Ticks -----------------------------------------------------------------------------------------

LinkState CHSecsIMessageLink::linkState() const {
  bool up = false;
  if (port_)
    up = port_->IsOpen();
  else if (socket_ && socket_->ServerMode())
    for (size_t i = 0; i < socket_->PeerCount() && !up; ++i)
      up = socket_->PeerAt(i).Connected();
  else
    up = socket_ && socket_->Connected();
  return up ? LinkState::Ready : LinkState::Down;
}

void CHSecsIMessageLink::setState(LinkState next) {
  const LinkState old = std::exchange(state_, next);
  if (next != old)
    owner_->OnStateChanged(next, old);
}

void CHSecsIMessageLink::tellOpened() {
  if (const auto done = std::exchange(opened_, nullptr)) {
    owner_->OnConnected(portName_, 0);
    if (port_ && port_->IsOpen())
      done(true);
  }
}

void CHSecsIMessageLink::Poll() {
  const auto held = hold();
  if (const auto error = std::exchange(openError_, std::nullopt)) {
    counters_->count(error->code);
    if (port_)
      owner_->OnProblem(portName_, 0, *error, {});
    else
      owner_->OnProblem(settings_->ipAddress, settings_->portNumber, *error, {});
  }
  tellOpened();
  updateState();
  if (port_)
    port_->Poll();
  else if (socket_)
    socket_->Poll();
  updateState();
}

std::optional<uint32_t> CHSecsIMessageLink::NextPoll() const {
  if (openError_ || opened_ || state_ != linkState())
    return 0;
  if (port_)
    return port_->NextPoll();
  return socket_ ? socket_->NextPoll() : std::nullopt;
}

} // namespace velto
