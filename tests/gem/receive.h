#pragma once

#include "gem/fake_owner.h"
#include "secs2/support.h"
#include "secs2/verifier.h"

namespace velto {

/// What a model made of a received message.
struct Answer {
  bool taken = false;
  std::string reply; ///< SML on one line

  bool operator==(const Answer &) const = default;
};

inline void PrintTo(const Answer &answer, std::ostream *out) {
  *out << (answer.taken ? "taken: " : "not taken: ") << answer.reply;
}

inline Answer taken(std::string_view reply) { return {true, FakeOwner::oneLine(fromSml(reply))}; }
inline Answer notTaken(std::string_view reply) {
  return {false, FakeOwner::oneLine(fromSml(reply))};
}

/// Verifies a message and hands it to a model. The header of the reply and the node paths must stay
/// as the verification left them.
inline Answer receive(GemModel &model, const CHSecsMessage &message,
                      E5Edition edition = E5Edition::Early) {
  CHSecsVerifier slot;
  slot.edition = edition;
  slot.message.header = message.header;
  slot.message.header.idWord = 5;
  slot.message.header.systemBytes = 0x12345678;
  slot.message.root = message.root.clone();
  EXPECT_EQ(slot.Verify(true), VerificationCorrect) << FakeOwner::oneLine(message);
  slot.message.node = "2/1";
  slot.partner()->message.node = "1";
  const CHSecsHeader proposed = slot.partner()->message.header;
  Answer answer;
  answer.taken = model.OnReceive(slot);
  EXPECT_EQ(slot.message.node, "2/1");
  EXPECT_EQ(slot.partner()->message.node, "1");
  EXPECT_EQ(slot.partner()->message.header, proposed);
  answer.reply = FakeOwner::oneLine(slot.partner()->message);
  return answer;
}

inline Answer receive(GemModel &model, std::string_view sml, E5Edition edition = E5Edition::Early) {
  return receive(model, fromSml(sml), edition);
}

} // namespace velto
