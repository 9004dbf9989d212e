#include "controls/tcp_control.h"

#include "base/text.h"
#include "transport/tcp/connection.h"

#include <algorithm>
#include <array>

namespace velto {

TcpControl::TcpControl(const ControlSite &site, std::string section)
    : IniControl(site, std::move(section)) {}

TcpControl::~TcpControl() = default;

// Replaces the engine by a fresh one with the same settings; the old one closes with all its peers.
void TcpControl::makeEngine() {
  auto fresh = newEngine(engine_.get());
  if (engine_) {
    fresh->SetServerMode(engine_->ServerMode());
    fresh->SetMyPortNumber(engine_->MyPortNumber());
    fresh->SetMaxLength(engine_->MaxLength());
    fresh->SetKeepAlive(engine_->keepAlive());
    fresh->SetPortNumber(engine_->PortNumber());
    fresh->SetIPAddress(engine_->IPAddress());
  }
  fresh->CountIn(counters_);
  fresh->SetSink(this);
  engine_ = Handle<CHHsmsConnection>(std::move(fresh));
  ++engineCount_;
}

void TcpControl::setKeepAlive(int32_t KeepAlive::*part, int32_t value) {
  KeepAlive settings = engine_->keepAlive();
  settings.*part = std::max(value, 0);
  engine_->SetKeepAlive(settings);
  setModified();
}

std::span<const char *const> TcpControl::rareIniKeys() const {
  static constexpr std::array kKeys{"KeepAliveIdle", "KeepAliveInterval", "KeepAliveCount",
                                    "SendTimeout"};
  return kKeys;
}

void TcpControl::SetConnect(bool connect) {
  connect_ = connect;
  setModified();
  if (engine_->IPAddress().empty())
    engine_->SetIPAddress("127.0.0.1");
  if (engine_->Created() || engine_->Opening())
    makeEngine();
  if (connect) {
    // The loop goes on while the engine connects: the host may set Connect again, or destroy the
    // control.
    const Lifetime::Watch alive(lifetime());
    const uint32_t opening = engineCount_;
    const bool opened = engine_->Open();
    if (!alive || engineCount_ != opening)
      return;
    connect_ = opened;
  }
}

// A loaded bag finds the link closed, so that all its settings count.
void TcpControl::prepareLoad() {
  if (connect_)
    SetConnect(false);
}

void TcpControl::OnTick() {
  if (!engine_->Connected() && !engine_->Opening())
    connect_ = false;
}

TreeView TcpControl::view() const {
  TreeView view;
  TreeNode &root = view.add(Server() ? "Server" : "Client");
  root.expanded = true;
  const auto add = [this, &root](const CHHsmsConnection &connection) {
    root.add(connection.IPAddress() + " (" + std::to_string(connection.PortNumber()) + ")",
             isMarked(connection) ? 1 : 0);
  };
  if (!Server())
    add(*engine_);
  for (size_t i = 0; i < engine_->PeerCount(); ++i)
    add(engine_->PeerAt(i));
  addStatistics(view, counters(), connectionCounters());
  return view;
}

std::vector<PageField> TcpControl::connectionFields(const std::vector<PageField> &more) {
  std::vector<PageField> fields{
      {"IPAddress", "IP Address", 0, 0, 1, true},
      {"PortNumber", "Port Number", 0, kMaxWord},
      {"MyPortNumber", "My Port Number", 0, kMaxWord},
      {"Server", "Server"},
  };
  fields.insert(fields.end(), more.begin(), more.end());
  const std::vector<PageField> keepAlive = keepAliveFields();
  fields.insert(fields.end(), keepAlive.begin(), keepAlive.end());
  return fields;
}

void TcpControl::SetIPAddress(const std::string &address) {
  engine_->SetIPAddress(address);
  setModified();
}

void TcpControl::SetPortNumber(int32_t port) {
  engine_->SetPortNumber(port);
  setModified();
}

void TcpControl::SetMyPortNumber(int32_t port) {
  engine_->SetMyPortNumber(port);
  setModified();
}

void TcpControl::SetServer(bool server) {
  if (connect_)
    return;
  engine_->SetServerMode(server);
  setModified();
}

bool TcpControl::Disconnect(const std::string &ipAddress, int32_t portNumber) {
  return Server() && engine_->RemovePeer(engine_->FindPeer(ipAddress, portNumber));
}

// The engine's reports name the engine's own texts, which the host may replace inside the event:
// events get copies.

void TcpControl::OnReceived(ConnectionKind, const std::string &ipAddress, int32_t portNumber,
                            ByteView data) {
  onReceived.raise(std::string(ipAddress), portNumber, toHex(data));
}

void TcpControl::OnProblem(ConnectionKind, const std::string &ipAddress, int32_t portNumber,
                           const Problem &problem) {
  onProblem.raise(std::string(ipAddress), portNumber, problemNumber(problem),
                  std::string(problem.text));
}

void TcpControl::OnConnectionChanged(ConnectionKind, const std::string &ipAddress,
                                     int32_t portNumber, bool connected) {
  auto &event = connected ? onConnected : onDisconnected;
  event.raise(std::string(ipAddress), portNumber);
}

std::string TcpControl::IPAddress() const { return engine_->IPAddress(); }

int32_t TcpControl::MyPortNumber() const { return engine_->MyPortNumber(); }

int32_t TcpControl::PortNumber() const { return engine_->PortNumber(); }

bool TcpControl::Server() const { return engine_->ServerMode(); }

int32_t TcpControl::KeepAliveIdle() const { return engine_->keepAlive().idle; }

void TcpControl::SetKeepAliveIdle(int32_t seconds) { setKeepAlive(&KeepAlive::idle, seconds); }

int32_t TcpControl::KeepAliveInterval() const { return engine_->keepAlive().interval; }

void TcpControl::SetKeepAliveInterval(int32_t seconds) {
  setKeepAlive(&KeepAlive::interval, seconds);
}

int32_t TcpControl::KeepAliveCount() const { return engine_->keepAlive().count; }

void TcpControl::SetKeepAliveCount(int32_t count) { setKeepAlive(&KeepAlive::count, count); }

int32_t TcpControl::SendTimeout() const { return engine_->keepAlive().sendTimeout; }

void TcpControl::SetSendTimeout(int32_t seconds) { setKeepAlive(&KeepAlive::sendTimeout, seconds); }

LinkCounters TcpControl::counters() const { return engine_->counters(); }

std::vector<ConnectionCounters> TcpControl::connectionCounters() const {
  return engine_->connectionCounters();
}

} // namespace velto
