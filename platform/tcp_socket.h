#pragma once

#include "base/bytes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace velto {

/// The name of this machine; empty when the platform cannot give it.
std::string localHostName();

/// The first IPv4 address of a host, in dotted form; empty when the name is unknown. An empty name
/// means this machine. A name that is not an address may block for as long as the resolver takes.
std::string resolveHost(const std::string &hostName);
/// The IPv4 address that a text states, in dotted form; empty when it is a name, which NameResolver
/// looks up.
std::string statedAddress(const std::string &text);

/// How a connection whose remote end is gone without a word is noticed; seconds, 0: as the system
/// is set (hours, most often).
struct KeepAlive {
  int32_t idle = 10;        ///< silence before the first probe
  int32_t interval = 5;     ///< between probes
  int32_t count = 3;        ///< of probes without an answer
  int32_t sendTimeout = 30; ///< how long data that was sent may stay unacknowledged

  friend bool operator==(const KeepAlive &, const KeepAlive &) = default;
};

/// A non-blocking IPv4 stream socket. Results are `errno` values, 0 for success.
class TcpSocket {
public:
  struct Peer;
  /// The addresses of a connection, in dotted form.
  struct Ends {
    std::string local;
    uint16_t localPort = 0;
    std::string remote;
    uint16_t remotePort = 0;

    /// As the other end has them.
    Ends turned() const { return {remote, remotePort, local, localPort}; }
  };

  TcpSocket() = default;
  ~TcpSocket() { close(); }
  TcpSocket(TcpSocket &&other) noexcept;
  TcpSocket &operator=(TcpSocket &&other) noexcept;

  /// Creates the socket, bound to `localPort` (0: any), with keep-alive on. `reuseAddress` lets it
  /// take a port that connections which have just ended still occupy. Closes an earlier socket
  /// first; stays closed when it fails.
  int create(uint16_t localPort, bool reuseAddress);
  int listen(int backlog);
  /// Sets the probes of a connection; accepted ones have those of their listener.
  void setKeepAlive(const KeepAlive &settings);
  /// 0 when connected at once, EINPROGRESS while connecting.
  int connect(const std::string &ipAddress, uint16_t port);
  /// The outcome of a connect that was in progress; ECONNREFUSED when the socket met itself.
  int takeError();
  /// The next pending connection; nothing when there is none or it failed (`error` tells which;
  /// EAGAIN when there is none).
  std::optional<Peer> accept(int &error);

  /// Up to `size` bytes; -1 with `errno` (EAGAIN: nothing there), 0 at the end of the stream.
  ssize_t receive(uint8_t *buffer, size_t size);
  /// Sends `first` followed by `second` in one write; the count taken, or -1 with `errno`.
  ssize_t send(ByteView first, ByteView second = {});
  /// To call before close(): ends what is sent, and drops what has arrived. Unread bytes would turn
  /// the close into a reset, which destroys what the other end has yet to read. Never blocks.
  void finish();

  /// Ends what is sent; what the other end sends still arrives.
  void endSending();
  /// Closes with a reset (RST): the other end hears of an error, and gets nothing more.
  void abort();

  int fd() const { return fd_; }
  bool isOpen() const { return fd_ >= 0; }
  /// The port that the socket is bound to; 0 when it has none.
  uint16_t localPort() const;
  /// Of a connected socket; what is not known is empty.
  Ends ends() const;
  void close();

private:
  int fd_ = -1;
};

struct TcpSocket::Peer {
  TcpSocket socket;
  std::string ipAddress;
  uint16_t port = 0;
};

} // namespace velto
