#include "controls/secsi_ctrl.h"

#include "base/text.h"
#include "controls/shared_members.h"
#include "transport/link/secsi_text.h"
#include "transport/log/link_log.h"
#include "transport/secsi/secsi.h"

#include <algorithm>
#include <array>
#include <vector>

namespace velto {

namespace {

constexpr int32_t kDefaultRate = 9600;

constexpr std::array kSecsIIniKeys{"PortNumber", "BaudRate",    "T1",          "T2",
                                   "T3",         "T4",          "Retry",       "Master",
                                   "Log",        "LogVerbose",  "LogFileName", "DeviceID",
                                   "LogSize",    "LogBakCount", "MSEC"};

// "S1F13W", or the two characters that follow the header.
std::string queueLabel(ByteView head, bool msec) {
  if (msec)
    return secsIText(head, true).substr(2 * CHSecsHeader::kSize);
  const CHSecsHeader header = *readHeader(head);
  return formatText("S%dF%d%s", header.stream(), header.function(), header.wbit() ? "W" : "");
}

} // namespace

const MemberTable &CVeltoSecsICtrl::table() {
  using C = CVeltoSecsICtrl;
  static const MemberTable table =
      SharedMembers<C>("VeltoSecsI", "CVeltoSecsICtrl",
                       "SECS-I on a serial port: messages in and out as hexadecimal text.")
          .baudRate(2)
          .property<&C::DeviceID, &C::SetDeviceID>(3, "DeviceID", "Own device ID.", 0)
          .sensible(0, kMaxInt16)
          .iniFileName(4)
          .linkSection(5)
          .log(6)
          .logBakCount(7, kSecsILogTexts)
          .logFileName(8, kSecsILogTexts)
          .logSize(9, kSecsILogTexts)
          .logVerbose(10, kSecsILogTexts)
          .msec(11)
          .master(12)
          .serialPortNumber(13)
          .retry(14)
          .t1(15)
          .t2(16)
          .t3(17)
          .t4(18)
          .statistics()
          .serialConnect(1)
          .setup(19)
          .queueMessage(20)
          .loadIniFile(21)
          .event<int16_t, std::string>(1, "Problem", {"sErrorCode", "lpszAdditionalInfo"},
                                       "A time-out, a bad block, or a message that failed.")
          .of("sErrorCode", enumerations::secsIErrors())
          .event<std::string>(2, "Received", {"lpszMsg"},
                              "A message arrived: header and data in lower-case hexadecimal.")
          .event<std::string>(3, "Sent", {"lpszMsg"}, "A message was sent and acknowledged.")
          .build();
  return table;
}

CVeltoSecsICtrl::CVeltoSecsICtrl(const ControlSite &site)
    : IniControl(site, "VeltoSecsI"),
      port_(makeHandle<CHSecsI>(site.loop, site.files, site.ports)) {
  port_->SetSink(this);
  port_->SetSettings(settings());
}

CVeltoSecsICtrl::~CVeltoSecsICtrl() = default;

std::span<const char *const> CVeltoSecsICtrl::iniKeys() const { return kSecsIIniKeys; }

std::span<const IniControl::Page> CVeltoSecsICtrl::pages() const {
  static const std::array kPages{
      Page{"Communication", protocolFields({{"PortNumber", "Port (0 is COM1)", 0, kMaxInt16},
                                            {"BaudRate", "Baud Rate", 1, kMaxInt32}})},
      Page{"Log", logPage()}};
  return kPages;
}

bool CVeltoSecsICtrl::Connect() const { return port_->IsOpen(); }

const LinkCounters &CVeltoSecsICtrl::counters() const { return port_->counters(); }

void CVeltoSecsICtrl::SetConnect(bool connect) {
  port_->Close();
  if (connect)
    port_->Open(SerialPorts::name(portNumber_), baudRate_, 8, 0, 0);
  setModified();
}

// A loaded bag finds the port closed, so that all its settings count.
void CVeltoSecsICtrl::prepareLoad() {
  if (Connect())
    SetConnect(false);
}

void CVeltoSecsICtrl::SetBaudRate(int32_t rate) {
  baudRate_ = rate < 1 ? kDefaultRate : rate;
  setModified();
}

void CVeltoSecsICtrl::SetPortNumber(int16_t number) {
  portNumber_ = std::max<int16_t>(number, 0);
  setModified();
}

void CVeltoSecsICtrl::settingsChanged() {
  port_->SetSettings(settings());
  setModified();
}

bool CVeltoSecsICtrl::Send(const std::string &message) {
  if (!port_->QueueMessage(fromSecsIText(message, MSEC())))
    return false;
  record().sendingSecsI(message, MSEC());
  return true;
}

TreeView CVeltoSecsICtrl::view() const {
  TreeView view;
  const auto add = [&](const char *name, const std::vector<Bytes> &heads) {
    TreeNode &root = view.add(name);
    root.expanded = true;
    for (const Bytes &head : heads)
      root.add(queueLabel(head, MSEC()));
  };
  add("Out Queue", port_->transfer().OutHeads());
  add("In Queue", port_->transfer().InHeads());
  addStatistics(view, counters());
  return view;
}

LinkLog CVeltoSecsICtrl::record() {
  return LinkLog(log_, IniSection(), site().loop.clock(), site().files);
}

void CVeltoSecsICtrl::OnReceived(ConnectionKind, const std::string &, int32_t, ByteView data) {
  record().receivedSecsI(data, MSEC());
  onReceived.raise(secsIText(data, MSEC()));
}

void CVeltoSecsICtrl::OnSent(ConnectionKind, const std::string &, int32_t, ByteView data,
                             bool sent) {
  if (sent)
    onSent.raise(secsIText(data, MSEC()));
  else
    onProblem.raise(int16_t{ErrorSecsRetry}, secsIText(data, MSEC()));
}

void CVeltoSecsICtrl::OnProblem(ConnectionKind, const std::string &, int32_t,
                                const Problem &problem) {
  onProblem.raise(secsIProblemNumber(problem), std::string(problem.text));
}

} // namespace velto
