// A remote end sends any bytes, cut anywhere, with any pauses, to both engines; both go on serving.
#include "platform/tcp_socket.h"
#include "transport/hsms/hsms_engine.h"
#include "transport/hsms/hsms_link.h"

#include <array>
#include <cstdlib>
#include <sys/socket.h>

using namespace velto;

namespace {

class Owner final : public MessageLinkOwner, public CHConnectionSink {
  void OnConnected(const std::string &, int32_t) override {}
  void OnDisconnected(const std::string &, int32_t) override {}
  void OnReceived(const std::string &, int32_t, ByteView, bool) override {}
  void OnSent(const std::string &, int32_t, const CHSecsHeader &, ByteView) override {}
  void OnProblem(const std::string &, int32_t, const Problem &, ByteView) override {}
  void OnStateChanged(LinkState, LinkState) override {}
  void OnReceived(ConnectionKind, const std::string &, int32_t, ByteView) override {}
  void OnSent(ConnectionKind, const std::string &, int32_t, ByteView, bool) override {}
  void OnProblem(ConnectionKind, const std::string &, int32_t, const Problem &) override {}
  void OnConnectionChanged(ConnectionKind, const std::string &, int32_t, bool) override {}
  void OnTrace(ConnectionKind, ByteView, TraceDirection) override {}
};

struct Ends {
  Ends() {
    engine->settings().server = true;
    link->SetServerMode(true);
    link->SetSink(&owner);
    if (!engine->Open() || !link->Open())
      abort();
  }
  void turn(uint32_t milliseconds) {
    clock.advance(milliseconds);
    engine->Poll();
    link->Poll();
    for (int i = 0; i < 4; ++i)
      loop.runOnce(0);
  }

  ManualClock clock;
  EventLoop loop{clock};
  Owner owner;
  Handle<CHHsms> engine = makeHandle<CHHsms>(loop, owner);
  Handle<CHHsmsLink> link = makeHandle<CHHsmsLink>(loop);
};

// The first byte of the input says how the rest is cut, the second how long the pauses are.
void play(Ends &ends, uint16_t port, ByteView bytes) {
  TcpSocket remote;
  remote.create(0, false);
  remote.connect("127.0.0.1", port);
  const size_t chunk = bytes.empty() ? 1 : 1 + bytes[0] % 64;
  const uint32_t pause = bytes.size() < 2 ? 0 : bytes[1] * 100U;
  ends.turn(0);
  for (size_t i = 2; i < bytes.size(); i += chunk) {
    remote.send(bytes.subspan(i, std::min(chunk, bytes.size() - i)));
    ends.turn(pause);
  }
  const linger reset{1, 0}; // no descriptor may linger in TIME_WAIT
  setsockopt(remote.fd(), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
  remote.close();
  // What is whole is still handed over, one message a tick; then the peer goes.
  for (size_t ticks = 0; ends.engine->PeerCount() != 0 || ends.link->PeerCount() != 0; ++ticks) {
    if (ticks > bytes.size() + 2)
      abort();
    ends.turn(1);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static Ends ends;
  const ByteView bytes(data, std::min<size_t>(size, 512));
  play(ends, static_cast<uint16_t>(ends.engine->LocalPort()), bytes);
  play(ends, static_cast<uint16_t>(ends.link->LocalPort()), bytes);
  return 0;
}
