#include "controls/socket_ctrl.h"

#include "base/text.h"
#include "controls/shared_members.h"
#include "transport/tcp/connection.h"

#include <array>
#include <cctype>

namespace velto {

namespace {

constexpr std::array kSocketIniKeys{"PortNumber", "MyPortNumber", "IPAddress", "Server"};

bool isHexDigit(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

} // namespace

const MemberTable &CVeltoSocketCtrl::table() {
  using C = CVeltoSocketCtrl;
  static const MemberTable table =
      SharedMembers<C>("VeltoSocket", "CVeltoSocketCtrl",
                       "Raw TCP connections: bytes in and out as hexadecimal text.")
          .ipAddress(2)
          .myPortNumber(3)
          .tcpPortNumber(4)
          .server(5)
          .iniFileName(6)
          .iniSection(7)
          .keepAlive()
          .tcpConnect(1)
          .disconnect(8)
          .method<&C::Send>(9, "Send", {"lpszHexData"},
                            "Sends bytes given in hexadecimal; true when all were sent.")
          .setup(10)
          .loadIniFile(11)
          .tcpEvents("A failed send or a socket error.", enumerations::socketErrors(),
                     "Bytes arrived: all since the last tick, in lower-case hexadecimal.")
          .build();
  return table;
}

CVeltoSocketCtrl::CVeltoSocketCtrl(const ControlSite &site) : TcpControl(site, "VeltoSocket") {
  makeEngine();
}

std::shared_ptr<CHHsmsConnection> CVeltoSocketCtrl::newEngine(const CHHsmsConnection *) {
  return std::make_shared<CHHsmsConnection>(site().loop, ConnectionKind::Stream);
}

std::span<const char *const> CVeltoSocketCtrl::iniKeys() const { return kSocketIniKeys; }

std::span<const IniControl::Page> CVeltoSocketCtrl::pages() const {
  static const std::array kPages{Page{"Connection", connectionFields()}};
  return kPages;
}

bool CVeltoSocketCtrl::Send(const std::string &hexData) {
  Bytes bytes = fromHex(hexData);
  for (size_t i = 0; i < bytes.size(); ++i)
    if (!isHexDigit(hexData[2 * i]) || !isHexDigit(hexData[2 * i + 1]))
      bytes[i] = 0;
  if (bytes.empty())
    return false;
  if (engine().SendFrame(bytes) == static_cast<int32_t>(bytes.size()))
    return true;
  OnProblem(engine().Kind(), IPAddress(), PortNumber(), {LinkProblem::CannotSend});
  return false;
}

} // namespace velto
