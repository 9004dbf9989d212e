#include "platform/name_resolver.h"
#include "transport/tcp/connection.h"

#include <cerrno>
#include <utility>

// How a connection is opened: a listener at once, an active entity when it knows the remote address
// and has been answered.

namespace velto {

namespace {

constexpr int kBacklog = 128; // connections that wait to be accepted

bool isPort(int32_t number) { return number >= 0 && number <= 0xFFFF; }

} // namespace

struct CHHsmsConnection::OpenRequest {
  OpenRequest(EventLoop &loop, std::function<void(bool)> callback, std::function<void()> onLimit)
      : done(std::move(callback)), limit(loop, std::move(onLimit)) {}
  std::function<void(bool)> done;
  Timer limit; // of the connect, and of finding the address of a name before it
  std::shared_ptr<void> lookup;
};

bool CHHsmsConnection::Open() {
  if (serverMode_)
    return !created_ && !Opening() && (openError_ = startListening()) == 0;
  const auto held = hold();
  bool opened = false;
  if (!StartOpen([&](bool outcome) { opened = outcome; }))
    return false;
  // The request ends with its outcome, with Close() and with the object.
  const std::weak_ptr<OpenRequest> request = opening_;
  loop_.runUntil([&] { return request.expired(); }, kOpenTimeout);
  if (!request.expired())
    finishOpen(ETIMEDOUT);
  return opened && connected_;
}

bool CHHsmsConnection::StartOpen(std::function<void(bool connected)> done) {
  if (created_ || opening_ != nullptr)
    return false;
  openError_ = serverMode_ ? startListening() : startConnecting();
  const int error = std::exchange(openError_, openError_ == EINPROGRESS ? 0 : openError_);
  if (openError_ != 0)
    return false;
  opening_ =
      std::make_shared<OpenRequest>(loop_, std::move(done), [this] { finishOpen(ETIMEDOUT); });
  if (error == EINPROGRESS) {
    opening_->limit.start(kOpenTimeout);
    if (statedAddress(ipAddress_).empty())
      lookUpRemote();
    else
      watchSocket();
  } else {
    loop_.post([this, request = std::weak_ptr(opening_)] {
      if (!request.expired())
        finishOpen(0);
    });
  }
  return true;
}

int CHHsmsConnection::startListening() {
  if (!isPort(myPortNumber_))
    return EINVAL;
  int error = socket_.create(static_cast<uint16_t>(myPortNumber_), true);
  if (error == 0) {
    socket_.setKeepAlive(keepAlive_);
    error = socket_.listen(kBacklog);
  }
  if (error != 0) {
    socket_.close();
    return error;
  }
  if (ipAddress_.empty())
    ipAddress_ = localHostName();
  spare_.acquire();
  listening_ = connected_ = created_ = true;
  watchSocket();
  return 0;
}

// A name is looked up first, which takes its time: EINPROGRESS then too.
int CHHsmsConnection::startConnecting() {
  if (!isPort(myPortNumber_) || !isPort(portNumber_))
    return EINVAL;
  int error = socket_.create(static_cast<uint16_t>(myPortNumber_), myPortNumber_ != 0);
  if (error == 0) {
    socket_.setKeepAlive(keepAlive_);
    if (ipAddress_.empty())
      ipAddress_ = localHostName();
    const std::string address = statedAddress(ipAddress_);
    error = address.empty() ? EINPROGRESS
                            : socket_.connect(address, static_cast<uint16_t>(portNumber_));
  }
  if (error != 0 && error != EINPROGRESS)
    socket_.close();
  return error;
}

void CHHsmsConnection::lookUpRemote() {
  opening_->lookup = loop_.names().lookUp(ipAddress_, [this](const std::string &address) {
    const auto held = hold();
    const int error = socket_.connect(address, static_cast<uint16_t>(portNumber_));
    if (error == EINPROGRESS)
      watchSocket();
    else
      finishOpen(error);
  });
}

void CHHsmsConnection::finishOpen(int error) {
  const auto held = hold();
  const auto request = opening_; // keeps the callback and the timer that may be calling
  request->limit.stop();
  request->lookup.reset();
  if (error != 0) {
    openError_ = error;
    Close();
    if (request->done)
      request->done(false);
    return;
  }
  if (!listening_) {
    connected_ = created_ = true;
    ++counters_->connections;
    tapConnection(false);
    watchSocket();
    markChanged();
    wake();
    onConnectionChanged(true);
    if (opening_ != request)
      return;
  }
  opening_.reset();
  wake();
  if (request->done)
    request->done(connected_);
}

} // namespace velto
