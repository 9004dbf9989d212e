#include "gem/engine/physical_connection.h"

#include "base/text.h"

namespace velto {

namespace {

uint32_t milliseconds(int32_t value) { return value < 0 ? 0 : static_cast<uint32_t>(value); }

} // namespace

CHPhysicalConnection::CHPhysicalConnection(EventLoop &loop, PhysicalConnectionOwner &owner)
    : loop_(loop), owner_(owner) {
  settings_.section("HSMS");
  settings_.text("IPAddress", ipAddress, "127.0.0.1");
  settings_.integer("PortNumber", portNumber, 5001);
  settings_.integer("LocalPortNumber", localPortNumber, 0);
  settings_.integer("Server", server, 0);
  settings_.integer("Protocol", protocol, 1);
  settings_.integer("DiscardDuplicateBlock", discardDuplicates, 1);
  settings_.integer("T5", t5, 10000);
  settings_.integer("T6", t6, 5000);
  settings_.integer("T7", t7, 10000);
  settings_.integer("T8", t8, 5000);
}

void CHPhysicalConnection::RequestOpen() {
  openRequested_ = true;
  if (wake_)
    wake_();
}

void CHPhysicalConnection::Close() {
  openRequested_ = false;
  open_ = false;
  failedAt_.reset();
  if (hsms_ != nullptr)
    hsms_->Close();
  if (wake_)
    wake_();
}

void CHPhysicalConnection::RequestReopen() {
  Close();
  RequestOpen();
}

bool CHPhysicalConnection::Send(ByteView message) {
  return hsms_ != nullptr && hsms_->SendToSelected(message);
}

void CHPhysicalConnection::applyTimes() const {
  HsmsSettings &settings = hsms_->settings();
  settings.sessionMode = static_cast<HsmsSessionMode>(protocol);
  settings.discardDuplicates = discardDuplicates != 0;
  settings.t6 = milliseconds(t6);
  settings.t7 = milliseconds(t7);
  settings.t8 = milliseconds(t8);
}

void CHPhysicalConnection::open() {
  failedAt_.reset();
  if (hsms_ == nullptr) {
    hsms_ = std::make_unique<CHHsms>(loop_, static_cast<CHHsmsOwner &>(*this));
    hsms_->SetWake([this] {
      if (wake_)
        wake_();
    });
  }
  if (ipAddress.empty())
    ipAddress = "127.0.0.1";
  HsmsSettings &settings = hsms_->settings();
  settings.server = server != 0;
  settings.ipAddress = ipAddress;
  settings.portNumber = portNumber;
  settings.myPortNumber = settings.server && localPortNumber == 0 ? portNumber : localPortNumber;
  applyTimes();
  open_ = true;
  const bool started = hsms_->StartOpen([this](bool connected) {
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
  if (wake_)
    wake_();
}

void CHPhysicalConnection::Poll() {
  const Lifetime::Watch alive(lifetime_);
  if (hsms_ != nullptr) {
    applyTimes();
    hsms_->Poll();
    if (!alive)
      return;
    if (open_ && !hsms_->IsOpen())
      linkFailed();
  }
  if (!openRequested_ || open_)
    return;
  if (!failedAt_) {
    // The end of the link before is told first.
    if (State() == HsmsState::NotConnected)
      open();
    return;
  }
  if (ticks() - *failedAt_ < milliseconds(t5))
    return;
  failedAt_.reset(); // opened on the next tick
  owner_.OnLinkProblem(ErrorGemHsmsT5Timeout);
}

std::optional<uint32_t> CHPhysicalConnection::NextPoll() const {
  if (hsms_ != nullptr)
    applyTimes();
  if (hsms_ != nullptr && open_ && !hsms_->IsOpen())
    return 0;
  auto next = hsms_ != nullptr ? hsms_->NextPoll() : std::nullopt;
  if (!openRequested_ || open_)
    return next;
  const uint32_t waited = failedAt_ ? ticks() - *failedAt_ : milliseconds(t5);
  const uint32_t left = waited >= milliseconds(t5) ? 0 : milliseconds(t5) - waited;
  return next ? std::min(*next, left) : left;
}

void CHPhysicalConnection::OnConnected(const std::string &address, int32_t port) {
  owner_.OnConnected(address, port, true);
}

void CHPhysicalConnection::OnDisconnected(const std::string &address, int32_t port) {
  owner_.OnConnected(address, port, false);
}

void CHPhysicalConnection::OnDataReceived(const std::string &address, int32_t port,
                                          ByteView message, bool notSelected) {
  owner_.OnReceived(address, port, message, notSelected);
}

void CHPhysicalConnection::OnControlReceived(const std::string &address, int32_t port,
                                             ByteView message) {
  owner_.OnReceived(address, port, message, false);
}

void CHPhysicalConnection::OnMessageSent(const std::string &, int32_t, const CHSecsHeader &header,
                                         ByteView body) {
  owner_.OnSent(header, body);
}

void CHPhysicalConnection::OnProblem(const std::string &, int32_t, int code, ByteView) {
  owner_.OnLinkProblem(code);
}

void CHPhysicalConnection::OnStateChanged(HsmsState next, HsmsState previous) {
  owner_.OnLinkStateChanged(next, previous);
}

void CHPhysicalConnection::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add("Physical Connection");
  branch.expanded = true;
  branch.add(formatText("T5 : %u sec", milliseconds(t5) / 1000));
  TreeNode &link = branch.add("HSMS");
  link.expanded = true;
  link.add("State : " + std::string(hsmsStateText(State())));
  link.add(server != 0 ? "Server" : "Client");
  link.add("IP Address : " + ipAddress);
  link.add("Port Number : " + std::to_string(portNumber));
  link.add("Local Port Number : " + std::to_string(localPortNumber));
  link.add(formatText("T6 : %u sec", milliseconds(t6) / 1000));
  link.add(formatText("T7 : %u sec", milliseconds(t7) / 1000));
  link.add(formatText("T8 : %u sec", milliseconds(t8) / 1000));
}

} // namespace velto
