#pragma once

#include "platform/tcp_socket.h"

#include <cerrno>
#include <utility>

namespace velto {

// The two ends of a connection on the loopback, for the yardsticks.
struct RawSockets {
  RawSockets() {
    TcpSocket listener;
    listener.create(0, true);
    listener.listen(1);
    client.create(0, false);
    client.connect("127.0.0.1", listener.localPort());
    for (int error = EAGAIN; error == EAGAIN;)
      if (auto peer = listener.accept(error))
        server = std::move(peer->socket);
  }

  TcpSocket client;
  TcpSocket server;
};

} // namespace velto
