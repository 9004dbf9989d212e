#include "gem/models/communication_model.h"

#include "base/text.h"
#include "gem/messages/reply.h"
#include "gem/messages/stream1.h"
#include "secs2/item_value.h"
#include "secs2/node_path.h"
#include "transport/link/deadline.h"

#include <algorithm>
#include <utility>

namespace velto {

namespace {

using enum CommunicationState::Number;
using enum stream1::Function;

constexpr int64_t kDefaultTimeout = 30;               // s
constexpr int64_t kLongestTimeout = INT32_MAX / 1000; // s
constexpr uint32_t kRejectedPause = 1000; // ms until S1F13 is sent again to who rejected it
constexpr uint32_t kRefusedPause = 100;   // ms, after S1F13 could not be sent

// COMMACK: communications are established.
bool isAccepted(int32_t commack) { return commack == 0 || commack == 16; }

} // namespace

bool CHGemCommunicationModel::SwitchState(uint8_t next) {
  if (!isState<CommunicationState>(next) || next == state_ || next == reported_ ||
      (state_ == Disabled && next != NotCommunicating))
    return false;
  reported_ = next;
  owner().reportCommunicationState(next, state_);
  if (reported_ != next)
    return state_ == next; // the host had a change of its own
  reported_.reset();
  state_ = next;
  return true;
}

void CHGemCommunicationModel::Reset() {
  state_ = Disabled;
  reported_.reset();
  OnConnectionReset();
}

uint32_t CHGemCommunicationModel::timeoutMs() const {
  const CHGemEventVid *variable = data().variables.FindByRole(RoleEstablishCommunicationsTimeout);
  const int64_t seconds =
      variable == nullptr ? kDefaultTimeout : parseDecimal(variable->GetValue()).value_or(0);
  return static_cast<uint32_t>(std::clamp(seconds, int64_t{0}, kLongestTimeout)) * 1000;
}

std::optional<uint32_t> CHGemCommunicationModel::NextTick() const {
  if (reported_)
    return std::nullopt;
  const uint32_t now = owner().clock().ticks();
  if (state_ == NotCommunicating && delayStart_)
    return timeLeft(now, *delayStart_, delay() + 1);
  if (delayStart_)
    return 0;
  if (state_ != NotCommunicating || waitingCRA_ || !settings_.establishCommunications)
    return std::nullopt;
  return refusedAt_ ? timeLeft(now, *refusedAt_, kRefusedPause) : 0;
}

void CHGemCommunicationModel::Tick() {
  if (reported_)
    return; // what is due then depends on the state that comes
  if (state_ != NotCommunicating ||
      (delayStart_ && owner().clock().ticks() - *delayStart_ > delay()))
    delayStart_.reset(); // when it has passed, the next tick asks again
  else if (!delayStart_ && !waitingCRA_ && settings_.establishCommunications)
    sendRequest();
}

void CHGemCommunicationModel::sendRequest() {
  CHSecsMessage request;
  MakeReply(request, 1, EstablishCommunications, !owner().isHost(),
            {settings_.modelName, settings_.softwareRevision});
  waitingCRA_ = true; // the answer may come before Send() returns
  refusedAt_.reset();
  if (owner().Send(request))
    return;
  waitingCRA_ = false;
  refusedAt_ = owner().clock().ticks();
}

bool CHGemCommunicationModel::OnReceive(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  const bool answer = stream1::functionOf(header) == EstablishAcknowledge;
  if (answer && !isVerified(slot))
    OnUnanswered(); // what it says can't be read
  if (answer)
    waitingCRA_ = false;
  if (!isVerified(slot))
    return false;
  if (state_ == Disabled) {
    slot.partner()->replyValid = false;
    return true;
  }
  if (answer)
    return state_ == NotCommunicating && takeAnswer(slot.message);
  return stream1::functionOf(header) == EstablishCommunications && answerRequest(slot);
}

// A request whose transaction has ended otherwise will get no answer.
void CHGemCommunicationModel::OnReceived() {
  if (waitingCRA_ && !owner().awaitsAnswer(1, EstablishCommunications))
    OnUnanswered();
}

void CHGemCommunicationModel::OnUnanswered() {
  if (!waitingCRA_)
    return;
  waitingCRA_ = false;
  startDelay();
}

// A partner that rejects a request is there, and will most likely take the next one: it was not
// ready yet.
void CHGemCommunicationModel::OnRejected(const CHSecsHeader &primary) {
  if (!waitingCRA_ || stream1::functionOf(primary) != EstablishCommunications)
    return;
  waitingCRA_ = false;
  startDelay();
  rejected_ = true;
}

void CHGemCommunicationModel::startDelay() {
  delayStart_ = owner().clock().ticks();
  rejected_ = false;
}

uint32_t CHGemCommunicationModel::delay() const { return rejected_ ? kRejectedPause : timeoutMs(); }

// The reply is there before the change is reported: the host may receive another message meanwhile.
bool CHGemCommunicationModel::answerRequest(CHSecsVerifier &slot) {
  rebuildReply(slot, {"0", settings_.modelName, settings_.softwareRevision});
  if (state_ == NotCommunicating) {
    denied_ = false;
    delayStart_.reset();
    SwitchState(Communicating);
  }
  return true;
}

// The first request that is denied is repeated on the next tick, each further one after the
// timeout: a partner that goes on denying must not be flooded.
bool CHGemCommunicationModel::takeAnswer(const CHSecsMessage &answer) {
  const CHSecsItem *commack = FindNode(answer.root, "1");
  if (!isAccepted(commack == nullptr ? 0 : decimal32(valueText(*commack, ValueForm::Decimal)))) {
    if (std::exchange(denied_, true))
      startDelay();
    return false;
  }
  denied_ = false;
  delayStart_.reset();
  SwitchState(Communicating);
  return true;
}

void CHGemCommunicationModel::OnConnectionReset() {
  waitingCRA_ = false;
  denied_ = false;
  delayStart_.reset();
  refusedAt_.reset();
}

void CHGemCommunicationModel::OnDisable() {
  OnConnectionReset();
  reported_.reset(); // a change that is just being reported does not survive the link
  SwitchState(Disabled);
}

void CHGemCommunicationModel::OnProblem(LinkProblem problem, const CHSecsHeader &header) {
  if (problem != LinkProblem::T3 && problem != LinkProblem::SendFailed)
    return;
  const bool request = stream1::functionOf(header) == EstablishCommunications;
  const bool unanswered = request && waitingCRA_;
  if (unanswered)
    waitingCRA_ = false;
  if (state_ == Disabled)
    return;
  delayStart_.reset();
  if (unanswered)
    startDelay();
  SwitchState(NotCommunicating);
}

void CHGemCommunicationModel::fillParameters(ListView &view) const {
  GemModel::fillParameters(view);
  view.rows = {
      {"Initial State", formatText("%u", settings_.initialState)},
      {"Establish Communications", settings_.establishCommunications ? "1" : "0"},
      {"Model Name", settings_.modelName},
      {"Software Revision", settings_.softwareRevision},
  };
}

void CHGemCommunicationModel::addStatus(TreeNode &parent) const {
  std::string state = stateName<CommunicationState>(state_);
  if (state_ == NotCommunicating)
    state += waitingCRA_ ? " - Wait CRA" : " - Wait Delay";
  TreeNode &branch = parent.add("Communication Model");
  branch.add("State : " + state);
  branch.add(settings_.establishCommunications ? formatText("EC Timer : %u", timeoutMs())
                                               : "EC disabled");
  branch.add("Model Name : " + settings_.modelName);
  branch.add("Software Revision : " + settings_.softwareRevision);
}

} // namespace velto
