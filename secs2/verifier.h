#pragma once

#include "secs2/edition.h"
#include "secs2/message.h"
#include "secs2/verify_finding.h"

#include <memory>
#include <string>
#include <string_view>

namespace velto {

struct MessageRow;

/// What verification says of a message.
enum VeltoSecsIIVerification : uint16_t {
  VerificationCorrect = 0,
  VerificationUserDefined = 1,
  VerificationIncorrect = 2, ///< the body has not the standard's structure, or came malformed
  VerificationIncorrectAndReply = 3, ///< so, and the message has a reply of its own for it
  VerificationNoWBit = 4,
  VerificationWBit = 5,
  VerificationWrongDirection = 6,
  VerificationUnrecognizedStream = 7,
  VerificationUnrecognizedFunction = 8,
};

/// "VerificationCorrect" and so on.
const char *toText(VeltoSecsIIVerification result);

/// A message slot: one message, where it came from, what verification says of it, and the reply
/// that is suggested to it.
class CHSecsVerifier {
public:
  /// Without a partner: the slot of a reply.
  enum class Kind { Slot, Partner };

  explicit CHSecsVerifier(Kind kind = Kind::Slot);

  std::string remoteHost = "localhost"; ///< of the connection that the message came by
  int32_t remotePort = 5001;
  CHSecsMessage message;
  bool isEquipmentSide = true;          ///< whether the local side is the equipment
  E5Edition edition = E5Edition::Early; ///< by which it is judged and answered
  bool replyValid = false;              ///< of a partner: it holds a reply that may be sent
  VeltoSecsIIVerification result = VerificationCorrect;

  /// The slot of the suggested reply; null in a partner.
  CHSecsVerifier *partner() { return partner_.get(); }
  const CHSecsVerifier *partner() const { return partner_.get(); }

  /// Checks the message against SEMI E5 and prepares the suggested reply in the partner: the
  /// standard's reply, a stream 9 message (on the equipment side), or an abort SxF0 (on the host
  /// side). In HSMS mode control messages are recognised. The message stays as it is but for its
  /// node path, which is left at the item that was compared last.
  VeltoSecsIIVerification Verify(bool hsmsMode);

  /// What Verify() objects to in the message as it stands, looked for anew. Nothing in a correct or
  /// user-defined one.
  VerifyFinding Finding(bool hsmsMode) const;
  /// The same as a line: "S1F13 1: MDLN longer than 6".
  std::string FindingText(bool hsmsMode) const;

  /// Whether the message has the structure of an SML template, in which ASCII items hold
  /// rules (item_rule.h). False when the template does not parse.
  bool MatchTemplate(std::string_view templateText);

private:
  VeltoSecsIIVerification verifyControl();
  // What the header decides; with a row, the body is left to decide.
  struct HeaderVerdict {
    VeltoSecsIIVerification result;
    const char *objection = "";
    const MessageRow *row = nullptr;
  };

  HeaderVerdict judgeHeader() const;
  HeaderVerdict judgeKnown(const MessageRow &row) const;
  void answerUserDefined();
  VeltoSecsIIVerification check(const MessageRow &row);
  void propose(const MessageRow &row);
  void refuse(const MessageRow &row);
  void complain(uint8_t function);
  void applyReplyPolicy();

  std::unique_ptr<CHSecsVerifier> partner_;
};

} // namespace velto
