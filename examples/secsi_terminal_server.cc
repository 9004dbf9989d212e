// A host reaches the serial line of an equipment through a terminal server: SECS-I over TCP. All
// three live in this process; with a real terminal server, the host's part is the whole program.
#include <velto/base/text.h>
#include <velto/controls/comm_ctrl.h>
#include <velto/controls/secsi_ctrl.h>
#include <velto/controls/secsi_socket_ctrl.h>
#include <velto/controls/socket_ctrl.h>
#include <velto/platform/null_modem.h>
#include <velto/secs2/message.h>
#include <velto/secs2/sml_printer.h>

#include <iostream>

namespace {

constexpr int32_t kServerPort = 5013;

velto::CHSecsMessage decoded(const std::string &hex) {
  velto::CHSecsMessage message;
  message.header.hsms = false;
  message.SetMsg(hex);
  return message;
}

} // namespace

int main() {
  velto::EventLoop loop;

  // The cable between the equipment (COM1) and the terminal server (COM2).
  velto::NullModem cable(loop);
  velto::SerialPorts ports;
  ports.map(1, cable.a().path());
  ports.map(2, cable.b().path());
  const velto::ControlSite site(loop, velto::headlessFrontEnd(), velto::systemFiles(), ports);

  // The equipment is the master of its line. It answers S1F1 with its name and revision.
  velto::CVeltoSecsICtrl equipment(site);
  equipment.SetPortNumber(0);
  equipment.onReceived = [&](const std::string &hex) {
    velto::CHSecsMessage reply;
    reply.header.hsms = false;
    reply.SetFromSml("s1f2{<a'ETCH-1'><a'1.00'>}");
    reply.header.systemBytes = decoded(hex).header.systemBytes;
    equipment.Send(reply.GetMsg());
  };
  equipment.SetConnect(true);

  // The terminal server, in raw mode, carries bytes both ways as they come.
  velto::CVeltoCommCtrl serialSide(site);
  velto::CVeltoSocketCtrl tcpSide(loop);
  serialSide.SetPortNumber(1);
  serialSide.onReceived = [&](int32_t count) {
    velto::Bytes bytes;
    for (; count > 0; --count)
      bytes.push_back(static_cast<uint8_t>(serialSide.ByteStream()));
    tcpSide.Send(velto::toHex(bytes));
  };
  tcpSide.onReceived = [&](const std::string &, int32_t, const std::string &hex) {
    const velto::Bytes bytes = velto::fromHex(hex);
    serialSide.Send(std::string(bytes.begin(), bytes.end()));
  };
  tcpSide.SetServer(true);
  tcpSide.SetMyPortNumber(kServerPort);
  serialSide.SetConnect(true);
  tcpSide.SetConnect(true);

  // The host connects to the terminal server as if that were the equipment.
  velto::CVeltoSecsISocketCtrl host(loop);
  host.SetIPAddress("127.0.0.1");
  host.SetPortNumber(kServerPort);
  host.SetMaster(false);
  bool answered = false;
  host.onReceived = [&](const std::string &, int32_t, const std::string &hex) {
    std::cout << velto::RenderSml(decoded(hex));
    answered = true;
  };
  host.onProblem = [](const std::string &, int32_t, int16_t code, const std::string &) {
    std::cerr << "problem " << code << '\n';
  };
  host.SetConnect(true);
  if (!equipment.Connect() || !host.Connect() || !host.Send("00008101800100000001"))
    return 1;
  return loop.runUntil([&] { return answered; }, 5000) ? 0 : 1;
}
