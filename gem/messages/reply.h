#pragma once

#include "gem/messages/stream9.h"
#include "secs2/reply_text.h"
#include "secs2/verifier.h"

#include <string>
#include <utility>

namespace velto {

/// Replaces the reply prepared in the slot's partner by the standard's reply to the slot's message,
/// built from `arguments` in the form of this side. The IDs are those of the message; node path and
/// send flag stay.
inline void rebuildReply(CHSecsVerifier &slot, const ReplyArguments &arguments) {
  const CHSecsHeader &primary = slot.message.header;
  CHSecsVerifier &partner = *slot.partner();
  std::string node = std::move(partner.message.node);
  MakeReply(partner.message, primary.stream(), static_cast<uint8_t>(primary.function() + 1),
            slot.isEquipmentSide, arguments, slot.edition);
  MakeReplyIds(partner.message, primary);
  partner.message.node = std::move(node);
}

/// The same with a body that is there: for what is asked often, without the way through SML.
inline void rebuildReply(CHSecsVerifier &slot, CHSecsItem &&body) {
  const CHSecsHeader &primary = slot.message.header;
  CHSecsMessage &reply = slot.partner()->message;
  reply.header.Reset(primary.stream(), static_cast<uint8_t>(primary.function() + 1));
  reply.header.setWbit(false);
  MakeReplyIds(reply, primary);
  reply.root = std::move(body);
}

/// Replaces the prepared reply by the abort of the transaction (SxF0); node path and send flag
/// stay.
inline void abortReply(CHSecsVerifier &slot) {
  CHSecsMessage &reply = slot.partner()->message;
  std::string node = std::move(reply.node);
  MakeAbort(reply, slot.message.header);
  reply.node = std::move(node);
}

/// Replaces the prepared reply by the complaint that the message's data are illegal (S9F7), for
/// codes that no acknowledge tells of.
inline void complainOfData(CHSecsVerifier &slot) {
  const CHSecsHeader &primary = slot.message.header;
  stream9::make(slot.partner()->message, stream9::IllegalData, primary, primary.idWord);
}

/// Whether the standard or the host's own definitions allow the message, so that it may be handled.
inline bool isVerified(const CHSecsVerifier &slot) {
  return slot.result == VerificationCorrect || slot.result == VerificationUserDefined;
}

} // namespace velto
