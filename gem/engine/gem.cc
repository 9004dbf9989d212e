#include "gem/engine/gem.h"

#include "base/text.h"
#include "gem/data/data_file.h"
#include "gem/messages/reply.h"
#include "gem/models/equipment_clock.h"

#include <algorithm>

namespace velto {

namespace {

constexpr int kReplyTimeout = 12;          // problem code
constexpr uint8_t kTransactionTimeout = 9; // S9F9
constexpr uint32_t kSaveRetryPause = 1000; // ms

enum CommunicationState : uint8_t { Disabled = 0, NotCommunicating = 1, Communicating = 2 };
enum ControlState : uint8_t {
  EquipmentOffline = 0,
  AttemptOnline = 1,
  HostOffline = 2,
  OnlineLocal = 3,
  OnlineRemote = 4
};

bool is(const CHSecsMessage &message, uint8_t stream, uint8_t function) {
  return message.header.stream() == stream && message.header.function() == function;
}

// A data file may hold any numbers.
void keepStatesInRange(ControlSettings &settings) {
  if (settings.initialState > OnlineRemote)
    settings.initialState = OnlineRemote;
  if (settings.initialOfflineState > HostOffline)
    settings.initialOfflineState = HostOffline;
  if (settings.offlineState != EquipmentOffline)
    settings.offlineState = HostOffline;
  if (settings.onlineState != OnlineLocal)
    settings.onlineState = OnlineRemote;
}

} // namespace

CHGem::CHGem(LogicalConnectionOwner &owner, std::string iniFileName)
    : CHLogicalConnection(owner, std::move(iniFileName), Kind::Gem),
      communication_(*this, data_.communication), control_(*this, data_.control),
      processing_(*this), events_(*this, data_), alarms_(*this, data_) {
  CHGem::SetHost(false);
}

void CHGem::SetHost(bool host) {
  CHLogicalConnection::SetHost(host);
  for (CHSecsVerifier &slot : slots_)
    slot.isEquipmentSide = !host;
}

// In the order in which every link event reaches them.
template <typename Visit> void CHGem::forEachModel(Visit visit) {
  visit(static_cast<GemModel &>(communication_));
  visit(static_cast<GemModel &>(control_));
  visit(static_cast<GemModel &>(processing_));
  visit(static_cast<GemModel &>(events_));
  visit(static_cast<GemModel &>(alarms_));
}

Clock &CHGem::clock() const { return owner() != nullptr ? owner()->clock() : systemClock(); }

bool CHGem::isOnline() const {
  const uint8_t state = controlState();
  return state == OnlineLocal || state == OnlineRemote;
}

bool CHGem::mayPass(const CHSecsHeader &header) const {
  const uint8_t stream = header.stream();
  const uint8_t function = header.function();
  switch (communicationState()) {
  case NotCommunicating:
    return stream == 9 || (stream == 1 && function == 14) ||
           (stream == 1 && function == 13 && !hasOpenTransaction(1, 13));
  case Communicating:
    return isOnline() || stream == 9 ||
           (stream == 1 && (function == 1 || function == 13 || function == 14 || function == 18));
  default:
    return false;
  }
}

bool CHGem::Send(CHSecsMessage &message) {
  return mayPass(message.header) && CHLogicalConnection::Send(message);
}

bool CHGem::Send(CHSecsMessage &&message) {
  if (!mayPass(message.header) || owner() == nullptr)
    return false;
  message.header.idWord = DeviceID();
  return owner()->transmit(std::move(message));
}

bool CHGem::OnReceive(CHSecsVerifier &slot) {
  CHLogicalConnection::OnReceive(slot);
  const bool taken = handle(slot);
  // A request of the state models whose transaction has ended otherwise will get no answer.
  if (communication_.WaitingCRA() && !hasOpenTransaction(1, 13))
    communication_.OnUnanswered();
  if (controlState() == AttemptOnline && !hasOpenTransaction(1, 1))
    control_.SwitchState(offlineState());
  return taken;
}

bool CHGem::handle(CHSecsVerifier &slot) {
  if (communication_.OnReceive(slot) || answerAreYouThere(slot) || control_.OnReceive(slot) ||
      answerClockAndTerminal(slot))
    return true;
  const uint32_t before = changes();
  const bool processed = processing_.OnReceive(slot);
  const bool reported = events_.OnReceive(slot);
  const bool alarmed = alarms_.OnReceive(slot);
  // What the host changed is on disk before it hears of it; other changes wait while saving fails.
  if (modified() && (changes() != before || !savePausing()))
    SaveData();
  return processed || reported || alarmed;
}

// On-line, S1F2 names the model instead of this software.
bool CHGem::answerAreYouThere(CHSecsVerifier &slot) {
  if (!isOnline() || !is(slot.message, 1, 1) || !is(slot.partner()->message, 1, 2))
    return false;
  rebuildReply(slot, {data_.communication.modelName, data_.communication.softwareRevision});
  return true;
}

bool CHGem::answerClockAndTerminal(CHSecsVerifier &slot) {
  if (slot.result != VerificationCorrect)
    return false;
  const CHSecsMessage &message = slot.message;
  if (is(message, 2, 17)) {
    const CHGemEventVid *format = data_.variables.FindByRole(RoleTimeFormat);
    const int32_t style = format == nullptr ? 1 : static_cast<int32_t>(format->GetNumber());
    rebuildReply(slot, {currentTimeText(clock(), style)});
  } else if (is(message, 2, 18)) {
    setClockFromHost(clock(), data_.changePCClock, message);
  } else if (is(message, 2, 31)) {
    const uint8_t acknowledge = setClockFromHost(clock(), data_.changePCClock, message);
    rebuildReply(slot, {std::to_string(acknowledge)});
  } else if (is(message, 10, 1) || is(message, 10, 3) || is(message, 10, 5)) {
    rebuildReply(slot, {"0"});
  } else {
    return false;
  }
  return true;
}

void CHGem::OnSent(const CHSecsMessage &message) {
  CHLogicalConnection::OnSent(message);
  forEachModel([&message](GemModel &model) { model.OnSent(message); });
}

void CHGem::Tick() {
  CHLogicalConnection::Tick();
  communication_.Tick();
  if (communicationState() == Communicating) {
    control_.Tick();
    processing_.Tick();
    events_.Tick();
    alarms_.Tick();
  }
  if (modified() && !savePausing())
    SaveData();
}

bool CHGem::savePausing() const {
  return saveFailedAt_ && clock().ticks() - *saveFailedAt_ < kSaveRetryPause;
}

uint8_t CHGem::offlineState() const {
  return data_.control.offlineState == 0 ? uint8_t{EquipmentOffline} : uint8_t{HostOffline};
}

std::optional<uint32_t> CHGem::NextTick() const {
  std::optional<uint32_t> next = CHLogicalConnection::NextTick();
  const auto sooner = [&next](uint32_t wait) { next = std::min(next.value_or(wait), wait); };
  if (const auto wait = communication_.nextTick())
    sooner(*wait);
  if (modified()) {
    const uint32_t since = saveFailedAt_ ? clock().ticks() - *saveFailedAt_ : kSaveRetryPause;
    sooner(since >= kSaveRetryPause ? 0 : kSaveRetryPause - since);
  }
  return next;
}

void CHGem::OnLinkReady() {
  clearTransactions();
  forEachModel([](GemModel &model) { model.OnConnectionReset(); });
}

void CHGem::OnLinkLost() {
  clearTransactions();
  forEachModel([](GemModel &model) { model.OnDisable(); });
}

void CHGem::OnProblem(int code, const CHSecsHeader &header) {
  forEachModel([&](GemModel &model) { model.OnProblem(code, header); });
  // S9F9 goes out to a partner that is known by its device ID.
  if (code != kReplyTimeout || slots_[kReceived].message.header.idWord != DeviceID())
    return;
  CHSecsMessage message;
  MakeStream9(message, kTransactionTimeout, &header);
  message.header.idWord = DeviceID();
  SendUngated(message);
}

bool CHGem::InvokeEvent(uint32_t ceid) {
  return communicationState() == Communicating && isOnline() && events_.InvokeEvent(ceid);
}

bool CHGem::InvokeAlarm(uint32_t alid, uint8_t alcd) {
  return communicationState() == Communicating && isOnline() && alarms_.InvokeAlarm(alid, alcd);
}

void CHGem::reportCommunicationState(uint8_t next, uint8_t previous) {
  if (owner() != nullptr)
    owner()->reportCommunicationState(next, previous);
}

// The event of the change is sent first: off-line changes are reported while still on-line. When
// the host changes the state while it is sent, an off-line change does not come, and is not
// reported.
void CHGem::reportControlState(uint8_t next, uint8_t previous) {
  const bool wasOnline = previous == OnlineLocal || previous == OnlineRemote;
  if (next == OnlineLocal)
    events_.InvokeRole(RoleGoToLocal);
  else if (next == OnlineRemote)
    events_.InvokeRole(RoleGoToRemote);
  else if (wasOnline)
    events_.InvokeRole(RoleOnlineToOffline);
  const bool comes = next == OnlineLocal || next == OnlineRemote || controlState() == previous;
  if (comes && owner() != nullptr)
    owner()->reportControlState(next, previous);
}

void CHGem::reportVariable(uint32_t vid) {
  if (owner() != nullptr)
    owner()->reportVariable(vid);
}

void CHGem::Reset() {
  CommunicationSettings communication;
  communication.modelName = data_.communication.modelName;
  communication.softwareRevision = data_.communication.softwareRevision;
  data_ = GemData();
  data_.communication = std::move(communication);
  communication_.Reset();
  events_.Reset();
  alarms_.Reset();
  processing_.Reset();
}

// The name is a copy: its owner may go inside the report of the state.
bool CHGem::LoadData(std::string fileName) {
  communication_.SwitchState(Disabled);
  Reset();
  SetDataFileName(std::move(fileName));
  loadSettings();
  if (owner() == nullptr)
    return false;
  auto bytes = readDataFile(owner()->files(), DataFileName());
  auto loaded = bytes ? loadGemData(std::move(*bytes)) : std::nullopt;
  if (!loaded)
    return false;
  data_ = std::move(*loaded);
  keepStatesInRange(data_.control);
  if (CHGemEventVid *state = data_.variables.FindByRole(RoleControlState))
    state->SetValue(std::to_string(data_.control.initialState));
  return true;
}

// The model is written whatever becomes of the settings, and at once at the next change too.
bool CHGem::SaveData() {
  const bool settingsSaved = saveSettings();
  const bool saved = owner() != nullptr && writeData();
  saveFailedAt_ = saved ? std::nullopt : std::optional(clock().ticks());
  return saved && settingsSaved;
}

bool CHGem::writeData() {
  if (!saveDataFile(owner()->files(), DataFileName(), DataBakCount(), storeGemData(data_)))
    return false;
  events_.clearModified();
  alarms_.clearModified();
  return true;
}

void CHGem::addStatus(TreeNode &parent) const {
  CHLogicalConnection::addStatus(parent);
  TreeNode &branch = parent.add("Gem");
  branch.expanded = true;
  branch.add(data_.changePCClock ? "Change PC Clock : Yes" : "Change PC Clock : No");
  const_cast<CHGem *>(this)->forEachModel([&branch](GemModel &model) { model.addStatus(branch); });
}

std::optional<std::string> CHGem::variableName(int32_t id) const {
  const CHGemEventVid *variable = data_.variables.FindVid(static_cast<uint32_t>(id));
  return variable == nullptr ? std::nullopt : std::optional(std::string(variable->description()));
}

std::optional<std::string> CHGem::eventName(int32_t id) const {
  const CHGemEventCeid *event = data_.events.FindCeid(static_cast<uint32_t>(id));
  return event == nullptr ? std::nullopt : std::optional(event->description);
}

} // namespace velto
