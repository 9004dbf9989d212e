#pragma once

#include "gem/data/model_data.h"
#include "gem/messages/request.h"
#include "platform/clock.h"
#include "transport/link/problem.h"
#include "ui/view.h"

#include <cstdint>
#include <optional>
#include <span>

namespace velto {

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
  /// Whether a request of that stream and function awaits its answer.
  virtual bool awaitsAnswer(uint8_t stream, uint8_t function) const = 0;
  /// Whether the request that went out with these system bytes awaits its answer.
  virtual bool awaitsAnswerTo(uint32_t /*systemBytes*/) const { return false; }
  /// Whether the received message at hand answers a request that was open.
  virtual bool answersRequest() const { return true; }
  virtual uint8_t communicationState() const = 0;
  virtual uint8_t controlState() const = 0;
  /// Whether this side is the host.
  virtual bool isHost() const = 0;
  /// The edition of SEMI E5 that the partner is spoken to in.
  virtual E5Edition edition() const { return E5Edition::Early; }
  virtual Clock &clock() const = 0;
  /// Before the state changes to `next` (control state, off-line) or after it did.
  virtual void reportCommunicationState(uint8_t next, uint8_t previous) = 0;
  virtual void reportControlState(uint8_t next, uint8_t previous) = 0;
  virtual void reportVariable(uint32_t vid) = 0;
  /// The reports of an event are about to be made.
  virtual void beforeReading(const CHGemEventCeid & /*event*/) {}
  /// The value of a variable was changed.
  virtual void variableChanged(uint32_t /*vid*/) {}
  /// There is no variable of that number any more.
  virtual void variableRemoved(uint32_t /*vid*/) {}
};

/// One of the models of the equipment (SEMI E30). The core object hands every link event to each of
/// them in a fixed order.
class GemModel {
public:
  GemModel(GemModelOwner &owner, GemData &data) : owner_(owner), data_(data) {}
  virtual ~GemModel() = default;
  GemModel(const GemModel &) = delete;
  GemModel &operator=(const GemModel &) = delete;

  /// Fills the rows of the list window with the columns "Parameter" and "Value".
  virtual void fillParameters(ListView &view) const;
  /// Adds the model's branch to the status tree, when it has one.
  virtual void addStatus(TreeNode & /*parent*/) const {}
  /// Back to where it began; the equipment's data are fresh ones.
  virtual void Reset() {}

  /// One tick of the owner's timer.
  virtual void Tick() {}
  /// Milliseconds until Tick() has something to do; nothing: never.
  virtual std::optional<uint32_t> NextTick() const { return std::nullopt; }

  /// The messages that the model handles by its table.
  virtual std::span<const GemRequest> requests() const { return {}; }
  /// A received message; its reply stands in the slot's partner. True when the model took it.
  virtual bool OnReceive(CHSecsVerifier &slot) {
    return handleRequest(requests(), {data_, owner_, *this}, slot);
  }
  /// Who else gets a message that the model took: nobody (it decides whether anything is handled in
  /// the present state), the capabilities, or they and the models behind it.
  enum class Share { Nobody, Capabilities, All };
  virtual Share share() const { return Share::All; }
  /// A received message went its way through the models, and has ended its transaction.
  virtual void OnReceived() {}
  /// The partner rejected a request that was sent; its transaction has ended.
  virtual void OnRejected(const CHSecsHeader & /*primary*/) {}
  /// The link became ready (selected).
  virtual void OnConnectionReset() {}
  /// The link was lost.
  virtual void OnDisable() {}
  /// Something went wrong on the link; `header` is that of the message it concerns.
  virtual void OnProblem(LinkProblem /*problem*/, const CHSecsHeader & /*header*/) {}

  /// Counts the changes of what the data file keeps of the model.
  uint32_t changes() const { return changes_; }
  /// Whether there are some since it was last written.
  bool modified() const { return changes_ != written_; }
  void setModified() { ++changes_; }
  void clearModified() { written_ = changes_; }

protected:
  GemModelOwner &owner() const { return owner_; }
  GemData &data() { return data_; }
  const GemData &data() const { return data_; }

private:
  GemModelOwner &owner_;
  GemData &data_;
  uint32_t changes_ = 0;
  uint32_t written_ = 0;
};

} // namespace velto
