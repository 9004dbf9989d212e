#pragma once

#include "gem/capabilities/capability.h"
#include "gem/capabilities/kept_variables.h"
#include "gem/capabilities/limits_monitoring.h"
#include "gem/capabilities/multi_block.h"
#include "gem/capabilities/process_programs.h"
#include "gem/capabilities/remote_control.h"
#include "gem/capabilities/spool.h"
#include "gem/capabilities/terminal.h"
#include "gem/capabilities/trace.h"
#include "gem/data/companion_file.h"
#include "gem/messages/send_stage.h"

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// The capabilities of an equipment in their order. What is switched off costs nothing and changes
/// nothing. Also the stage of sending that they form together.
class GemCapabilities final : public GemSendStage {
public:
  /// Their settings are added to `settings`, which must not outlive them.
  GemCapabilities(const GemParts &parts, SettingList &settings);

  CHGemRemoteControl &remote() { return *remote_; }
  CHGemProcessPrograms &programs() { return *programs_; }
  CHGemTrace &trace() { return *trace_; }
  CHGemTerminal &terminal() { return *terminal_; }
  CHGemKeptVariables &variables() { return *variables_; }
  CHGemSpool &spool() { return *spool_; }
  /// While any other one is on; else null.
  CHGemMultiBlock *multiBlock() { return enabled_ != 0 ? multiBlock_ : nullptr; }

  /// GemCapabilityBit bits of those that are on. Other bits are dropped.
  uint32_t enabled() const { return static_cast<uint32_t>(enabled_); }
  void enable(uint32_t bits);

  bool OnReceive(CHSecsVerifier &slot);
  void OnReceived();
  void Tick();
  std::optional<uint32_t> NextTick() const;
  void OnConnectionReset();
  void OnDisable();
  void OnSent(const CHSecsHeader &header, ByteView body);
  void OnAnswered(const CHSecsMessage &answer);
  void OnRejected(const CHSecsHeader &primary);
  void OnProblem(LinkProblem problem, const CHSecsHeader &header);
  void OnUndelivered(const CHSecsMessage &message);
  void OnVariableChanged(uint32_t vid);
  void OnVariableRemoved(uint32_t vid);
  void beforeReading(const CHGemEventCeid *event);
  void beforeSampling(std::span<const uint32_t> vids);
  void OnCommunicationsEnd();
  void OnAlarmChanged(uint32_t alid, bool set);
  void addStatus(TreeNode &parent) const;
  std::optional<bool> stop(const CHSecsMessage &message) override;
  bool wantsEvents() const;

  /// Back to where all began; settings stay.
  void Reset();
  bool modified() const;
  void clearModified();
  uint32_t changes() const;

  /// What is to outlive the process, as the bytes of the data file's companion.
  std::string store() const;
  /// Takes that over; parts of a name that nobody has are passed over. False, and nothing is
  /// there, when the bytes are no such file.
  bool load(std::string_view bytes);

private:
  struct Entry {
    uint32_t bit;
    std::unique_ptr<GemCapability> capability;
  };

  template <typename C> C *add(uint32_t bit, const GemParts &parts, SettingList &settings);
  bool loadPart(const CompanionPart &part);
  bool isOn(const Entry &entry) const { return (enabled() & entry.bit) != 0; }
  /// Calls every one that is on.
  template <typename Call> void each(Call call) const;

  std::vector<Entry> entries_;
  int32_t enabled_ = 0;
  CHGemRemoteControl *remote_ = nullptr;
  CHGemProcessPrograms *programs_ = nullptr;
  CHGemTrace *trace_ = nullptr;
  CHGemTerminal *terminal_ = nullptr;
  CHGemKeptVariables *variables_ = nullptr;
  CHGemSpool *spool_ = nullptr;
  CHGemMultiBlock *multiBlock_ = nullptr;
};

} // namespace velto
