#pragma once

#include "base/bytes.h"
#include "gem/capabilities/capability.h"

#include <cstdint>
#include <deque>
#include <optional>

namespace velto {

/// The inquiry before a message of several blocks (SEMI E5: S6F5 of the equipment, S2F39 of the
/// host), which only a link has that divides messages: what does not fit one block waits until the
/// partner grants it, and so do the messages of the same stream behind it, in their order. At work
/// while any other capability is on.
///
/// - A partner that is busy is asked again after a second, at most ten times. A message that is not
///   granted is given up and reported; the next one gets its turn.
/// - When communications end, the messages have failed to be sent.
class CHGemMultiBlock final : public GemCapability {
public:
  using GemCapability::GemCapability;

  /// Whether a message that is about to go out has to wait here.
  bool mustHold(const CHSecsHeader &header, size_t bodySize) const;
  /// Keeps a message, with the header that it will have. False when there is no room.
  bool hold(const CHSecsHeader &header, ByteView body);

  bool OnReceive(CHSecsVerifier &slot) override;
  void OnReceived() override;
  void Tick() override;
  std::optional<uint32_t> NextTick() const override;
  void OnConnectionReset() override { giveUp(); }
  void OnDisable() override { giveUp(); }
  void OnRejected(const CHSecsHeader &primary) override;
  void OnProblem(LinkProblem problem, const CHSecsHeader &header) override;
  void OnSwitchedOff() override;
  void Reset() override;

private:
  struct Held {
    CHSecsHeader header;
    Bytes body;
  };

  uint8_t stream() const { return owner().isHost() ? 2 : 6; }
  uint8_t inquiry() const { return owner().isHost() ? 39 : 5; }
  bool isLong(size_t bodySize) const;
  void inquire();
  void answered(uint32_t grant);
  void sendFront();
  void giveUp();

  std::deque<Held> held_;
  size_t bytes_ = 0;
  std::optional<uint32_t> asked_; // the system bytes of the inquiry that awaits its answer
  bool granted_ = false;          // the first one may go out
  int refusals_ = 0;              // of the first one
  std::optional<uint32_t> pausedAt_;
};

} // namespace velto
