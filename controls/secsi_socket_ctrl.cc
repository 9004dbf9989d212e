#include "controls/secsi_socket_ctrl.h"

#include "controls/shared_members.h"
#include "transport/link/secsi_text.h"
#include "transport/log/link_log.h"
#include "transport/secsi/secsi_socket.h"

#include <array>
#include <string_view>

namespace velto {

namespace {

constexpr const char *kOwnDevice = "DeviceID"; // kept without being a property

constexpr std::array kSecsISocketIniKeys{
    "PortNumber", "MyPortNumber", "IPAddress",  "Server",      "OneOnOne", "T1",
    "T2",         "T3",           "T4",         "Retry",       "Master",   "MSEC",
    kOwnDevice,   "Log",          "LogVerbose", "LogFileName", "LogSize",  "LogBakCount"};

} // namespace

const MemberTable &CVeltoSecsISocketCtrl::table() {
  using C = CVeltoSecsISocketCtrl;
  static const MemberTable table =
      SharedMembers<C>("VeltoSecsISocket", "CVeltoSecsISocketCtrl",
                       "SECS-I blocks over TCP: messages in and out as hexadecimal text.")
          .iniFileName(2)
          .linkSection(3)
          .ipAddress(4)
          .log(5)
          .logBakCount(6, kSecsILogTexts)
          .logFileName(7, kSecsILogTexts)
          .logSize(8, kSecsILogTexts)
          .myPortNumber(9)
          .tcpPortNumber(10)
          .server(11)
          .t1(12)
          .t2(13)
          .t3(14)
          .t4(15)
          .property<&C::OneOnOne, &C::SetOneOnOne>(
              16, "OneOnOne", "A listener takes one peer at a time, others wait.")
          .master(17)
          .msec(18)
          .retry(19)
          .logVerbose(20, kSecsILogTexts)
          .keepAlive()
          .statistics()
          .tcpConnect(1)
          .disconnect(21)
          .loadIniFile(22)
          .queueMessage(23)
          .setup(24)
          .tcpEvents("A time-out, a bad block, a socket error, or a message that failed.",
                     enumerations::secsIErrors(),
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

CHSecsISocket &CVeltoSecsISocketCtrl::link() const {
  return static_cast<CHSecsISocket &>(engine());
}

std::shared_ptr<CHHsmsConnection> CVeltoSecsISocketCtrl::newEngine(const CHHsmsConnection *) {
  auto fresh = std::make_shared<CHSecsISocket>(site().loop, site().files);
  fresh->SetSettings(settings());
  fresh->SetOneOnOne(oneOnOne_);
  return fresh;
}

std::span<const char *const> CVeltoSecsISocketCtrl::iniKeys() const { return kSecsISocketIniKeys; }

std::span<const IniControl::Page> CVeltoSecsISocketCtrl::pages() const {
  static const std::array kPages{Page{"Connection", connectionFields({{"OneOnOne", "One on One"}})},
                                 Page{"SECS-I", protocolFields()}, Page{"Log", logPage()}};
  return kPages;
}

Variant CVeltoSecsISocketCtrl::setting(const char *name) {
  return std::string_view(name) == kOwnDevice ? Variant(DeviceID()) : TcpControl::setting(name);
}

void CVeltoSecsISocketCtrl::setSetting(const char *name, const Variant &value) {
  if (std::string_view(name) != kOwnDevice)
    TcpControl::setSetting(name, value);
  else if (const auto number = value.as(ValueType::Int32))
    SetDeviceID(static_cast<int32_t>(number->toInteger()));
}

void CVeltoSecsISocketCtrl::saveExtras(PropertyBag &bag) const { bag.set(kOwnDevice, DeviceID()); }

void CVeltoSecsISocketCtrl::loadExtras(const PropertyBag &bag) {
  const Variant *kept = bag.find(kOwnDevice);
  setSetting(kOwnDevice, kept != nullptr ? *kept : Variant(0));
}

void CVeltoSecsISocketCtrl::settingsChanged() {
  link().SetSettings(settings());
  setModified();
}

void CVeltoSecsISocketCtrl::SetOneOnOne(bool oneOnOne) {
  oneOnOne_ = oneOnOne;
  link().SetOneOnOne(oneOnOne);
}

bool CVeltoSecsISocketCtrl::Send(const std::string &message) {
  const bool msec = MSEC();
  const Lifetime::Watch alive(lifetime());
  if (!link().QueueMessage(fromSecsIText(message, msec)) || !alive)
    return false;
  record().sendingSecsI(message, msec);
  return true;
}

LinkLog CVeltoSecsISocketCtrl::record() {
  return LinkLog(log_, IniSection(), site().loop.clock(), site().files);
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
