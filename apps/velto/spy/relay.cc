#include "apps/velto/spy/relay.h"

#include "platform/name_resolver.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

namespace velto {

namespace {

constexpr int kBacklog = 16;
constexpr uint32_t kNoDescriptors = 1000; // ms until accepting is tried again

bool isPassing(int error) { return error == EAGAIN || error == EINTR; }

} // namespace

/// The two ends of a connection: 0 who has connected, 1 the target. What end n sends goes to the
/// other one.
class Relay::Connection {
public:
  struct End {
    TcpSocket socket;
    std::unique_ptr<DescriptorWatch> watch;
    std::string name;
    Bytes held; // what it has sent and the other end has not taken
    bool sends = true;
  };

  std::array<End, 2> ends;
  std::shared_ptr<void> lookUp; // of the target's name
  bool connected = false;
  std::string how; // it has ended; empty: it goes on
  bool isProblem = false;

  void end(const std::string &text, bool problem) {
    how = text;
    isProblem = problem;
  }

  // Either end hears of a reset of the other one.
  void reset(size_t index, int error) {
    end("reset by " + ends[index].name + ": " + std::strerror(error), true);
    for (End &each : ends)
      abort(each);
  }
  static void abort(End &each) {
    each.watch.reset();
    each.socket.abort();
  }

  // What `from` sends next, up to the room of the chunk; it is on its way when this returns.
  ByteView pass(size_t from, std::span<uint8_t> chunk) {
    End &source = ends[from];
    End &drain = ends[1 - from];
    const ssize_t count = source.socket.receive(chunk.data(), chunk.size());
    if (count < 0 && !isPassing(errno))
      reset(from, errno);
    if (count == 0) {
      source.sends = false;
      closedBy_ = closedBy_.empty() ? source.name : closedBy_;
    }
    if (count <= 0)
      return {};
    const ByteView bytes(chunk.data(), static_cast<size_t>(count));
    const ssize_t sent = drain.socket.send(bytes);
    if (sent < 0 && !isPassing(errno)) {
      reset(1 - from, errno);
      return bytes;
    }
    const ByteView rest = bytes.subspan(static_cast<size_t>(std::max<ssize_t>(sent, 0)));
    source.held.assign(rest.begin(), rest.end());
    return bytes;
  }

  void passHeld(size_t from) {
    End &source = ends[from];
    const ssize_t sent = ends[1 - from].socket.send(source.held);
    if (sent < 0 && !isPassing(errno))
      reset(1 - from, errno);
    if (sent > 0)
      source.held.erase(source.held.begin(), source.held.begin() + sent);
  }

  // Behind each step: the end of a direction goes on when its bytes have gone, and each end is
  // watched for what it may do.
  void settle() {
    if (!connected || !how.empty())
      return;
    for (size_t i = 0; i < ends.size(); ++i)
      if (!ends[i].sends && ends[i].held.empty() && !std::exchange(passedEnd_[i], true))
        ends[1 - i].socket.endSending();
    if (passedEnd_[0] && passedEnd_[1])
      return end("closed by " + closedBy_, false);
    for (size_t i = 0; i < ends.size(); ++i)
      ends[i].watch->setEvents((mayRead(i) ? DescriptorWatch::kReadable : 0) |
                               (ends[1 - i].held.empty() ? 0 : DescriptorWatch::kWritable));
  }
  bool mayRead(size_t index) const { return ends[index].sends && ends[index].held.empty(); }

private:
  std::array<bool, 2> passedEnd_{};
  std::string closedBy_; // who was the first to end
};

Relay::Relay(EventLoop &loop, RelaySink &sink, std::string targetHost, uint16_t targetPort)
    : loop_(loop), sink_(sink), targetHost_(std::move(targetHost)), targetPort_(targetPort),
      resume_(loop, [this] { watch_->setEvents(DescriptorWatch::kReadable); }) {}

Relay::~Relay() = default;

int Relay::listen(uint16_t port) {
  int error = listener_.create(port, true);
  error = error == 0 ? listener_.listen(kBacklog) : error;
  if (error == 0)
    watch_ = std::make_unique<DescriptorWatch>(loop_, listener_.fd(), DescriptorWatch::kReadable,
                                               [this](unsigned) { accept(); });
  return error;
}

void Relay::accept() {
  int error = 0;
  auto peer = listener_.accept(error);
  if (!peer) {
    if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM) {
      sink_.refused(std::string("a connection cannot be accepted: ") + std::strerror(error));
      watch_->setEvents(0);
      resume_.start(kNoDescriptors);
    }
    return;
  }
  const uint32_t id = ++lastId_;
  auto &connection = *(connections_[id] = std::make_unique<Connection>());
  connection.ends[0].socket = std::move(peer->socket);
  connection.ends[0].name = peer->ipAddress + ':' + std::to_string(peer->port);
  connection.ends[1].name = targetHost_ + ':' + std::to_string(targetPort_);
  connection.ends[0].watch =
      std::make_unique<DescriptorWatch>(loop_, connection.ends[0].socket.fd(), 0,
                                        [this, id](unsigned events) { ready(id, 0, events); });
  sink_.opened(id, connection.ends[0].socket.ends());
  if (const std::string stated = statedAddress(targetHost_); !stated.empty())
    return connect(id, stated);
  connection.lookUp = loop_.names().lookUp(
      targetHost_, [this, id](const std::string &address) { connect(id, address); });
}

void Relay::connect(uint32_t id, const std::string &address) {
  Connection &connection = *connections_.at(id);
  Connection::End &target = connection.ends[1];
  int error = target.socket.create(0, false);
  if (error == 0)
    error = target.socket.connect(address, targetPort_);
  if (address.empty())
    connection.end("there is no host " + targetHost_, true);
  else if (error == 0 || error == EINPROGRESS)
    target.watch =
        std::make_unique<DescriptorWatch>(loop_, target.socket.fd(), DescriptorWatch::kWritable,
                                          [this, id](unsigned events) { ready(id, 1, events); });
  else
    connection.end("cannot connect to " + target.name + ": " + std::strerror(error), true);
  settle(id);
}

void Relay::ready(uint32_t id, size_t end, unsigned events) {
  Connection &connection = *connections_.at(id);
  if (!connection.connected) {
    const int error = connection.ends[end].socket.takeError();
    connection.connected = end == 1 && error == 0;
    if (error != 0 && end == 1)
      connection.end("cannot connect to " + connection.ends[1].name + ": " + std::strerror(error),
                     true);
    else if (!connection.connected)
      connection.reset(end, error == 0 ? ECONNRESET : error);
    return settle(id);
  }
  if ((events & DescriptorWatch::kWritable) != 0 && !connection.ends[1 - end].held.empty())
    connection.passHeld(1 - end);
  if (connection.how.empty() && (events & DescriptorWatch::kReadable) != 0) {
    if (connection.mayRead(end)) {
      if (const ByteView bytes = connection.pass(end, chunk_); !bytes.empty())
        sink_.passed(id, end == 0 ? SpyDirection::ToTarget : SpyDirection::FromTarget, bytes);
    } else if (const int error = connection.ends[end].socket.takeError(); error != 0) {
      connection.reset(end, error); // an error is told whatever is watched for
    }
  }
  settle(id);
}

// One that cannot be connected, or was reset, is reset at the end that is left.
void Relay::settle(uint32_t id) {
  const auto found = connections_.find(id);
  found->second->settle();
  if (found->second->how.empty())
    return;
  const std::unique_ptr<Connection> ended = std::move(found->second);
  connections_.erase(found);
  if (ended->isProblem)
    for (Connection::End &each : ended->ends)
      Connection::abort(each);
  for (Connection::End &each : ended->ends)
    each.watch.reset();
  sink_.ended(id, ended->how, ended->isProblem);
}

} // namespace velto
