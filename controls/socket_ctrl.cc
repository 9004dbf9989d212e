#include "controls/socket_ctrl.h"

#include "base/text.h"

#include <array>
#include <cctype>

namespace velto {

namespace {

constexpr int64_t kMaxPort = 65535;
constexpr std::array kSettings{"PortNumber", "MyPortNumber", "IPAddress", "Server"};

bool isHexDigit(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

} // namespace

// Connect stands last, so that a loaded property bag opens the link when all else is set.
const MemberTable &CVeltoSocketCtrl::table() {
  using C = CVeltoSocketCtrl;
  static const MemberTable table =
      Members<C>("VeltoSocket", "CVeltoSocketCtrl",
                 "Raw TCP connections: bytes in and out as hexadecimal text.")
          .property<&C::IPAddress, &C::SetIPAddress>(
              2, "IPAddress",
              "Client: the remote host. Listener: the peer that Send and Disconnect address; every "
              "accepted peer sets it.",
              "")
          .property<&C::MyPortNumber, &C::SetMyPortNumber>(
              3, "MyPortNumber", "Local port, 0 to 65535; a listener listens on it. 0: any.", 0)
          .property<&C::PortNumber, &C::SetPortNumber>(
              4, "PortNumber", "Remote port, 1 to 65535. Listener: port of the addressed peer.", 0)
          .property<&C::Server, &C::SetServer>(
              5, "Server", "Passive entity. Cannot be changed while Connect is true.", false)
          .property<&C::IniFileName, &C::SetIniFileName>(6, "IniFileName", "Path of the INI file.",
                                                         "./Velto.ini")
          .property<&C::IniSection, &C::SetIniSection>(7, "IniSection", "Section of the INI file.",
                                                       "VeltoSocket")
          .property<&C::Connect, &C::SetConnect>(
              1, "Connect",
              "Opens and closes the link; false again when the connection ends. An active entity "
              "waits up to 5 s for its connection.",
              false)
          .method<&C::Disconnect>(8, "Disconnect", {"lpszIPAddress", "lPortNumber"},
                                  "Closes a listener's peer; false when there is none.")
          .method<&C::Send>(9, "Send", {"lpszHexData"},
                            "Sends bytes given in hexadecimal; true when all were sent.")
          .method<&C::Setup>(10, "Setup", {"lpszCaption"},
                             "Shows the property sheet; true when it was accepted and stored.")
          .method<&C::LoadIniFile>(11, "LoadIniFile", {},
                                   "Reads the INI file; false when its name or section is empty.")
          .event<std::string, int32_t>(1, "Connected", {"lpszIPAddress", "lPortNumber"},
                                       "A connection was made.")
          .event<std::string, int32_t>(2, "Disconnected", {"lpszIPAddress", "lPortNumber"},
                                       "The remote end closed a connection.")
          .event<std::string, int32_t, int16_t, std::string>(
              3, "Problem", {"lpszIPAddress", "lPortNumber", "sErrorCode", "lpszAdditionalInfo"},
              "A failed send or a socket error.")
          .event<std::string, int32_t, std::string>(
              4, "Received", {"lpszIPAddress", "lPortNumber", "lpszMsg"},
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

std::span<const char *const> CVeltoSocketCtrl::iniKeys() const { return kSettings; }

std::span<const IniControl::Page> CVeltoSocketCtrl::pages() const {
  static constexpr std::array kConnection{
      PageField{"IPAddress", "IP Address", 0, 0, 1, true},
      PageField{"PortNumber", "Port Number", 0, kMaxPort},
      PageField{"MyPortNumber", "My Port Number", 0, kMaxPort},
      PageField{"Server", "Server"},
  };
  static constexpr std::array kPages{Page{"Connection", kConnection}};
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
