#pragma once

#include "controls/problem_numbers.h"
#include "controls/secsi_properties.h"
#include "controls/tcp_control.h"

namespace velto {

class CHSecsISocket;
class LinkLog;

/// `VeltoSecsISocket`: SECS-I (SEMI E4) blocks over TCP, as terminal servers carry them. Messages
/// go in and come out as hexadecimal text of header and data; with MSEC, the data as characters.
class CVeltoSecsISocketCtrl final : public TcpControl, public SecsIProperties {
public:
  explicit CVeltoSecsISocketCtrl(const ControlSite &site);

  static const MemberTable &table();
  const MemberTable &members() const override { return table(); }

  /// A listener takes one peer at a time; others wait. Not persisted.
  bool OneOnOne() const { return oneOnOne_; }
  void SetOneOnOne(bool oneOnOne);

  /// Queues a message for the addressed connection; false when it is shorter than a header or too
  /// long, when there is no connection or the queue is full. Sent or Problem (8) tells how it went.
  bool Send(const std::string &message);

  Event<std::string, int32_t, std::string> onSent{*this, 5};

private:
  std::shared_ptr<CHHsmsConnection> newEngine(const CHHsmsConnection *old) override;
  int16_t problemNumber(const Problem &problem) const override {
    return secsIProblemNumber(problem);
  }
  std::span<const char *const> iniKeys() const override;
  std::span<const Page> pages() const override;
  Variant setting(const char *name) override;
  void setSetting(const char *name, const Variant &value) override;
  void saveExtras(PropertyBag &bag) const override;
  void loadExtras(const PropertyBag &bag) override;
  void settingsChanged() override;
  CHSecsISocket &link() const;
  LinkLog record();

  void OnReceived(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                  ByteView data) override;
  void OnSent(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber, ByteView data,
              bool sent) override;
  void OnProblem(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                 const Problem &problem) override;
  void OnConnectionChanged(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                           bool connected) override;

  bool oneOnOne_ = true;
};

} // namespace velto
