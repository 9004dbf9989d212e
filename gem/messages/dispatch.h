#pragma once

#include "base/bytes.h"
#include "gem/engine/gem.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace velto {

/// The way of a received message: into the slot of received messages, past the checks, to the host;
/// and, when the host asks for it, through the models to the reply.
class CHGemDispatch {
public:
  /// What became of a reply.
  enum class Reply { Done, TooLong, NotSent };

  /// A received message that another one may take the place of.
  struct Received {
    std::unique_ptr<CHSecsVerifier> slot;
    uint32_t number;
    uint32_t sender;
    bool refused;
    bool waits;
  };

  Received keep(CHGem &gem) const;
  /// Puts a message back into the slot, as if it had stayed there.
  void putBack(CHGem &gem, const Received &message);

  /// Another partner has the link: what was received before is not handled from now on.
  void partnerChanged() { ++partners_; }
  /// A connection has ended; whether it was that of the partner who sent the message in the slot.
  bool connectionEnded(CHGem &gem, const std::string &ipAddress, int32_t portNumber);
  /// A fresh model took the place of the one before.
  void modelChanged();

  /// Puts a message, header and body, into the slot and verifies it. True when the host is to be
  /// told of it. Other session modes than single keep messages to themselves. An equipment answers
  /// a foreign device ID with S9F1. giveBack() follows when the host has been told.
  bool receive(CHGem &gem, const std::string &ipAddress, int32_t portNumber, ByteView message,
               int32_t sessionMode);
  /// A message that waits to be handled is in the slot again, when only a control message, or one
  /// that the host is not told of, has taken its place: the host may put DefProc() off.
  void giveBack(CHGem &gem);
  /// Handles the received message by the models, unless the link is down, and sends the prepared
  /// reply; instead of one that no message can carry the abort of the transaction.
  Reply handle(CHGem &gem, bool connected);
  /// The host is told of something, and may look at the message in the slot: what handle() works at
  /// is put there again.
  void showMessage();

private:
  bool take(CHGem &gem, ByteView message, int32_t sessionMode);
  void setAside(CHGem &gem);
  void resume(const Received &message);
  bool acceptsDevice(CHGem &gem, CHSecsVerifier &slot);
  bool handleBody(CHGem &gem, CHSecsVerifier &work);
  static Reply sendReply(CHGem &gem, CHSecsVerifier &slot);

  uint32_t received_ = 0; // counts messages, to tell whether another one took the slot
  uint32_t partners_ = 0; // counts partners, to tell whether the one that asked is still there
  uint32_t sender_ = 0;   // the partner who sent the message in the slot
  CHSecsItem *lender_ = nullptr;     // the body in the slot, while handle() has taken it from there
  const CHSecsItem *lent_ = nullptr; // where it is then
  std::optional<uint32_t> handled_;  // the message at which handle() is at work
  bool refused_ = false;             // the message in the slot came for another device
  bool waits_ = false;            // the host was told of the message in the slot; not handled yet
  std::optional<Received> aside_; // one that waits, while another one that does not is told
};

} // namespace velto
