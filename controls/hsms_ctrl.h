#pragma once

#include "controls/log_properties.h"
#include "controls/problem_numbers.h"
#include "controls/tcp_control.h"

namespace velto {

class CHHsmsLink;
class LinkLog;
struct HsmsTimes;

/// `VeltoHsms`: raw HSMS links (SEMI E37). Sends messages that the host gives as hexadecimal text,
/// and raises an event for every message, connection change and problem. Control messages are the
/// host's to send and to answer.
class CVeltoHsmsCtrl final : public TcpControl, public LinkLogProperties {
public:
  explicit CVeltoHsmsCtrl(const ControlSite &site);

  static const MemberTable &table();
  const MemberTable &members() const override { return table(); }

  std::string MyHostName() const;
  /// The Selected flag of the client connection, or of the addressed peer.
  bool Selected() const;
  void SetSelected(bool selected);

  // Timers in ms (SEMI E37 9.2).
  int32_t T3() const;
  void SetT3(int32_t ms);
  int32_t T5() const;
  void SetT5(int32_t ms);
  int32_t T6() const;
  void SetT6(int32_t ms);
  int32_t T7() const;
  void SetT7(int32_t ms);
  int32_t T8() const;
  void SetT8(int32_t ms);

  /// The IPv4 address of a host (this one for an empty name); empty when it is unknown.
  std::string ToIPAddress(const std::string &hostName) const;
  /// Sends header and body, given as hexadecimal text, to the addressed connection; true when all
  /// of it was sent or queued.
  bool Send(const std::string &text);

  /// The operator clicked connection `index` in the window: raises SelChanged.
  void ClickConnection(size_t index);

  Event<std::string, int32_t> onSelChanged{*this, 5};

private:
  std::shared_ptr<CHHsmsConnection> newEngine(const CHHsmsConnection *old) override;
  bool isMarked(const CHHsmsConnection &connection) const override;
  void OnReceived(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                  ByteView data) override;
  void OnProblem(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                 const Problem &problem) override;
  void OnConnectionChanged(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                           bool connected) override;

  int16_t problemNumber(const Problem &problem) const override {
    return hsmsProblemNumber(problem);
  }
  std::span<const char *const> iniKeys() const override;
  std::span<const Page> pages() const override;
  Variant setting(const char *name) override;
  void setSetting(const char *name, const Variant &value) override;
  Variant missingSetting(const char *name) override;
  void logChanged() override { setModified(); }

  CHHsmsLink &link() const;
  void setTimer(uint32_t HsmsTimes::*timer, int32_t ms);
  LinkLog record();

  int32_t deviceId_ = 0; // known to the INI file and the property sheet alone
};

} // namespace velto
