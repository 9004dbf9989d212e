#pragma once

#include "gem/models/model.h"
#include "platform/clock.h"
#include "secs2/sml_printer.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velto {

/// A core object that notes what the models ask of it, one line each in order: "send " and the SML
/// on one line; "communication 1 2", "control 4 2" (from, to), "variable 7".
class FakeOwner final : public GemModelOwner {
public:
  bool Send(CHSecsMessage &message) override {
    if (!accepts)
      return false;
    note("send " + oneLine(message));
    return true;
  }
  bool awaitsAnswer(uint8_t, uint8_t) const override { return awaits; }
  bool answersRequest() const override { return answered; }
  uint8_t communicationState() const override { return communication; }
  uint8_t controlState() const override { return control; }
  bool isHost() const override { return host; }
  Clock &clock() const override { return time; }
  void reportCommunicationState(uint8_t next, uint8_t previous) override {
    note("communication " + std::to_string(previous) + " " + std::to_string(next));
  }
  void reportControlState(uint8_t next, uint8_t previous) override {
    note("control " + std::to_string(previous) + " " + std::to_string(next));
  }
  void reportVariable(uint32_t vid) override { note("variable " + std::to_string(vid)); }

  /// What was noted since the last call.
  std::vector<std::string> take() { return std::exchange(lines, {}); }

  /// The SML with every run of blanks and line ends as one blank.
  static std::string oneLine(const CHSecsMessage &message) {
    std::string out;
    for (const char c : RenderSml(message)) {
      const bool blank = c == ' ' || c == '\r' || c == '\n';
      if (!blank)
        out += c;
      else if (!out.empty() && out.back() != ' ')
        out += ' ';
    }
    if (!out.empty() && out.back() == ' ')
      out.pop_back();
    return out;
  }

  /// Adds a variable with a role and a value.
  CHGemEventVid &addRole(uint32_t vid, uint8_t role, std::string_view value) {
    CHGemEventVid variable;
    variable.vid = vid;
    variable.role = role;
    variable.SetValue(value);
    return list.Add(std::move(variable));
  }

  bool accepts = true;  ///< what Send() answers
  bool answered = true; ///< what answersRequest() answers
  bool awaits = true;   ///< what awaitsAnswer() answers
  uint8_t communication = CommunicationState::Communicating;
  uint8_t control = ControlState::OnlineRemote;
  bool host = false;
  mutable ManualClock time{1000};
  GemData data;
  CHGemEventVidList &list = data.variables;
  std::vector<std::string> lines;
  /// Host code that runs inside every call, after the line was noted.
  std::function<void(const std::string &line)> onNote;

private:
  void note(const std::string &line) {
    lines.push_back(line);
    if (onNote)
      onNote(line);
  }
};

/// The slot of a message that came from the partner, verified, with IDs that a reply has to carry.
inline CHSecsVerifier receivedSlot(std::string_view sml) {
  CHSecsVerifier slot;
  EXPECT_TRUE(slot.message.SetFromSml(sml)) << sml;
  slot.message.header.idWord = 5;
  slot.message.header.systemBytes = 0x01020304;
  slot.Verify(true);
  slot.partner()->message.node = "kept";
  return slot;
}

/// The reply that would be sent, on one line; "none" when its send flag is off. The test fails when
/// it has not the IDs of the message, or when its node path was lost.
inline std::string replyOf(const CHSecsVerifier &slot) {
  const CHSecsVerifier &partner = *slot.partner();
  EXPECT_EQ(partner.message.node, "kept");
  if (!partner.replyValid)
    return "none";
  EXPECT_EQ(partner.message.header.idWord, 5);
  EXPECT_EQ(partner.message.header.systemBytes, 0x01020304U);
  return FakeOwner::oneLine(partner.message);
}

} // namespace velto
