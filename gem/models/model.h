#pragma once

#include "platform/clock.h"
#include "secs2/verifier.h"
#include "ui/view.h"

#include <cstdint>

namespace velto {

class CHGemEventVidList;

/// What the models need of the core object that owns them. Any call may raise an event of the
/// control, in which the host may do anything but delete the models: the core object stays alive
/// while it is at work, though its lists may be other ones afterwards.
class GemModelOwner {
public:
  virtual ~GemModelOwner() = default;

  /// Sends through the gate of the communication and control states, with the device ID; false when
  /// it is refused or cannot be sent.
  virtual bool Send(CHSecsMessage &message) = 0;
  /// The same for a message that is not needed afterwards: its body may be taken over.
  virtual bool Send(CHSecsMessage &&message) { return Send(message); }
  virtual uint8_t communicationState() const = 0;
  virtual uint8_t controlState() const = 0;
  /// Whether this side is the host.
  virtual bool isHost() const = 0;
  virtual CHGemEventVidList &variables() = 0;
  virtual Clock &clock() const = 0;
  /// Before the state changes to `next` (control state, off-line) or after it did.
  virtual void reportCommunicationState(uint8_t next, uint8_t previous) = 0;
  virtual void reportControlState(uint8_t next, uint8_t previous) = 0;
  virtual void reportVariable(uint32_t vid) = 0;
};

/// One of the models of the equipment (SEMI E30). The core object hands every link event to each of
/// them in a fixed order.
class GemModel {
public:
  explicit GemModel(GemModelOwner &owner) : owner_(owner) {}
  virtual ~GemModel() = default;
  GemModel(const GemModel &) = delete;
  GemModel &operator=(const GemModel &) = delete;

  /// Fills the rows of the list window with the columns "Parameter" and "Value".
  virtual void fillParameters(ListView &view) const;
  /// Adds the model's branch to the status tree.
  virtual void addStatus(TreeNode &parent) const = 0;
  /// One tick of the owner's timer.
  virtual void Tick() {}
  /// A received message; its reply stands in the slot's partner. True when the model took it.
  virtual bool OnReceive(CHSecsVerifier &) { return false; }
  virtual void OnSent(const CHSecsMessage &) {}
  /// The link became ready (selected).
  virtual void OnConnectionReset() {}
  /// The link was lost.
  virtual void OnDisable() {}
  /// A problem code; `header` is that of the message it concerns.
  virtual void OnProblem(int /*code*/, const CHSecsHeader & /*header*/) {}

  /// Counts the changes of what the data file keeps of the model.
  uint32_t changes() const { return changes_; }
  /// Whether there are some since it was last written.
  bool modified() const { return changes_ != written_; }
  void setModified() { ++changes_; }
  void clearModified() { written_ = changes_; }

protected:
  GemModelOwner &owner() const { return owner_; }

private:
  GemModelOwner &owner_;
  uint32_t changes_ = 0;
  uint32_t written_ = 0;
};

} // namespace velto
