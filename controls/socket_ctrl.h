#pragma once

#include "controls/problem_numbers.h"
#include "controls/tcp_control.h"

namespace velto {

/// `VeltoSocket`: raw TCP. Bytes go out and come in as hexadecimal text; what arrived since the
/// last tick is one Received.
class CVeltoSocketCtrl final : public TcpControl {
public:
  explicit CVeltoSocketCtrl(const ControlSite &site);

  static const MemberTable &table();
  const MemberTable &members() const override { return table(); }

  /// Sends bytes given as hexadecimal text (a pair that is not hexadecimal gives 0) to the
  /// addressed connection; true when all of them were sent or queued, false for less than one pair.
  bool Send(const std::string &hexData);

private:
  std::shared_ptr<CHHsmsConnection> newEngine(const CHHsmsConnection *old) override;
  int16_t problemNumber(const Problem &problem) const override {
    return socketProblemNumber(problem);
  }
  std::span<const char *const> iniKeys() const override;
  std::span<const Page> pages() const override;
};

} // namespace velto
