#include "gem/models/control_model.h"

#include "base/text.h"
#include "gem/data/variable_list.h"
#include "gem/gem_problem.h"
#include "gem/messages/reply.h"

#include <iterator>
#include <string>
#include <utility>

namespace velto {

namespace {

constexpr uint8_t kAbort = 0;
constexpr uint8_t kAreYouThere = 1;
constexpr uint8_t kOnlineData = 2;
constexpr uint8_t kRequestOffline = 15;
constexpr uint8_t kRequestOnline = 17;

// OFLACK and ONLACK of requests that are not carried out.
constexpr const char *kRefused = "1";
constexpr const char *kAlreadyOnline = "2";

bool isOnline(uint8_t state) {
  return state == CHGemControlModel::OnlineLocal || state == CHGemControlModel::OnlineRemote;
}

// The function of a stream 1 message; nothing that is handled here for others.
int streamOneFunction(const CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  return header.stream() == 1 ? header.function() : -1;
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

const char *CHGemControlModel::stateName(uint8_t state) {
  static constexpr const char *kNames[] = {"Equipment Off Line", "Attempt On Line", "Host Off Line",
                                           "On Line Local", "On Line Remote"};
  return state < std::size(kNames) ? kNames[state] : "Unknown State";
}

CHGemControlModel::CHGemControlModel(GemModelOwner &owner, ControlSettings &settings)
    : GemModel(owner), settings_(settings) {}

// Changes ---------------------------------------------------------------------------------------

CHGemEventVid *CHGemControlModel::stateVariable() const {
  return owner().variables().FindByRole(RoleControlState);
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
    return next == (isOnline(next) ? settings_.onlineState : settings_.offlineState);
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
  if (stateVariable() == nullptr || next > OnlineRemote || next == current || next == reported_ ||
      !isAllowed(current, next))
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
  CHGemEventVid *variable = stateVariable();
  return variable != nullptr && variable->SetValue(formatText("%u", state));
}

void CHGemControlModel::startAttempt() {
  CHSecsMessage question;
  MakeReply(question, 1, kAreYouThere, !owner().isHost());
  if (!owner().Send(question) && GetState() == AttemptOnline)
    SwitchState(settings_.offlineState);
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

void CHGemControlModel::OnProblem(int code, const CHSecsHeader &) {
  if (code == ErrorGemHsmsT3Timeout && GetState() == AttemptOnline)
    SwitchState(settings_.offlineState);
}

// Messages --------------------------------------------------------------------------------------

bool CHGemControlModel::OnReceive(CHSecsVerifier &slot) {
  const uint8_t state = GetState();
  // The host's abort ends an attempt whatever else is wrong with it.
  if (state == AttemptOnline && streamOneFunction(slot) == kAbort) {
    SwitchState(settings_.offlineState);
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

bool CHGemControlModel::receiveInAttempt(CHSecsVerifier &slot) {
  if (streamOneFunction(slot) != kOnlineData || !settings_.acceptOnlineRequest)
    return abort(slot);
  SwitchState(settings_.onlineState);
  return false;
}

bool CHGemControlModel::receiveHostOffline(CHSecsVerifier &slot) {
  if (streamOneFunction(slot) != kRequestOnline)
    return abort(slot);
  return settings_.acceptOnlineRequest ? acceptRequest(slot, settings_.onlineState)
                                       : answer(slot, kRefused);
}

bool CHGemControlModel::receiveOnline(CHSecsVerifier &slot) {
  switch (streamOneFunction(slot)) {
  case kRequestOffline:
    return settings_.acceptOfflineRequest ? acceptRequest(slot, HostOffline)
                                          : answer(slot, kRefused);
  case kRequestOnline:
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
    branch.add(std::string(row.label) + " : " + stateName(row.state));
}

} // namespace velto
