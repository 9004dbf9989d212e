#pragma once

#include "base/bytes.h"
#include "gem/capabilities/capability.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// Trace data collection (SEMI E30 4.2.3; E5 S2F23 and S6F1): values of status variables are
/// sampled at a fixed period and sent in groups. Traces end when the equipment goes off-line, and
/// with the communications.
class CHGemTrace final : public GemCapability {
public:
  using GemCapability::GemCapability;

  /// TIAACK (SEMI E5).
  enum Answer : uint8_t {
    Accepted = 0,
    TooManyVariables = 1,
    NoMoreTraces = 2,
    BadPeriod = 3,
    NoSuchVariable = 4,
    BadGroupSize = 5,
  };
  static constexpr int32_t kMostTraces = 16;
  static constexpr int32_t kMostVariables = 1000;

  /// How many may run at once; none when below 1.
  int32_t mostTraces() const { return mostTraces_; }
  void setMostTraces(int32_t count) { mostTraces_ = count; }
  /// Whether the host is to answer S6F1. In the early edition, which asks for the W-bit, it always
  /// is.
  bool wantsReplies() const { return wantsReplies_; }
  void setWantsReplies(bool wants) { wantsReplies_ = wants; }
  /// How many run.
  size_t count() const { return traces_.size(); }

  void addSettings(SettingList &settings) override;
  bool OnReceive(CHSecsVerifier &slot) override;
  /// Takes the samples that are due, each once, however late it comes.
  void Tick() override;
  std::optional<uint32_t> NextTick() const override;
  void OnVariableChanged(uint32_t vid) override;
  void OnCommunicationsEnd() override { traces_.clear(); }
  void OnDisable() override { traces_.clear(); }
  void OnSwitchedOff() override { traces_.clear(); }
  void Reset() override { traces_.clear(); }
  void addStatus(TreeNode &parent) const override;

private:
  struct Trace {
    std::string name; // TRID as text, by which traces are told apart
    CHSecsItem trid;  // as it came
    std::vector<uint32_t> vids = {};
    uint32_t period = 0; // ms
    uint32_t due = 0;    // tick of the next sample
    uint32_t samples = 0;
    uint32_t groupSize = 0;
    uint32_t taken = 0;   // samples
    uint32_t grouped = 0; // of them in the group that is being collected
    Bytes group = {};     // its values, encoded: the least room
  };
  enum class Sampled { Kept, GroupIsWhole, TraceIsOver, DoesNotFit };

  Answer begin(const CHSecsMessage &request);
  Answer define(const CHSecsMessage &request, Trace &trace) const;
  Bytes sample(std::span<const uint32_t> vids, size_t most) const;
  Trace *nextDue();
  Sampled takeSample(Trace &trace);
  CHSecsItem report(Trace &trace) const;
  bool send(CHSecsItem body);
  void end(std::string_view name);

  int32_t mostTraces_ = kMostTraces;
  int32_t mostVariables_ = kMostVariables;
  bool wantsReplies_ = false;
  std::vector<Trace> traces_;
};

} // namespace velto
