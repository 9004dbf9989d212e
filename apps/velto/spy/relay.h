#pragma once

#include "apps/velto/spy/moment.h"
#include "base/bytes.h"
#include "platform/event_loop.h"
#include "platform/tcp_socket.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace velto {

/// Hears what goes through a relay, behind the relay's work: bytes are on their way when they are
/// told of.
class RelaySink {
public:
  virtual ~RelaySink() = default;
  /// Somebody has connected; the connection to the target begins.
  virtual void opened(uint32_t connection, const TcpSocket::Ends &ends) = 0;
  virtual void passed(uint32_t connection, SpyDirection direction, ByteView bytes) = 0;
  /// `how`: "closed by 10.0.0.5:5000", "reset by …", "cannot connect to …".
  virtual void ended(uint32_t connection, const std::string &how, bool isProblem) = 0;
  /// A connection cannot be accepted.
  virtual void refused(const std::string &why) = 0;
};

/// Accepts connections, makes one to the target for each, and passes bytes both ways as they come:
/// unchanged, at once, with the end of each direction and with resets. Whoever does not read holds
/// up the other end as it would without a relay: at most kBuffer bytes of each direction are held.
class Relay {
public:
  static constexpr size_t kBuffer = 65'536;

  Relay(EventLoop &loop, RelaySink &sink, std::string targetHost, uint16_t targetPort);
  ~Relay();
  Relay(const Relay &) = delete;
  Relay &operator=(const Relay &) = delete;

  /// 0, or why the port cannot be listened on, an `errno` value. Port 0: any free one.
  int listen(uint16_t port);
  uint16_t port() const { return listener_.localPort(); }

private:
  class Connection;

  void accept();
  void connect(uint32_t id, const std::string &address);
  void ready(uint32_t id, size_t end, unsigned events);
  void settle(uint32_t id);

  EventLoop &loop_;
  RelaySink &sink_;
  const std::string targetHost_;
  const uint16_t targetPort_;
  TcpSocket listener_;
  std::unique_ptr<DescriptorWatch> watch_;
  Timer resume_; // accepting, after the system had no more descriptors
  uint32_t lastId_ = 0;
  std::map<uint32_t, std::unique_ptr<Connection>> connections_;
  std::array<uint8_t, kBuffer> chunk_;
};

} // namespace velto
