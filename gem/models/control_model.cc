#include "gem/models/control_model.h"

#include "base/text.h"
#include "gem/messages/items.h"
#include "gem/messages/reply.h"
#include "gem/messages/stream1.h"

#include <string>
#include <utility>

namespace velto {

namespace {

using enum ControlState::Number;
using enum stream1::Function;

// OFLACK and ONLACK of requests that are not carried out.
constexpr const char *kRefused = "1";
constexpr const char *kAlreadyOnline = "2";

int streamOneFunction(const CHSecsVerifier &slot) {
  return stream1::functionOf(slot.message.header);
}

bool answer(CHSecsVerifier &slot, const char *acknowledge) {
  rebuildReply(slot, {acknowledge});
  return true;
}

bool abort(CHSecsVerifier &slot) {
  abortReply(slot);
  return true;
}

} // namespace

// Changes ---------------------------------------------------------------------------------------

const CHGemEventVid *CHGemControlModel::stateVariable() const {
  return data().variables.FindByRole(RoleControlState);
}

uint8_t CHGemControlModel::GetState() const {
  const CHGemEventVid *variable = stateVariable();
  return variable == nullptr ? uint8_t{EquipmentOffline}
                             : static_cast<uint8_t>(variable->GetNumber());
}

bool CHGemControlModel::isAllowed(uint8_t current, uint8_t next) const {
  switch (current) {
  case EquipmentOffline:
    return next == AttemptOnline;
  case AttemptOnline:
    return next == (isOnline(next) ? settings_.onlineState : settings_.stateAfterFailure());
  case HostOffline:
    return next == EquipmentOffline || (isOnline(next) && next == settings_.onlineState);
  case OnlineLocal:
  case OnlineRemote:
    return next != AttemptOnline;
  default:
    return true; // a number that is no state: any state is better
  }
}

bool CHGemControlModel::SwitchState(uint8_t next) {
  const uint8_t current = GetState();
  if (stateVariable() == nullptr || !isState<ControlState>(next) || next == current ||
      next == reported_ || !isAllowed(current, next))
    return false;
  if (!isOnline(next))
    return switchOffline(current, next);
  if (!setValue(next))
    return false;
  owner().reportControlState(next, current);
  return true;
}

bool CHGemControlModel::switchOffline(uint8_t current, uint8_t next) {
  const std::optional<uint8_t> outer = std::exchange(reported_, next);
  owner().reportControlState(next, current);
  reported_ = outer;
  if (GetState() != current || !setValue(next))
    return false; // the host had a change of its own
  if (next == AttemptOnline)
    startAttempt();
  return true;
}

bool CHGemControlModel::setValue(uint8_t state) {
  CHGemEventVid *variable = data().variables.FindByRole(RoleControlState);
  if (variable == nullptr || !variable->SetValue(formatText("%u", state)))
    return false;
  owner().variableChanged(variable->vid);
  return true;
}

void CHGemControlModel::startAttempt() {
  CHSecsMessage question;
  MakeReply(question, 1, AreYouThere, !owner().isHost());
  if (!owner().Send(question) && GetState() == AttemptOnline)
    SwitchState(settings_.stateAfterFailure());
}

bool CHGemControlModel::SetStateByHost(uint8_t next) {
  switch (GetState()) {
  case AttemptOnline:
    return false;
  case HostOffline:
    return next == EquipmentOffline && SwitchState(next);
  case OnlineLocal:
  case OnlineRemote:
    return next != AttemptOnline && next != HostOffline && SwitchState(next);
  default:
    return SwitchState(next);
  }
}

void CHGemControlModel::SetOnlineSwitch(bool on) {
  const uint8_t state = GetState();
  if (on && state == EquipmentOffline)
    SetStateByHost(AttemptOnline);
  else if (!on && (state == HostOffline || isOnline(state)))
    SetStateByHost(EquipmentOffline);
}

void CHGemControlModel::OnProblem(LinkProblem problem, const CHSecsHeader &) {
  const bool isUnanswered = problem == LinkProblem::T3 || problem == LinkProblem::SendFailed;
  if (isUnanswered && GetState() == AttemptOnline)
    SwitchState(settings_.stateAfterFailure());
}

// Messages --------------------------------------------------------------------------------------

bool CHGemControlModel::OnReceive(CHSecsVerifier &slot) {
  const uint8_t state = GetState();
  if (isOnline(state) && answerAreYouThere(slot))
    return true;
  // The host's abort ends an attempt whatever else is wrong with it.
  if (state == AttemptOnline && streamOneFunction(slot) == Abort) {
    SwitchState(settings_.stateAfterFailure());
    return false;
  }
  if (!isVerified(slot))
    return false;
  switch (state) {
  case EquipmentOffline:
    return abort(slot);
  case AttemptOnline:
    return receiveInAttempt(slot);
  case HostOffline:
    return receiveHostOffline(slot);
  case OnlineLocal:
  case OnlineRemote:
    return receiveOnline(slot);
  default:
    return false;
  }
}

// S1F2 names the equipment's model instead of this software.
bool CHGemControlModel::answerAreYouThere(CHSecsVerifier &slot) {
  if (streamOneFunction(slot) != AreYouThere || streamOneFunction(*slot.partner()) != OnlineData)
    return false;
  const CommunicationSettings &names = data().communication;
  if (slot.isEquipmentSide)
    rebuildReply(slot, listItem(nameItem(names.modelName), nameItem(names.softwareRevision)));
  else
    rebuildReply(slot, ReplyArguments{});
  return true;
}

bool CHGemControlModel::receiveInAttempt(CHSecsVerifier &slot) {
  if (streamOneFunction(slot) != OnlineData || !settings_.acceptOnlineRequest)
    return abort(slot);
  SwitchState(settings_.onlineState);
  return false;
}

bool CHGemControlModel::receiveHostOffline(CHSecsVerifier &slot) {
  if (streamOneFunction(slot) != RequestOnline)
    return abort(slot);
  return settings_.acceptOnlineRequest ? acceptRequest(slot, settings_.onlineState)
                                       : answer(slot, kRefused);
}

bool CHGemControlModel::receiveOnline(CHSecsVerifier &slot) {
  switch (streamOneFunction(slot)) {
  case RequestOffline:
    return settings_.acceptOfflineRequest ? acceptRequest(slot, HostOffline)
                                          : answer(slot, kRefused);
  case RequestOnline:
    return answer(slot, kAlreadyOnline);
  default:
    return false;
  }
}

// The prepared reply goes out in the old state, then the state changes. When the gate refuses the
// reply, it goes the normal way after the change.
bool CHGemControlModel::acceptRequest(CHSecsVerifier &slot, uint8_t next) {
  CHSecsVerifier &reply = *slot.partner();
  reply.replyValid = false;
  if (!owner().Send(reply.message))
    reply.replyValid = true;
  SwitchState(next);
  return true;
}

// An attempt whose question has ended otherwise than by its answer has failed.
void CHGemControlModel::OnReceived() {
  if (GetState() == AttemptOnline && !owner().awaitsAnswer(1, AreYouThere))
    SwitchState(settings_.stateAfterFailure());
}

void CHGemControlModel::fillParameters(ListView &view) const {
  GemModel::fillParameters(view);
  view.rows = {
      {"Initial State", formatText("%u", settings_.initialState)},
      {"Initial Offline State", formatText("%u", settings_.initialOfflineState)},
      {"Offline State", formatText("%u", settings_.offlineState)},
      {"Online State", formatText("%u", settings_.onlineState)},
  };
}

void CHGemControlModel::addStatus(TreeNode &parent) const {
  const struct {
    const char *label;
    uint8_t state;
  } rows[] = {
      {"State", GetState()},
      {"Initial State", settings_.initialState},
      {"Initial Offline State", settings_.initialOfflineState},
      {"Offline State", settings_.offlineState},
      {"Online State", settings_.onlineState},
  };
  TreeNode &branch = parent.add("Control Model");
  for (const auto &row : rows)
    branch.add(std::string(row.label) + " : " + stateName<ControlState>(row.state));
}

} // namespace velto
