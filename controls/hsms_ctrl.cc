#include "controls/hsms_ctrl.h"

#include "base/text.h"
#include "controls/shared_members.h"
#include "platform/tcp_socket.h"
#include "secs2/message.h"
#include "transport/hsms/hsms_link.h"
#include "transport/log/link_log.h"

#include <array>
#include <string_view>

namespace velto {

namespace {

constexpr size_t kLengthField = 4;
constexpr const char *kDeviceId = "DeviceID";

} // namespace

const MemberTable &CVeltoHsmsCtrl::table() {
  using C = CVeltoHsmsCtrl;
  static const MemberTable table =
      SharedMembers<C>("VeltoHsms", "CVeltoHsmsCtrl",
                       "Raw HSMS connections: messages in and out as hexadecimal text.")
          .readOnly<&C::MyHostName>(2, "MyHostName", "Name of this machine.")
          .ipAddress(3, "Send, Selected and Disconnect")
          .iniFileName(4)
          .linkSection(5)
          .myPortNumber(6)
          .tcpPortNumber(7)
          .property<&C::Selected, &C::SetSelected>(
              8, "Selected", "The Selected flag of the connection or the addressed peer.")
          .server(9)
          .t3(10)
          .property<&C::T5, &C::SetT5>(11, "T5", "Connect separation time-out; only kept.", 10000)
          .unit("ms")
          .sensible(0)
          .property<&C::T6, &C::SetT6>(12, "T6",
                                       "Control transaction time-out; 0: T3 counts instead.", 5000)
          .unit("ms")
          .sensible(0)
          .property<&C::T7, &C::SetT7>(13, "T7", "Not-selected time-out.", 10000)
          .unit("ms")
          .sensible(0)
          .property<&C::T8, &C::SetT8>(14, "T8", "Inter-character time-out.", 5000)
          .unit("ms")
          .sensible(0)
          .log(15)
          .logBakCount(16)
          .logFileName(17)
          .logSize(18)
          .logVerbose(19)
          .keepAlive()
          .statistics()
          .tcpConnect(1)
          .method<&C::ToIPAddress>(20, "ToIPAddress", {"lpszHostName"},
                                   "The IPv4 address of a host; empty when it is unknown.")
          .disconnect(21)
          .setup(22)
          .method<&C::Send>(23, "Send", {"lpszMessage"},
                            "Sends header and body, given in hexadecimal; true when all was sent.")
          .loadIniFile(24)
          .tcpEvents("A time-out, a bad frame, a failed send or a socket error.",
                     enumerations::hsmsErrors(),
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
  static const std::array kPages{
      Page{"Connection", connectionFields({{kDeviceId, "Device ID", 0, kMaxInt16}})},
      Page{"HSMS Timers",
           {{"T3", "T3 (s)", 0, kMaxSeconds, 1000},
            {"T5", "T5 (s)", 0, kMaxSeconds, 1000},
            {"T6", "T6 (s)", 0, kMaxSeconds, 1000},
            {"T7", "T7 (s)", 0, kMaxSeconds, 1000},
            {"T8", "T8 (s)", 0, kMaxSeconds, 1000}}},
      Page{"Log", logFields({{"Log", "Log"}, {"LogVerbose", "Verbose"}})}};
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

CHHsmsLink &CVeltoHsmsCtrl::link() const { return static_cast<CHHsmsLink &>(engine()); }

bool CVeltoHsmsCtrl::Selected() const { return link().Selected(); }

void CVeltoHsmsCtrl::SetSelected(bool selected) { link().SetSelected(selected); }

void CVeltoHsmsCtrl::setTimer(uint32_t HsmsTimes::*timer, int32_t ms) {
  HsmsTimes times = link().times();
  times.*timer = static_cast<uint32_t>(ms);
  link().SetTimes(times);
  setModified();
}

int32_t CVeltoHsmsCtrl::T3() const { return static_cast<int32_t>(link().times().t3); }

void CVeltoHsmsCtrl::SetT3(int32_t ms) { setTimer(&HsmsTimes::t3, ms); }

int32_t CVeltoHsmsCtrl::T5() const { return static_cast<int32_t>(link().times().t5); }

void CVeltoHsmsCtrl::SetT5(int32_t ms) { setTimer(&HsmsTimes::t5, ms); }

int32_t CVeltoHsmsCtrl::T6() const { return static_cast<int32_t>(link().times().t6); }

void CVeltoHsmsCtrl::SetT6(int32_t ms) { setTimer(&HsmsTimes::t6, ms); }

int32_t CVeltoHsmsCtrl::T7() const { return static_cast<int32_t>(link().times().t7); }

void CVeltoHsmsCtrl::SetT7(int32_t ms) { setTimer(&HsmsTimes::t7, ms); }

int32_t CVeltoHsmsCtrl::T8() const { return static_cast<int32_t>(link().times().t8); }

void CVeltoHsmsCtrl::SetT8(int32_t ms) { setTimer(&HsmsTimes::t8, ms); }

} // namespace velto
