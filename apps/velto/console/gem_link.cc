#include "apps/velto/console/gem_link.h"

#include "platform/tcp_socket.h"

#include <cstring>

namespace velto {

namespace {

constexpr uint32_t kListenPatience = 1000; // ms until the port must be open
constexpr uint32_t kLastWords = 2000;      // ms

} // namespace

bool openLink(CVeltoGemCtrl &control, EventLoop &loop, GemConsole &console,
              const LinkAddress &address) {
  const std::string by = address.protocol == LinkProtocol::SecsITcp ? " (SECS-I)" : "";
  if (!address.listens) {
    if (address.isSerial())
      console.event("opening",
                    "opening " + address.device + " at " + std::to_string(address.rate) + " bit/s");
    else
      console.event("connecting", "connecting to " + address.partner() + by);
    control.SetPhysicalConnection(true);
    return true;
  }
  control.SetPhysicalConnection(true);
  const CHPhysicalConnection &link = control.engine().physical();
  if (!loop.runUntil([&link] { return link.LocalPort() != 0; }, kListenPatience))
    return false;
  console.event("listening", "listening on port " + std::to_string(link.LocalPort()) + by,
                {{"port", int64_t{link.LocalPort()}}});
  return true;
}

std::string listenProblem(int32_t port) {
  const std::string where = "cannot listen on port " + std::to_string(port) + ": ";
  if (port < 0 || port > 0xFFFF)
    return where + "there is no such port";
  const int error = TcpSocket().create(static_cast<uint16_t>(port), true);
  return error == 0 ? "" : where + std::strerror(error);
}

void separate(CVeltoGemCtrl &control, EventLoop &loop) {
  const CHPhysicalConnection &physical = control.engine().physical();
  loop.runUntil([&physical] { return !physical.link().hasUnsent(); }, kLastWords);
  CHSecsMessage request;
  request.header.setSType(SType::SeparateReq);
  Bytes bytes;
  if (request.Encode(bytes))
    control.engine().SendEncoded(bytes);
  control.SetPhysicalConnection(false);
}

} // namespace velto
