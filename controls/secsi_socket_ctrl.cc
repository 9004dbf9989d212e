#include "controls/secsi_socket_ctrl.h"

#include "transport/link/secsi_text.h"

#include <array>
#include <string_view>

namespace velto {

namespace {

constexpr int64_t kMaxPort = 65535;
constexpr const char *kDeviceId = "DeviceID"; // kept without being a property

constexpr std::array kSettings{"PortNumber",  "MyPortNumber", "IPAddress",  "Server", "OneOnOne",
                               "T1",          "T2",           "T3",         "T4",     "Retry",
                               "Master",      "MSEC",         kDeviceId,    "Log",    "LogVerbose",
                               "LogFileName", "LogSize",      "LogBakCount"};

} // namespace

// Connect stands last, so that a loaded property bag opens the link when all else is set.
const MemberTable &CVeltoSecsISocketCtrl::table() {
  using C = CVeltoSecsISocketCtrl;
  static const MemberTable table =
      Members<C>("VeltoSecsISocket", "CVeltoSecsISocketCtrl",
                 "SECS-I blocks over TCP: messages in and out as hexadecimal text.")
          .property<&C::IniFileName, &C::SetIniFileName>(2, "IniFileName", "Path of the INI file.",
                                                         "./Velto.ini")
          .property<&C::IniSection, &C::SetIniSection>(
              3, "IniSection", "Section of the INI file; names the link in the log.",
              "VeltoSecsISocket")
          .property<&C::IPAddress, &C::SetIPAddress>(
              4, "IPAddress",
              "Client: the remote host. Listener: the peer that Send and Disconnect address; every "
              "accepted peer sets it.",
              "")
          .property<&C::Log, &C::SetLog>(5, "Log", "Keeps a communication log.", false)
          .property<&C::LogBakCount, &C::SetLogBakCount>(
              6, "LogBakCount",
              "Numbered backups of the log, 0 to 999, others become 1; 0: it grows without limit.",
              1)
          .property<&C::LogFileName, &C::SetLogFileName>(
              7, "LogFileName", "Path of the log without its ending \".log\"; empty: none.",
              "./Velto")
          .property<&C::LogSize, &C::SetLogSize>(
              8, "LogSize", "Size in KiB at which the log is backed up; below 1 becomes 1024.",
              1024)
          .property<&C::MyPortNumber, &C::SetMyPortNumber>(
              9, "MyPortNumber", "Local port, 0 to 65535; a listener listens on it. 0: any.", 0)
          .property<&C::PortNumber, &C::SetPortNumber>(
              10, "PortNumber", "Remote port, 1 to 65535. Listener: port of the addressed peer.", 0)
          .property<&C::Server, &C::SetServer>(
              11, "Server", "Passive entity. Cannot be changed while Connect is true.", false)
          .property<&C::T1, &C::SetT1>(12, "T1",
                                       "Inter-character time-out in ms; below 1 becomes 500.", 500)
          .property<&C::T2, &C::SetT2>(13, "T2", "Protocol time-out in ms; below 1 becomes 10000.",
                                       10'000)
          .property<&C::T3, &C::SetT3>(14, "T3", "Reply time-out in ms.", 45'000)
          .property<&C::T4, &C::SetT4>(15, "T4", "Inter-block time-out in ms.", 45'000)
          .property<&C::OneOnOne, &C::SetOneOnOne>(
              16, "OneOnOne", "A listener takes one peer at a time, others wait.")
          .property<&C::Master, &C::SetMaster>(
              17, "Master", "Wins contention and sets the R-bit: the equipment's side.", true)
          .property<&C::MSEC, &C::SetMSEC>(
              18, "MSEC", "Headers go out as given, blocks stand alone, data has even parity.",
              false)
          .property<&C::Retry, &C::SetRetry>(19, "Retry",
                                             "Further attempts for a block; negative becomes 3.", 3)
          .property<&C::LogVerbose, &C::SetLogVerbose>(
              20, "LogVerbose", "Adds every character to the log; stays false while Log is.", false)
          .property<&C::Connect, &C::SetConnect>(
              1, "Connect",
              "Opens and closes the link; false again when the connection ends. An active entity "
              "waits up to 5 s for its connection.",
              false)
          .method<&C::Disconnect>(21, "Disconnect", {"lpszIPAddress", "lPortNumber"},
                                  "Closes a listener's peer; false when there is none.")
          .method<&C::LoadIniFile>(22, "LoadIniFile", {},
                                   "Reads the INI file; false when its name or section is empty.")
          .method<&C::Send>(
              23, "Send", {"lpszMessage"},
              "Queues header and data, given in hexadecimal; true when it was queued.")
          .method<&C::Setup>(24, "Setup", {"lpszCaption"},
                             "Shows the property sheet; true when it was accepted and stored.")
          .event<std::string, int32_t>(1, "Connected", {"lpszIPAddress", "lPortNumber"},
                                       "A connection was made.")
          .event<std::string, int32_t>(2, "Disconnected", {"lpszIPAddress", "lPortNumber"},
                                       "The remote end closed a connection.")
          .event<std::string, int32_t, int16_t, std::string>(
              3, "Problem", {"lpszIPAddress", "lPortNumber", "sErrorCode", "lpszAdditionalInfo"},
              "A time-out, a bad block, a socket error, or (8) a message that failed.")
          .event<std::string, int32_t, std::string>(
              4, "Received", {"lpszIPAddress", "lPortNumber", "lpszMsg"},
              "A message arrived: header and data in lower-case hexadecimal.")
          .event<std::string, int32_t, std::string>(5, "Sent",
                                                    {"lpszIPAddress", "lPortNumber", "lpszMsg"},
                                                    "A message was sent and acknowledged.")
          .build();
  return table;
}

CVeltoSecsISocketCtrl::CVeltoSecsISocketCtrl(const ControlSite &site)
    : TcpControl(site, "VeltoSecsISocket") {
  makeEngine();
}

std::shared_ptr<CHHsmsConnection> CVeltoSecsISocketCtrl::newEngine(const CHHsmsConnection *) {
  auto fresh = std::make_shared<CHSecsISocket>(site().loop, site().files);
  fresh->SetSettings(settings());
  fresh->SetOneOnOne(oneOnOne_);
  return fresh;
}

std::span<const char *const> CVeltoSecsISocketCtrl::iniKeys() const { return kSettings; }

std::span<const IniControl::Page> CVeltoSecsISocketCtrl::pages() const {
  static constexpr std::array kConnection{
      PageField{"IPAddress", "IP Address", 0, 0, 1, true},
      PageField{"PortNumber", "Port Number", 0, kMaxPort},
      PageField{"MyPortNumber", "My Port Number", 0, kMaxPort},
      PageField{"Server", "Server"},
      PageField{"OneOnOne", "One on One"},
  };
  static const std::array kPages{Page{"Connection", kConnection}, Page{"SECS-I", protocolFields()},
                                 Page{"Log", logFields()}};
  return kPages;
}

Variant CVeltoSecsISocketCtrl::setting(const char *name) {
  return std::string_view(name) == kDeviceId ? Variant(DeviceID()) : TcpControl::setting(name);
}

void CVeltoSecsISocketCtrl::setSetting(const char *name, const Variant &value) {
  if (std::string_view(name) != kDeviceId)
    TcpControl::setSetting(name, value);
  else if (const auto number = value.as(ValueType::Int32))
    SetDeviceID(static_cast<int32_t>(number->toInteger()));
}

void CVeltoSecsISocketCtrl::saveExtras(PropertyBag &bag) const { bag.set(kDeviceId, DeviceID()); }

void CVeltoSecsISocketCtrl::loadExtras(const PropertyBag &bag) {
  const Variant *kept = bag.find(kDeviceId);
  setSetting(kDeviceId, kept != nullptr ? *kept : Variant(0));
}

void CVeltoSecsISocketCtrl::settingsChanged() {
  link().SetSettings(settings());
  setModified();
}

void CVeltoSecsISocketCtrl::SetOneOnOne(bool oneOnOne) {
  oneOnOne_ = oneOnOne;
  link().SetOneOnOne(oneOnOne);
}

bool CVeltoSecsISocketCtrl::Send(const std::string &text) {
  const bool msec = MSEC();
  const Lifetime::Watch alive(lifetime());
  if (!link().QueueMessage(fromSecsIText(text, msec)) || !alive)
    return false;
  record().sendingSecsI(text, msec);
  return true;
}

LinkLog CVeltoSecsISocketCtrl::record() {
  return LinkLog(settings().log, IniSection(), site().loop.clock(), site().files);
}

void CVeltoSecsISocketCtrl::OnReceived(ConnectionKind, const std::string &ipAddress,
                                       int32_t portNumber, ByteView data) {
  record().receivedSecsI(data, MSEC());
  onReceived.raise(std::string(ipAddress), portNumber, secsIText(data, MSEC()));
}

void CVeltoSecsISocketCtrl::OnSent(ConnectionKind kind, const std::string &ipAddress,
                                   int32_t portNumber, ByteView data, bool sent) {
  if (sent)
    onSent.raise(std::string(ipAddress), portNumber, secsIText(data, MSEC()));
  else
    OnProblem(kind, ipAddress, portNumber, {LinkProblem::SendFailed, secsIText(data, MSEC())});
}

void CVeltoSecsISocketCtrl::OnProblem(ConnectionKind kind, const std::string &ipAddress,
                                      int32_t portNumber, const Problem &problem) {
  record().problem(problemNumber(problem), ipAddress, portNumber);
  TcpControl::OnProblem(kind, ipAddress, portNumber, problem);
}

void CVeltoSecsISocketCtrl::OnConnectionChanged(ConnectionKind kind, const std::string &ipAddress,
                                                int32_t portNumber, bool connected) {
  record().connection(connected, ipAddress, portNumber);
  TcpControl::OnConnectionChanged(kind, ipAddress, portNumber, connected);
}

} // namespace velto
