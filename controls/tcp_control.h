#pragma once

#include "base/handle.h"
#include "controls/component/ini_control.h"
#include "controls/statistics_property.h"
#include "transport/link/connection_sink.h"

#include <memory>
#include <string>

namespace velto {

class CHHsmsConnection;
struct KeepAlive;

/// What the controls on TCP connections share: opening and closing, the addressed peer, the events,
/// and the window that lists the connections.
///
/// A passive entity serves any number of peers; `IPAddress` and `PortNumber` name the one that is
/// sent to, and every accepted peer sets them to itself.
class TcpControl : public IniControl, public StatisticsProperty, protected CHConnectionSink {
public:
  /// Opens or closes the link. An active entity waits up to 5 s for the connection while the loop
  /// goes on; setting Connect again meanwhile ends that wait. The control clears the flag when the
  /// connection ends.
  bool Connect() const { return connect_; }
  void SetConnect(bool connect);
  std::string IPAddress() const;
  void SetIPAddress(const std::string &address);
  int32_t MyPortNumber() const;
  void SetMyPortNumber(int32_t port);
  int32_t PortNumber() const;
  void SetPortNumber(int32_t port);
  bool Server() const;
  /// Has no effect while Connect is true.
  void SetServer(bool server);

  // How a remote end that is gone without a word is noticed, from the next opening on; in seconds,
  // 0: as the system is set, negative ones become 0.
  int32_t KeepAliveIdle() const;
  void SetKeepAliveIdle(int32_t seconds);
  int32_t KeepAliveInterval() const;
  void SetKeepAliveInterval(int32_t seconds);
  int32_t KeepAliveCount() const;
  void SetKeepAliveCount(int32_t count);
  int32_t SendTimeout() const;
  void SetSendTimeout(int32_t seconds);

  /// Closes a listener's peer; false when there is none of that address.
  bool Disconnect(const std::string &ipAddress, int32_t portNumber);

  /// What the window shows: "Server" with the peers, or "Client" with its connection; image 1 marks
  /// a selected one.
  TreeView view() const;
  std::string window() const override { return toText(view()); }
  std::optional<TreeView> windowTree() const override { return view(); }
  /// What the link has carried since the control was made, over all its connections.
  LinkCounters counters() const;
  /// What each of a listener's peers has carried.
  std::vector<ConnectionCounters> connectionCounters() const;

  Event<std::string, int32_t> onConnected{*this, 1};
  Event<std::string, int32_t> onDisconnected{*this, 2};
  Event<std::string, int32_t, int16_t, std::string> onProblem{*this, 3};
  Event<std::string, int32_t, std::string> onReceived{*this, 4};

protected:
  TcpControl(const ControlSite &site, std::string section);
  ~TcpControl() override;

  /// A fresh engine with the protocol's settings of `old`, which is null the first time.
  virtual std::shared_ptr<CHHsmsConnection> newEngine(const CHHsmsConnection *old) = 0;
  /// Whether the window marks a connection.
  virtual bool isMarked(const CHHsmsConnection &) const { return false; }

  void OnReceived(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                  ByteView data) override;
  void OnSent(ConnectionKind, const std::string &, int32_t, ByteView, bool) override {}
  void OnProblem(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                 const Problem &problem) override;
  void OnConnectionChanged(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                           bool connected) override;
  void OnTrace(ConnectionKind, ByteView, TraceDirection) override {}
  void OnTick() override;
  void OnChanged() override { viewChanged(); }
  void statisticsChanged() override { viewChanged(); }
  /// The number by which the control reports a problem.
  virtual int16_t problemNumber(const Problem &problem) const = 0;

  /// The fields of the page of the connection: the common ones, then those of the class.
  static std::vector<PageField> connectionFields(const std::vector<PageField> &more = {});
  /// To be called in the constructor of the class, whose newEngine() it calls.
  void makeEngine();
  CHHsmsConnection &engine() const { return *engine_; }
  void prepareLoad() override;
  std::span<const char *const> rareIniKeys() const override;

private:
  void setKeepAlive(int32_t KeepAlive::*part, int32_t value);

  std::shared_ptr<LinkCounters> counters_ = std::make_shared<LinkCounters>();
  Handle<CHHsmsConnection> engine_;
  bool connect_ = false;
  uint32_t engineCount_ = 0; // tells an engine from the one that took its place
};

} // namespace velto
