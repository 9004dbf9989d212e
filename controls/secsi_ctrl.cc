#include "controls/secsi_ctrl.h"

#include "base/text.h"
#include "transport/link/secsi_text.h"

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

namespace velto {

namespace {

constexpr int32_t kDefaultRate = 9600;
constexpr int64_t kMaxRate = std::numeric_limits<int32_t>::max();
constexpr int64_t kMaxPort = std::numeric_limits<int16_t>::max();

constexpr std::array kSettings{"PortNumber",  "BaudRate", "T1",      "T2",          "T3",
                               "T4",          "Retry",    "Master",  "Log",         "LogVerbose",
                               "LogFileName", "DeviceID", "LogSize", "LogBakCount", "MSEC"};

// "S1F13W", or the two characters that follow the header.
std::string queueLabel(ByteView head, bool msec) {
  if (msec)
    return secsIText(head, true).substr(2 * CHSecsHeader::kSize);
  const CHSecsHeader header = *readHeader(head);
  return formatText("S%dF%d%s", header.stream(), header.function(), header.wbit() ? "W" : "");
}

} // namespace

// Connect stands last, so that a loaded property bag opens the port when all else is set.
const MemberTable &CVeltoSecsICtrl::table() {
  using C = CVeltoSecsICtrl;
  static const MemberTable table =
      Members<C>("VeltoSecsI", "CVeltoSecsICtrl",
                 "SECS-I on a serial port: messages in and out as hexadecimal text.")
          .property<&C::BaudRate, &C::SetBaudRate>(
              2, "BaudRate", "Bits per second, any rate of the device; below 1 becomes 9600.",
              kDefaultRate)
          .property<&C::DeviceID, &C::SetDeviceID>(3, "DeviceID", "Own device ID, 0 to 32767.", 0)
          .property<&C::IniFileName, &C::SetIniFileName>(4, "IniFileName", "Path of the INI file.",
                                                         "./Velto.ini")
          .property<&C::IniSection, &C::SetIniSection>(
              5, "IniSection", "Section of the INI file; names the link in the log.", "VeltoSecsI")
          .property<&C::Log, &C::SetLog>(6, "Log", "Keeps a communication log.", false)
          .property<&C::LogBakCount, &C::SetLogBakCount>(
              7, "LogBakCount",
              "Numbered backups of the log, 0 to 999, others become 1; 0: it grows without limit.",
              1)
          .property<&C::LogFileName, &C::SetLogFileName>(
              8, "LogFileName", "Path of the log without its ending \".log\"; empty: none.",
              "./Velto")
          .property<&C::LogSize, &C::SetLogSize>(
              9, "LogSize", "Size in KiB at which the log is backed up; below 1 becomes 1024.",
              1024)
          .property<&C::LogVerbose, &C::SetLogVerbose>(
              10, "LogVerbose", "Adds every character to the log; stays false while Log is.", false)
          .property<&C::MSEC, &C::SetMSEC>(
              11, "MSEC", "Headers go out as given, blocks stand alone, data has even parity.",
              false)
          .property<&C::Master, &C::SetMaster>(
              12, "Master", "Wins contention and sets the R-bit: the equipment's side.", true)
          .property<&C::PortNumber, &C::SetPortNumber>(
              13, "PortNumber", "Index of the port, 0 is COM1; negative ones become 0.", 0)
          .property<&C::Retry, &C::SetRetry>(14, "Retry",
                                             "Further attempts for a block; negative becomes 3.", 3)
          .property<&C::T1, &C::SetT1>(15, "T1",
                                       "Inter-character time-out in ms; below 1 becomes 500.", 500)
          .property<&C::T2, &C::SetT2>(16, "T2", "Protocol time-out in ms; below 1 becomes 10000.",
                                       10'000)
          .property<&C::T3, &C::SetT3>(17, "T3", "Reply time-out in ms.", 45'000)
          .property<&C::T4, &C::SetT4>(18, "T4", "Inter-block time-out in ms.", 45'000)
          .property<&C::Connect, &C::SetConnect>(
              1, "Connect",
              "Opens and closes the port; false again when it cannot be opened or is unplugged.",
              false)
          .method<&C::Setup>(19, "Setup", {"lpszCaption"},
                             "Shows the property sheet; true when it was accepted and stored.")
          .method<&C::Send>(
              20, "Send", {"lpszMessage"},
              "Queues header and data, given in hexadecimal; true when it was queued.")
          .method<&C::LoadIniFile>(21, "LoadIniFile", {},
                                   "Reads the INI file; false when its name or section is empty.")
          .event<int16_t, std::string>(1, "Problem", {"sErrorCode", "lpszAdditionalInfo"},
                                       "A time-out, a bad block, or (8) a message that failed.")
          .event<std::string>(2, "Received", {"lpszMsg"},
                              "A message arrived: header and data in lower-case hexadecimal.")
          .event<std::string>(3, "Sent", {"lpszMsg"}, "A message was sent and acknowledged.")
          .build();
  return table;
}

CVeltoSecsICtrl::CVeltoSecsICtrl(const ControlSite &site)
    : IniControl(site, "VeltoSecsI"), port_(makeHandle<CHSecsI>(site.loop, site.files)) {
  port_->SetSink(this);
  port_->SetSettings(settings());
}

std::span<const char *const> CVeltoSecsICtrl::iniKeys() const { return kSettings; }

std::span<const IniControl::Page> CVeltoSecsICtrl::pages() const {
  static const auto kCommunication = [] {
    std::vector<PageField> fields{{"PortNumber", "Port (0 is COM1)", 0, kMaxPort},
                                  {"BaudRate", "Baud Rate", 1, kMaxRate}};
    fields.insert(fields.end(), protocolFields().begin(), protocolFields().end());
    return fields;
  }();
  static const std::array kPages{Page{"Communication", kCommunication}, Page{"Log", logFields()}};
  return kPages;
}

void CVeltoSecsICtrl::SetConnect(bool connect) {
  port_->Close();
  if (connect)
    port_->Open(CHSerialPort::PortName(portNumber_), baudRate_, 8, 0, 0);
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

bool CVeltoSecsICtrl::Send(const std::string &text) {
  if (!port_->QueueMessage(fromSecsIText(text, MSEC())))
    return false;
  record().sendingSecsI(text, MSEC());
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
  return view;
}

LinkLog CVeltoSecsICtrl::record() {
  return LinkLog(settings().log, IniSection(), site().loop.clock(), site().files);
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
