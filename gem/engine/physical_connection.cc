#include "gem/engine/physical_connection.h"

#include "base/text.h"
#include "transport/link/deadline.h"

namespace velto {

CHPhysicalConnection::CHPhysicalConnection(EventLoop &loop, MessageLinkOwner &engine,
                                           Ticker &ticker)
    : loop_(loop), ticker_(ticker), link_(makeMessageLink(LinkProtocol::Hsms, loop, engine, std::make_shared<LinkSettings>())) {
  link_->TickWith(ticker);
  LinkSettings &link = link_->settings();
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

void CHPhysicalConnection::addStatus(TreeNode &parent) const {
  const LinkSettings &set = settings();
  TreeNode &branch = parent.add("Physical Connection");
  branch.expanded = true;
  branch.add(formatText("T5 : %u sec", milliseconds(t5) / 1000));
  TreeNode &link = branch.add(link_->protocolName());
  link.expanded = true;
  link.add(std::string("State : ") + link_->stateText());
  link.add(set.server ? "Server" : "Client");
  link.add("IP Address : " + set.ipAddress);
  link.add("Port Number : " + std::to_string(set.portNumber));
  link.add("Local Port Number : " + std::to_string(set.myPortNumber));
  link.add(formatText("T6 : %u sec", milliseconds(set.t6) / 1000));
  link.add(formatText("T7 : %u sec", milliseconds(set.t7) / 1000));
  link.add(formatText("T8 : %u sec", milliseconds(set.t8) / 1000));
}

} // namespace velto
