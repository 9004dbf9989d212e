#pragma once

#include "gem/capabilities/capability.h"

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>

namespace velto {

/// Remote commands (SEMI E30 4.4; E5 S2F41, S2F49 and S2F21). A command that the equipment knows,
/// in a control state that allows it and with parameters that it takes, is handed to the host
/// application, whose answer is HCACK, with CPACK for parameters. What it does not answer is done.
class CHGemRemoteControl final : public GemCapability {
public:
  using GemCapability::GemCapability;

  /// HCACK (SEMI E5).
  enum Answer : uint8_t {
    Done = 0,
    NoSuchCommand = 1,
    NotNow = 2,
    BadParameter = 3,
    DoneLater = 4, ///< the event of the command's completion is to follow
    Rejected = 5,
    NoSuchObject = 6,
  };
  /// CPACK (SEMI E5).
  enum ParameterFault : uint8_t { UnknownName = 1, BadValue = 2, WrongFormat = 3 };

  // What the application answers while it is told of a command; counts then alone.
  uint8_t answer() const { return answer_; }
  void setAnswer(uint8_t hcack) { answer_ = hcack; }
  /// 0 for a parameter that it has no objection to.
  uint8_t parameterFault(const std::string &name) const;
  void setParameterFault(const std::string &name, uint8_t cpack) { faults_[name] = cpack; }
  /// The value of a parameter of the command at hand as text: of a real number all digits, of a
  /// list the SML of its items. Empty when it has none of that name.
  std::string parameterValue(const std::string &name) const;
  /// The parameters of the command at hand, CPVAL by CPNAME; while the application is told of it.
  const std::map<std::string, const CHSecsItem *> &parameters() const { return values_; }

  bool OnReceive(CHSecsVerifier &slot) override;
  /// Reports the completion of commands that were answered with Done.
  void Tick() override;
  std::optional<uint32_t> NextTick() const override;
  void Reset() override;
  void addStatus(TreeNode &parent) const override;

  std::string_view storedAs() const override { return kCommandsPart; }
  void store(ArchiveWriter &archive) const override { storeCommands(archive, data().commands); }
  void load(ArchiveReader &archive) override { loadCommands(archive, data().commands); }

private:
  struct Request;

  uint8_t judge(Request &request) const;
  void checkParameters(const CHGemCommand &command, Request &request) const;
  uint8_t ask(Request &request);

  uint8_t answer_ = Done;
  std::map<std::string, uint8_t> faults_;            // CPACK by CPNAME
  std::map<std::string, const CHSecsItem *> values_; // CPVAL by CPNAME
  std::deque<uint32_t> completed_;                   // CEIDs that are to be reported
};

} // namespace velto
