#include "gem/engine/physical_connection.h"

#include "base/text.h"
#include "transport/link/deadline.h"

#include <utility>

namespace velto {

namespace {

constexpr int32_t kShortest = 1; // ms, of what cannot be 0
void atLeast(int32_t least, int32_t &value, int32_t otherwise) {
  if (value < least)
    value = otherwise;
}

} // namespace

CHPhysicalConnection::CHPhysicalConnection(EventLoop &loop, MessageLinkOwner &engine,
                                           Ticker &ticker, const SerialPorts &ports)
    : loop_(loop), engine_(engine), ticker_(ticker), ports_(ports),
      link_(makeMessageLink(protocol_, loop, engine, settings_, ports)) {
  link_->TickWith(ticker);
  LinkSettings &link = *settings_;
  link.ipAddress = "localhost";
  link.portNumber = 5001;
  settingList_.section("HSMS");
  settingList_.text("IPAddress", link.ipAddress, "127.0.0.1");
  settingList_.integer("PortNumber", link.portNumber, 5001);
  settingList_.integer("LocalPortNumber", link.myPortNumber, 0);
  settingList_.flag("Server", link.server, false);
  settingList_.integer("Protocol", link.sessionMode, 1);
  settingList_.flag("DiscardDuplicateBlock", link.discardDuplicates, true);
  settingList_.integer("T5", t5, 10000);
  settingList_.integer("T6", link.t6, 5000);
  settingList_.integer("T7", link.t7, 10000);
  settingList_.integer("T8", link.t8, 5000);
  settingList_.rareInteger("LinktestInterval", link.linktestInterval, 0);
  settingList_.rareInteger("KeepAliveIdle", link.keepAlive.idle, KeepAlive().idle);
  settingList_.rareInteger("KeepAliveInterval", link.keepAlive.interval, KeepAlive().interval);
  settingList_.rareInteger("KeepAliveCount", link.keepAlive.count, KeepAlive().count);
  settingList_.rareInteger("SendTimeout", link.keepAlive.sendTimeout, KeepAlive().sendTimeout);
  SecsILine &line = link.secsI;
  const SecsILine normal;
  settingList_.section("SECSI");
  settingList_.rareInteger("Transport", transport, static_cast<int32_t>(LinkProtocol::Hsms));
  settingList_.rareText("PortName", line.portName, "");
  settingList_.rareInteger("PortNumber", line.portNumber, normal.portNumber);
  settingList_.rareInteger("BaudRate", line.baudRate, normal.baudRate);
  settingList_.rareInteger("T1", line.t1, normal.t1);
  settingList_.rareInteger("T2", line.t2, normal.t2);
  settingList_.rareInteger("T4", line.t4, normal.t4);
  settingList_.rareInteger("Retry", line.retry, normal.retry);
  settingList_.rareInteger("Master", line.master, normal.master);
}

void CHPhysicalConnection::keepInRange() {
  SecsILine &line = settings_->secsI;
  const SecsILine normal;
  if (!isLinkProtocol(transport))
    transport = static_cast<int32_t>(LinkProtocol::Hsms);
  atLeast(0, line.portNumber, normal.portNumber);
  atLeast(1, line.baudRate, normal.baudRate);
  atLeast(kShortest, line.t1, normal.t1);
  atLeast(kShortest, line.t2, normal.t2);
  atLeast(0, line.t4, normal.t4);
  atLeast(0, line.retry, normal.retry);
  if (line.master < SecsILine::MasterByRole || line.master > SecsILine::AlwaysMaster)
    line.master = SecsILine::MasterByRole;
  settingsChanged();
}

void CHPhysicalConnection::setEquipment(bool equipment) {
  settings_->highSystemBytes = equipment;
  if (std::exchange(settings_->equipment, equipment) != equipment)
    settingsChanged();
}

LinkCounters CHPhysicalConnection::counters() const {
  LinkCounters sum = former_;
  return sum += link_->counters();
}

// The link before is closed and has told so.
void CHPhysicalConnection::useTransport() {
  const auto wanted = static_cast<LinkProtocol>(transport);
  if (wanted == protocol_)
    return;
  former_ += link_->counters();
  protocol_ = wanted;
  link_ = makeMessageLink(wanted, loop_, engine_, settings_, ports_);
  link_->TickWith(ticker_);
}

void CHPhysicalConnection::RequestOpen() {
  openRequested_ = true;
  ticker_.wake();
}

void CHPhysicalConnection::Close() {
  openRequested_ = false;
  open_ = false;
  failedAt_.reset();
  link_->Close();
  ticker_.wake();
}

void CHPhysicalConnection::RequestReopen() {
  Close();
  RequestOpen();
}

void CHPhysicalConnection::End() {
  openRequested_ = false;
  open_ = false;
  link_->End();
}

void CHPhysicalConnection::open() {
  failedAt_.reset();
  useTransport();
  if (settings().ipAddress.empty())
    settings().ipAddress = "127.0.0.1";
  open_ = true;
  const bool started = link_->StartOpen([this](bool connected) {
    if (!connected)
      linkFailed();
  });
  if (!started)
    linkFailed();
}

// The next attempt waits for T5.
void CHPhysicalConnection::linkFailed() {
  open_ = false;
  if (openRequested_)
    failedAt_ = ticks();
  ticker_.wake();
}

bool CHPhysicalConnection::Poll() {
  link_->Poll();
  if (open_ && !link_->IsOpen())
    linkFailed();
  if (!openRequested_ || open_)
    return false;
  if (!failedAt_) {
    // The end of the link before is told first.
    if (State() == LinkState::Down)
      open();
    return false;
  }
  if (timeLeft(ticks(), *failedAt_, milliseconds(t5)) != 0)
    return false;
  failedAt_.reset(); // opened on the next tick
  return true;
}

std::optional<uint32_t> CHPhysicalConnection::NextPoll() const {
  if (open_ && !link_->IsOpen())
    return 0;
  const auto next = link_->NextPoll();
  if (!openRequested_ || open_)
    return next;
  return sooner(next, failedAt_ ? timeLeft(ticks(), *failedAt_, milliseconds(t5)) : 0);
}

void CHPhysicalConnection::addLine(TreeNode &link) const {
  const LinkSettings &set = settings();
  const SecsILine &line = set.secsI;
  if (protocol_ == LinkProtocol::SecsISerial) {
    link.add("Serial Port : " + line.name());
    link.add("Baud Rate : " + std::to_string(line.baudRate));
  } else {
    link.add(set.server ? "Server" : "Client");
    link.add("IP Address : " + set.ipAddress);
    link.add("Port Number : " + std::to_string(set.portNumber));
    link.add("Local Port Number : " + std::to_string(set.myPortNumber));
  }
  link.add(line.isMaster(set.equipment) ? "Master" : "Slave");
  link.add(formatText("T1 : %u ms", milliseconds(line.t1)));
  link.add(formatText("T2 : %u ms", milliseconds(line.t2)));
  link.add(formatText("T4 : %u ms", milliseconds(line.t4)));
  link.add("Retry : " + std::to_string(line.retry));
}

void CHPhysicalConnection::addStatus(TreeNode &parent) const {
  const LinkSettings &set = settings();
  TreeNode &branch = parent.add("Physical Connection");
  branch.expanded = true;
  branch.add(formatText("T5 : %u sec", milliseconds(t5) / 1000));
  TreeNode &link = branch.add(link_->protocolName());
  link.expanded = true;
  link.add(std::string("State : ") + link_->stateText());
  if (!isHsms()) {
    addLine(link);
    return;
  }
  link.add(set.server ? "Server" : "Client");
  link.add("IP Address : " + set.ipAddress);
  link.add("Port Number : " + std::to_string(set.portNumber));
  link.add("Local Port Number : " + std::to_string(set.myPortNumber));
  link.add(formatText("T6 : %u sec", milliseconds(set.t6) / 1000));
  link.add(formatText("T7 : %u sec", milliseconds(set.t7) / 1000));
  link.add(formatText("T8 : %u sec", milliseconds(set.t8) / 1000));
}

} // namespace velto
