#include "transport/tcp/connection.h"

#include "platform/socket_error.h"

#include <cerrno>
#include <limits>
#include <utility>

namespace velto {

namespace {

// Errors after which the same call on the same socket may well succeed.
bool isTransient(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

} // namespace

CHHsmsConnection::CHHsmsConnection(EventLoop &loop, ConnectionKind kind)
    : loop_(loop), kind_(kind), sink_(&silentSink()), ticker_(loop, *this),
      counters_(std::make_shared<LinkCounters>()) {}

CHHsmsConnection::~CHHsmsConnection() { CHHsmsConnection::Close(); }

// Closing ---------------------------------------------------------------------------------------

void CHHsmsConnection::Close() {
  opening_.reset();
  disconnect();
  acceptPaused_ = false;
  spare_.release();
  ++peerGeneration_;
  while (!peers_.empty())
    dropPeer(peers_.begin());
}

void CHHsmsConnection::End() {
  ended_ = true;
  sink_ = &silentSink();
  Close();
  socketError_ = 0;
  ticker_.follow(nullptr);
}

void CHHsmsConnection::SetSink(CHConnectionSink *sink) {
  sink_ = sink != nullptr ? sink : &silentSink();
}

void CHHsmsConnection::disconnect() {
  if (connected_ && !listening_) {
    if (!output_.empty())
      sendQueued();
    socket_.finish();
  }
  closeSocket();
  received_.clear();
}

void CHHsmsConnection::closeSocket() {
  connected_ = false;
  sendFailed_ = false;
  watch_.reset();
  wire_.reset();
  socket_.close();
  output_.clear();
}

// What the socket says --------------------------------------------------------------------------

// A watch for nothing would still be told of errors, again and again; so there is none then.
void CHHsmsConnection::watchSocket() {
  unsigned events = 0;
  if (connected_ && (listening_ ? listensNow() : received_.size() < bufferLimit()))
    events |= DescriptorWatch::kReadable;
  if (!connected_ || !output_.empty())
    events |= DescriptorWatch::kWritable;
  if (events == 0)
    watch_.reset();
  else if (watch_ != nullptr)
    watch_->setEvents(events);
  else
    watch_ = std::make_unique<DescriptorWatch>(loop_, socket_.fd(), events,
                                               [this](unsigned ready) { onReady(ready); });
}

void CHHsmsConnection::onReady(unsigned events) {
  const auto held = hold();
  if (!connected_) {
    finishOpen(socket_.takeError());
    return;
  }
  if ((events & DescriptorWatch::kWritable) != 0)
    flush();
  if ((events & DescriptorWatch::kReadable) == 0)
    return;
  if (listening_)
    acceptPeers();
  else
    receive();
}

bool CHHsmsConnection::receive() {
  const size_t limit = bufferLimit();
  if (received_.size() >= limit)
    return false;
  const auto space = received_.space(std::min(readSize(), limit - received_.size()));
  const ssize_t count = socket_.receive(space.data(), space.size());
  if (count > 0) {
    received_.added(static_cast<size_t>(count));
    counters_->bytesIn += static_cast<size_t>(count);
    tap(TraceDirection::Received, space.first(static_cast<size_t>(count)));
    if (received_.size() >= limit)
      watchSocket();
    onArrived();
  } else if (count == 0) {
    closedByRemote(0);
  } else if (!isTransient(errno)) {
    closedByRemote(errno);
  }
  return count > 0;
}

// The owner is woken before a report, which may pump the loop: the ticks go on meanwhile.
void CHHsmsConnection::closedByRemote(int error) {
  recordError(error);
  closeSocket();
  markChanged();
  wake();
  onConnectionChanged(false);
}

void CHHsmsConnection::recordError(int error) {
  if (error != 0)
    socketError_ = socketErrorNumber(error);
}

// Sending ---------------------------------------------------------------------------------------

int32_t CHHsmsConnection::SendFrame(ByteView bytes) {
  if (listening_) {
    CHHsmsConnection *peer = FindPeer(ipAddress_, portNumber_);
    if (peer == nullptr)
      return cannotSend();
    return peer->SendFrame(bytes);
  }
  return transmit(bytes) ? static_cast<int32_t>(bytes.size()) : 0;
}

// A frame that the socket took in part is always kept whole; only one that it did not take at all
// can be turned away.
bool CHHsmsConnection::transmit(ByteView first, ByteView second) {
  const size_t size = first.size() + second.size();
  if (!connected_ || sendFailed_ || listening_ || size > std::numeric_limits<int32_t>::max())
    return cannotSend();
  size_t taken = 0;
  if (output_.empty()) {
    const ssize_t count = socket_.send(first, second);
    if (count < 0 && !isTransient(errno)) {
      sendFailed(errno);
      return cannotSend();
    }
    taken = count > 0 ? static_cast<size_t>(count) : 0;
    counters_->bytesOut += taken;
    const size_t ofFirst = std::min(taken, first.size());
    tap(TraceDirection::Sent, first.first(ofFirst), second.first(taken - ofFirst));
  }
  if (taken < size) {
    if (taken == 0 && output_.size() + size > maxQueued_)
      return cannotSend();
    if (taken < first.size())
      output_.append(first.subspan(taken));
    output_.append(second.subspan(taken - std::min(taken, first.size())));
    counters_->queued(output_.size());
    watchSocket();
  }
  markChanged();
  return true;
}

LinkCounters CHHsmsConnection::counters() const {
  LinkCounters sum = *counters_;
  for (const auto &peer : peers_)
    sum += *peer->counters_;
  return sum;
}

std::vector<ConnectionCounters> CHHsmsConnection::connectionCounters() const {
  std::vector<ConnectionCounters> each;
  for (const auto &peer : peers_)
    each.push_back({peer->ipAddress_ + ':' + std::to_string(peer->portNumber_), *peer->counters_});
  return each;
}

bool CHHsmsConnection::cannotSend() {
  counters_->count(LinkProblem::CannotSend);
  return false;
}

// As socket_.send().
ssize_t CHHsmsConnection::sendQueued() {
  const ssize_t count = socket_.send(output_.view());
  if (count > 0) {
    counters_->bytesOut += static_cast<size_t>(count);
    tap(TraceDirection::Sent, output_.view().first(static_cast<size_t>(count)));
  }
  return count;
}

void CHHsmsConnection::tapConnection(bool accepted) {
  wire_ = tap_ != nullptr ? tap_->connected(socket_.ends(), accepted) : nullptr;
}

void CHHsmsConnection::tap(TraceDirection direction, ByteView first, ByteView second) {
  if (wire_ != nullptr && !(first.empty() && second.empty()))
    wire_->passed(direction, first, second);
}

void CHHsmsConnection::flush() {
  if (output_.empty())
    return;
  const ssize_t count = sendQueued();
  if (count > 0)
    output_.drop(static_cast<size_t>(count));
  else if (count < 0 && !isTransient(errno))
    sendFailed(errno);
  watchSocket();
}

// The remote end would read on in the middle of a frame: the connection ends, on the next tick,
// since a sender is not told of it inside its call. An end by the remote side is noticed by
// reading, which first takes what has arrived.
void CHHsmsConnection::sendFailed(int error) {
  output_.clear();
  if (error != EPIPE)
    recordError(error);
  sendFailed_ = error != EPIPE && error != ECONNRESET;
  wake();
}

bool CHHsmsConnection::endBroken() {
  if (!sendFailed_)
    return false;
  reportSocketError();
  if (std::exchange(sendFailed_, false) && connected_)
    closedByRemote(0);
  return true;
}

// Ticks -----------------------------------------------------------------------------------------

void CHHsmsConnection::tick() {
  sink_->OnTick();
  Poll();
}

void CHHsmsConnection::Poll() {
  if (listening_) {
    pollPeers();
  } else if (endBroken()) {
    return;
  } else if (!received_.empty()) {
    markChanged();
    ByteQueue data = takeReceived(received_.size());
    reportReceived(data.view());
    giveBack(std::move(data));
  }
  reportSocketError();
}

// The receive buffer ----------------------------------------------------------------------------

int32_t CHHsmsConnection::ReadBuffer(uint8_t *destination, int32_t count, bool remove) {
  if (destination == nullptr) {
    dropReceived();
    return 0;
  }
  const size_t copied = std::min(received_.size(), static_cast<size_t>(std::max(count, 0)));
  std::copy_n(received_.view().begin(), copied, destination);
  if (remove) {
    received_.drop(copied);
    if (connected_)
      watchSocket();
  }
  return static_cast<int32_t>(copied);
}

uint32_t CHHsmsConnection::PeekLength() const {
  return received_.size() < sizeof(uint32_t) ? 0 : readBigEndian<uint32_t>(received_.view().data());
}

bool CHHsmsConnection::holdsFrame() const {
  return received_.size() >= sizeof(uint32_t) &&
         received_.size() - sizeof(uint32_t) >= PeekLength();
}

ByteQueue CHHsmsConnection::takeReceived(size_t count) {
  ByteQueue taken = received_.take(count);
  if (connected_)
    watchSocket();
  return taken;
}

void CHHsmsConnection::dropReceived() {
  received_.clear();
  if (connected_)
    watchSocket();
}

// Reports ---------------------------------------------------------------------------------------

CHConnectionSink &CHHsmsConnection::sink() const {
  return listener_ == nullptr ? *sink_ : *listener_->sink_;
}

void CHHsmsConnection::onConnectionChanged(bool connected) {
  sink().OnConnectionChanged(kind_, ipAddress_, portNumber_, connected);
}

void CHHsmsConnection::reportReceived(ByteView data) {
  sink().OnReceived(kind_, ipAddress_, portNumber_, data);
}

void CHHsmsConnection::reportProblem(const Problem &problem) {
  counters_->count(problem.code);
  sink().OnProblem(kind_, ipAddress_, portNumber_, problem);
}

void CHHsmsConnection::reportSocketError() {
  const std::string text = std::exchange(turnedAway_, {});
  if (const int error = std::exchange(socketError_, 0); error != 0)
    reportProblem({.code = LinkProblem::System, .text = text, .number = error});
}

} // namespace velto
