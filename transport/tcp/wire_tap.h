#pragma once

#include "base/bytes.h"
#include "platform/tcp_socket.h"
#include "transport/link/connection_sink.h"

#include <memory>

namespace velto {

/// Hears the bytes of TCP connections as sockets give and take them. It may only look: the
/// connection is in the midst of a step.
class WireTap {
public:
  /// One connection, which ends with its destruction.
  class Wire {
  public:
    virtual ~Wire() = default;
    /// `first` followed by `second`.
    virtual void passed(TraceDirection direction, ByteView first, ByteView second) = 0;
  };

  virtual ~WireTap() = default;
  /// A connection was made; `accepted`: by the remote end. May be null.
  virtual std::unique_ptr<Wire> connected(const TcpSocket::Ends &ends, bool accepted) = 0;
};

} // namespace velto
