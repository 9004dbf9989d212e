#include "controls/hsms_ctrl.h"

#include "base/text.h"
#include "platform/tcp_socket.h"
#include "secs2/message.h"

#include <array>
#include <limits>
#include <string_view>

namespace velto {

namespace {

constexpr size_t kLengthField = 4;
constexpr int64_t kMaxInt32 = std::numeric_limits<int32_t>::max();
constexpr int64_t kMaxInt16 = std::numeric_limits<int16_t>::max();
constexpr int64_t kMaxPort = 65535;
constexpr int64_t kMaxSeconds = kMaxInt32 / 1000;
constexpr const char *kDeviceId = "DeviceID";

} // namespace

// Connect stands last, so that a loaded property bag opens the link when all else is set.
const MemberTable &CVeltoHsmsCtrl::table() {
  using C = CVeltoHsmsCtrl;
  static const MemberTable table =
      Members<C>("VeltoHsms", "CVeltoHsmsCtrl",
                 "Raw HSMS connections: messages in and out as hexadecimal text.")
          .readOnly<&C::MyHostName>(2, "MyHostName", "Name of this machine.")
          .property<&C::IPAddress, &C::SetIPAddress>(
              3, "IPAddress",
              "Client: the remote host. Listener: the peer that Send, Selected and Disconnect "
              "address; every accepted peer sets it.",
              "")
          .property<&C::IniFileName, &C::SetIniFileName>(4, "IniFileName", "Path of the INI file.",
                                                         "./Velto.ini")
          .property<&C::IniSection, &C::SetIniSection>(
              5, "IniSection", "Section of the INI file; names the link in the log.", "VeltoHsms")
          .property<&C::MyPortNumber, &C::SetMyPortNumber>(
              6, "MyPortNumber", "Local port, 0 to 65535; a listener listens on it. 0: any.", 0)
          .property<&C::PortNumber, &C::SetPortNumber>(
              7, "PortNumber", "Remote port, 1 to 65535. Listener: port of the addressed peer.", 0)
          .property<&C::Selected, &C::SetSelected>(
              8, "Selected", "The Selected flag of the connection or the addressed peer.")
          .property<&C::Server, &C::SetServer>(
              9, "Server", "Passive entity. Cannot be changed while Connect is true.", false)
          .property<&C::T3, &C::SetT3>(10, "T3", "Reply time-out in ms.", 45000)
          .property<&C::T5, &C::SetT5>(11, "T5", "Connect separation time-out in ms; only kept.",
                                       10000)
          .property<&C::T6, &C::SetT6>(
              12, "T6", "Control transaction time-out in ms; 0: T3 counts instead.", 5000)
          .property<&C::T7, &C::SetT7>(13, "T7", "Not-selected time-out in ms.", 10000)
          .property<&C::T8, &C::SetT8>(14, "T8", "Inter-character time-out in ms.", 5000)
          .property<&C::Log, &C::SetLog>(15, "Log", "Keeps a communication log.", false)
          .property<&C::LogBakCount, &C::SetLogBakCount>(
              16, "LogBakCount", "Numbered backups of the log; 0: it grows without limit.", 1)
          .property<&C::LogFileName, &C::SetLogFileName>(
              17, "LogFileName", "Path of the log without its ending \".log\".", "./Velto")
          .property<&C::LogSize, &C::SetLogSize>(18, "LogSize",
                                                 "Size in KiB at which the log is backed up.", 1024)
          .property<&C::LogVerbose, &C::SetLogVerbose>(19, "LogVerbose",
                                                       "Adds hexadecimal dumps to the log.", false)
          .property<&C::Connect, &C::SetConnect>(
              1, "Connect",
              "Opens and closes the link; false again when the connection ends. An active entity "
              "waits up to 5 s for its connection.",
              false)
          .method<&C::ToIPAddress>(20, "ToIPAddress", {"lpszHostName"},
                                   "The IPv4 address of a host; empty when it is unknown.")
          .method<&C::Disconnect>(21, "Disconnect", {"lpszIPAddress", "lPortNumber"},
                                  "Closes a listener's peer; false when there is none.")
          .method<&C::Setup>(22, "Setup", {"lpszCaption"},
                             "Shows the property sheet; true when it was accepted and stored.")
          .method<&C::Send>(23, "Send", {"lpszMessage"},
                            "Sends header and body, given in hexadecimal; true when all was sent.")
          .method<&C::LoadIniFile>(24, "LoadIniFile", {},
                                   "Reads the INI file; false when its name or section is empty.")
          .event<std::string, int32_t>(1, "Connected", {"lpszIPAddress", "lPortNumber"},
                                       "A connection was made.")
          .event<std::string, int32_t>(2, "Disconnected", {"lpszIPAddress", "lPortNumber"},
                                       "The remote end closed a connection.")
          .event<std::string, int32_t, int16_t, std::string>(
              3, "Problem", {"lpszIPAddress", "lPortNumber", "sErrorCode", "lpszAdditionalInfo"},
              "A time-out, a bad frame, a failed send or a socket error.")
          .event<std::string, int32_t, std::string>(
              4, "Received", {"lpszIPAddress", "lPortNumber", "lpszMsg"},
              "A message arrived: header and body in lower-case hexadecimal.")
          .event<std::string, int32_t>(5, "SelChanged", {"lpszIPAddress", "lPortNumber"},
                                       "The operator clicked a connection in the window.")
          .build();
  return table;
}

std::span<const char *const> CVeltoHsmsCtrl::iniKeys() const {
  static constexpr std::array kKeys{"PortNumber", "MyPortNumber", "IPAddress",  "Server",
                                    "T3",         "T5",           "T6",         "T7",
                                    "T8",         "Log",          "LogVerbose", "LogFileName",
                                    "LogSize",    "LogBakCount",  kDeviceId};
  return kKeys;
}

std::span<const IniControl::Page> CVeltoHsmsCtrl::pages() const {
  static constexpr std::array kConnection{
      PageField{"IPAddress", "IP Address", 0, 0, 1, true},
      PageField{"PortNumber", "Port Number", 0, kMaxPort},
      PageField{"MyPortNumber", "My Port Number", 0, kMaxPort},
      PageField{"Server", "Server"},
      PageField{kDeviceId, "Device ID", 0, kMaxInt16},
  };
  static constexpr std::array kTimers{
      PageField{"T3", "T3 (s)", 0, kMaxSeconds, 1000},
      PageField{"T5", "T5 (s)", 0, kMaxSeconds, 1000},
      PageField{"T6", "T6 (s)", 0, kMaxSeconds, 1000},
      PageField{"T7", "T7 (s)", 0, kMaxSeconds, 1000},
      PageField{"T8", "T8 (s)", 0, kMaxSeconds, 1000},
  };
  static constexpr std::array kLog{
      PageField{"Log", "Log"},
      PageField{"LogVerbose", "Verbose"},
      PageField{"LogFileName", "File Name"},
      PageField{"LogSize", "Size (KiB)", 0, kMaxInt32},
      PageField{"LogBakCount", "Backups", 0, kMaxInt16},
  };
  static constexpr std::array kPages{Page{"Connection", kConnection}, Page{"HSMS Timers", kTimers},
                                     Page{"Log", kLog}};
  return kPages;
}

Variant CVeltoHsmsCtrl::setting(const char *name) {
  return std::string_view(name) == kDeviceId ? Variant(deviceId_) : IniControl::setting(name);
}

void CVeltoHsmsCtrl::setSetting(const char *name, const Variant &value) {
  if (std::string_view(name) != kDeviceId)
    IniControl::setSetting(name, value);
  else if (const auto number = value.as(ValueType::Int32))
    deviceId_ = static_cast<int32_t>(number->toInteger());
}

Variant CVeltoHsmsCtrl::missingSetting(const char *name) {
  return std::string_view(name) == kDeviceId ? Variant(0) : setting(name);
}

CVeltoHsmsCtrl::CVeltoHsmsCtrl(const ControlSite &site) : TcpControl(site, "VeltoHsms") {
  makeEngine();
}

std::shared_ptr<CHHsmsConnection> CVeltoHsmsCtrl::newEngine(const CHHsmsConnection *old) {
  auto fresh = std::make_shared<CHHsmsLink>(site().loop);
  if (old != nullptr)
    fresh->SetTimes(static_cast<const CHHsmsLink *>(old)->times());
  return fresh;
}

bool CVeltoHsmsCtrl::isMarked(const CHHsmsConnection &connection) const {
  return static_cast<const CHHsmsLink &>(connection).Selected();
}

bool CVeltoHsmsCtrl::Send(const std::string &text) {
  const Bytes message = fromHex(text);
  Bytes frame(kLengthField);
  writeBigEndian(frame.data(), static_cast<uint32_t>(message.size()));
  frame.insert(frame.end(), message.begin(), message.end());
  const bool tooLong = message.size() > CHSecsMessage::kMaxEncodedSize;
  if (!tooLong && link().SendFrame(frame) == static_cast<int32_t>(frame.size())) {
    record().sent(message);
    return true;
  }
  OnProblem(link().Kind(), IPAddress(), PortNumber(), {LinkProblem::CannotSend});
  return false;
}

void CVeltoHsmsCtrl::OnReceived(ConnectionKind kind, const std::string &ipAddress,
                                int32_t portNumber, ByteView data) {
  record().received(data);
  TcpControl::OnReceived(kind, ipAddress, portNumber, data);
}

void CVeltoHsmsCtrl::OnProblem(ConnectionKind kind, const std::string &ipAddress,
                               int32_t portNumber, const Problem &problem) {
  record().problem(problemNumber(problem), ipAddress, portNumber);
  TcpControl::OnProblem(kind, ipAddress, portNumber, problem);
}

void CVeltoHsmsCtrl::OnConnectionChanged(ConnectionKind kind, const std::string &ipAddress,
                                         int32_t portNumber, bool connected) {
  record().connection(connected, ipAddress, portNumber);
  TcpControl::OnConnectionChanged(kind, ipAddress, portNumber, connected);
}

LinkLog CVeltoHsmsCtrl::record() {
  return LinkLog(log_, IniSection(), site().loop.clock(), site().files);
}

void CVeltoHsmsCtrl::ClickConnection(size_t index) {
  if (!Server() && index == 0)
    onSelChanged.raise(IPAddress(), PortNumber());
  else if (index < link().PeerCount())
    onSelChanged.raise(std::string(link().PeerAt(index).IPAddress()),
                       link().PeerAt(index).PortNumber());
}

std::string CVeltoHsmsCtrl::MyHostName() const { return localHostName(); }

std::string CVeltoHsmsCtrl::ToIPAddress(const std::string &hostName) const {
  return resolveHost(hostName);
}

void CVeltoHsmsCtrl::SetSelected(bool selected) { link().SetSelected(selected); }

void CVeltoHsmsCtrl::setTimer(uint32_t HsmsTimes::*timer, int32_t ms) {
  HsmsTimes times = link().times();
  times.*timer = static_cast<uint32_t>(ms);
  link().SetTimes(times);
  setModified();
}

void CVeltoHsmsCtrl::SetLog(bool log) {
  log_.log = log;
  setModified();
}

void CVeltoHsmsCtrl::SetLogBakCount(int16_t count) {
  log_.backupCount = count;
  setModified();
}

void CVeltoHsmsCtrl::SetLogFileName(const std::string &name) {
  log_.fileName = name;
  setModified();
}

void CVeltoHsmsCtrl::SetLogSize(int32_t kib) {
  log_.size = kib;
  setModified();
}

void CVeltoHsmsCtrl::SetLogVerbose(bool verbose) {
  log_.verbose = verbose;
  setModified();
}

} // namespace velto
