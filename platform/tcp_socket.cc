#include "platform/tcp_socket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>

namespace velto {

namespace {

std::string dotted(const in_addr &address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  return inet_ntop(AF_INET, &address, text.data(), text.size()) == nullptr ? "" : text.data();
}

int result(int returned) { return returned == 0 ? 0 : errno; }

int setOption(int fd, int level, int option, int value = 1) {
  return result(setsockopt(fd, level, option, &value, sizeof value));
}

/// Whether a socket is connected to itself: TCP lets it be when nobody listens on the port that the
/// socket is bound to.
bool metItself(int fd) {
  sockaddr_in local{};
  sockaddr_in remote{};
  socklen_t localSize = sizeof local;
  socklen_t remoteSize = sizeof remote;
  return getsockname(fd, reinterpret_cast<sockaddr *>(&local), &localSize) == 0 &&
         getpeername(fd, reinterpret_cast<sockaddr *>(&remote), &remoteSize) == 0 &&
         local.sin_port == remote.sin_port && local.sin_addr.s_addr == remote.sin_addr.s_addr;
}

std::string firstAddress(const std::string &name, int flags) {
  if (name.empty())
    return "";
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = flags;
  addrinfo *found = nullptr;
  if (getaddrinfo(name.c_str(), nullptr, &hints, &found) != 0)
    return "";
  const std::unique_ptr<addrinfo, void (*)(addrinfo *)> owner(found, freeaddrinfo);
  sockaddr_in address{};
  std::copy_n(reinterpret_cast<const char *>(found->ai_addr), sizeof address,
              reinterpret_cast<char *>(&address));
  return dotted(address.sin_addr);
}

} // namespace

std::string localHostName() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

std::string resolveHost(const std::string &hostName) {
  return firstAddress(hostName.empty() ? localHostName() : hostName, 0);
}

std::string statedAddress(const std::string &text) { return firstAddress(text, AI_NUMERICHOST); }

TcpSocket::TcpSocket(TcpSocket &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

TcpSocket &TcpSocket::operator=(TcpSocket &&other) noexcept {
  if (this != &other) {
    close();
    fd_ = std::exchange(other.fd_, -1);
  }
  return *this;
}

int TcpSocket::create(uint16_t localPort, bool reuseAddress) {
  close();
  fd_ = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd_ < 0)
    return errno;
  if (reuseAddress)
    setOption(fd_, SOL_SOCKET, SO_REUSEADDR);
  setOption(fd_, IPPROTO_TCP, TCP_NODELAY);
  int error = setOption(fd_, SOL_SOCKET, SO_KEEPALIVE);
  if (error == 0) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(localPort);
    error = result(bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address));
  }
  if (error != 0)
    close();
  return error;
}

int TcpSocket::listen(int backlog) { return result(::listen(fd_, backlog)); }

// The platform turns away what is beyond its own limits, and stays as it was set.
void TcpSocket::setKeepAlive(const KeepAlive &settings) {
  constexpr int32_t kMostSeconds = 32'767;
  constexpr int32_t kMostProbes = 127;
  const auto set = [this](int option, int32_t value, int32_t most, int unit = 1) {
    if (value > 0)
      setOption(fd_, IPPROTO_TCP, option, std::min(value, most) * unit);
  };
  set(TCP_KEEPIDLE, settings.idle, kMostSeconds);
  set(TCP_KEEPINTVL, settings.interval, kMostSeconds);
  set(TCP_KEEPCNT, settings.count, kMostProbes);
  set(TCP_USER_TIMEOUT, settings.sendTimeout, kMostSeconds, 1000);
}

int TcpSocket::connect(const std::string &ipAddress, uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  if (inet_pton(AF_INET, ipAddress.c_str(), &address.sin_addr) != 1)
    return EADDRNOTAVAIL;
  const int error =
      result(::connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address));
  return error == 0 ? takeError() : error;
}

int TcpSocket::takeError() {
  int error = 0;
  socklen_t size = sizeof error;
  if (getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &size) != 0)
    return errno;
  return error == 0 && metItself(fd_) ? ECONNREFUSED : error;
}

std::optional<TcpSocket::Peer> TcpSocket::accept(int &error) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  const int fd =
      accept4(fd_, reinterpret_cast<sockaddr *>(&address), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
  error = fd < 0 ? errno : 0;
  if (fd < 0)
    return std::nullopt;
  setOption(fd, IPPROTO_TCP, TCP_NODELAY);
  setOption(fd, SOL_SOCKET, SO_KEEPALIVE);
  Peer peer{{}, dotted(address.sin_addr), ntohs(address.sin_port)};
  peer.socket.fd_ = fd;
  return peer;
}

ssize_t TcpSocket::receive(uint8_t *buffer, size_t size) { return recv(fd_, buffer, size, 0); }

ssize_t TcpSocket::send(ByteView first, ByteView second) {
  std::array<iovec, 2> parts{iovec{const_cast<uint8_t *>(first.data()), first.size()},
                             iovec{const_cast<uint8_t *>(second.data()), second.size()}};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = second.empty() ? 1 : 2;
  return sendmsg(fd_, &message, MSG_NOSIGNAL);
}

// The bound keeps a remote end that never stops sending from holding the caller.
void TcpSocket::finish() {
  constexpr int kMostReads = 256;
  shutdown(fd_, SHUT_WR);
  std::array<uint8_t, 65536> dropped;
  for (int i = 0; i < kMostReads && receive(dropped.data(), dropped.size()) > 0;)
    ++i;
}

void TcpSocket::endSending() { shutdown(fd_, SHUT_WR); }

void TcpSocket::abort() {
  const linger nothing{1, 0};
  if (isOpen())
    setsockopt(fd_, SOL_SOCKET, SO_LINGER, &nothing, sizeof nothing);
  close();
}

uint16_t TcpSocket::localPort() const {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (getsockname(fd_, reinterpret_cast<sockaddr *>(&address), &size) != 0)
    return 0;
  return ntohs(address.sin_port);
}

TcpSocket::Ends TcpSocket::ends() const {
  Ends ends;
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (getsockname(fd_, reinterpret_cast<sockaddr *>(&address), &size) == 0) {
    ends.local = dotted(address.sin_addr);
    ends.localPort = ntohs(address.sin_port);
  }
  size = sizeof address;
  if (getpeername(fd_, reinterpret_cast<sockaddr *>(&address), &size) == 0) {
    ends.remote = dotted(address.sin_addr);
    ends.remotePort = ntohs(address.sin_port);
  }
  return ends;
}

void TcpSocket::close() {
  if (fd_ >= 0)
    ::close(std::exchange(fd_, -1));
}

} // namespace velto
