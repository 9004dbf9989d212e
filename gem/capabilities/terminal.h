#pragma once

#include "gem/capabilities/capability.h"

#include <cstdint>
#include <deque>
#include <string>

namespace velto {

/// Terminal services (SEMI E30 4.9; E5 stream 10): a text of the partner is handed to the host
/// application, whose answer is ACKC10, and texts of the operator go out.
class CHGemTerminal final : public GemCapability {
public:
  using GemCapability::GemCapability;

  /// ACKC10 (SEMI E5): 0 accepted for display, 1 not displayed, 2 no terminal. What the application
  /// answers while it is told of a text; counts then alone.
  uint8_t answer() const { return answer_; }
  void setAnswer(uint8_t acknowledge) { answer_ = acknowledge; }
  /// Whether the terminal takes texts of several lines (S10F5); else S10F7 refuses them.
  bool multiBlock() const { return multiBlock_; }
  void setMultiBlock(bool takes) { multiBlock_ = takes; }

  /// Sends S10F1, or S10F3 when this side is the host. False when it may not go out.
  bool SendText(uint8_t tid, std::string_view text);
  /// The operator has read a text: reports the event of that role. False without a text that
  /// nobody has read, and when the event is not sent: the text counts as unread then.
  bool Recognize();

  void addSettings(SettingList &settings) override;
  bool OnReceive(CHSecsVerifier &slot) override;
  void Tick() override;
  std::optional<uint32_t> NextTick() const override;
  void OnDisable() override { refused_.clear(); }
  void Reset() override;

private:
  uint8_t show(const CHSecsMessage &message);

  uint8_t answer_ = 0;
  bool multiBlock_ = true;
  bool unread_ = false;
  std::deque<uint8_t> refused_; // TIDs whose text of several lines S10F7 is to refuse
};

} // namespace velto
