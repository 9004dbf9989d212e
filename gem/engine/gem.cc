#include "gem/engine/gem.h"

#include "gem/capabilities/capabilities.h"
#include "gem/messages/gate.h"
#include "gem/messages/stream9.h"
#include "gem/models/clock_model.h"
#include "gem/models/terminal_model.h"
#include "secs2/item_codec.h"

#include <algorithm>
#include <span>
#include <type_traits>
#include <utility>

namespace velto {

namespace {

using enum ControlState::Number;

constexpr uint32_t kSaveRetryPause = 1000; // ms

// The requests whose answers hold values of variables; lists that are kept true may be long.
bool readsVariables(const CHSecsHeader &header) {
  const int number = header.stream() * 256 + header.function();
  constexpr int kRequests[] = {1 * 256 + 3, 2 * 256 + 13, 6 * 256 + 15, 6 * 256 + 19};
  return std::ranges::find(kRequests, number) != std::end(kRequests);
}

} // namespace

// Models and stages stand in their order. Those models that take messages alone come first.
CHGem::CHGem(LogicalConnectionOwner &owner, std::string iniFileName)
    : CHLogicalConnection(owner, std::move(iniFileName), Kind::Gem) {
  communication_ = add<CHGemCommunicationModel>();
  control_ = add<CHGemControlModel>();
  add<CHGemClockModel>();
  add<CHGemTerminalModel>();
  processing_ = add<CHGemProcessingModel>();
  events_ = add<CHGemEventModel>();
  alarms_ = add<CHGemAlarmModel>();
  settingList().rareInteger("MaxReports", data_.limits.reports, GemLimits().reports);
  settingList().rareInteger("MaxReportLinks", data_.limits.references, GemLimits().references);
  auto capabilities = std::make_unique<GemCapabilities>(
      GemParts{static_cast<GemModelOwner &>(*this), *this, data_, *events_}, settings());
  capabilities_ = capabilities.get();
  stages_.push_back(std::move(capabilities));
  stages_.push_back(std::make_unique<CHGemGate>(static_cast<const GemModelOwner &>(*this)));
  CHGem::SetHost(false);
}

template <typename Model> Model *CHGem::add() {
  auto model = std::make_unique<Model>(static_cast<GemModelOwner &>(*this), data_);
  Model *added = model.get();
  if (added->share() != GemModel::Share::All)
    ++aloneCount_;
  if constexpr (!std::is_same_v<decltype(&Model::OnReceived), decltype(&GemModel::OnReceived)>)
    afterwards_.push_back(added);
  models_.push_back(std::move(model));
  return added;
}

void CHGem::SetHost(bool host) {
  CHLogicalConnection::SetHost(host);
  for (CHSecsVerifier &slot : slots_)
    slot.isEquipmentSide = !host;
}

void CHGem::SetEdition(E5Edition edition) {
  CHLogicalConnection::SetEdition(edition);
  data_.edition = edition;
  for (CHSecsVerifier &slot : slots_)
    slot.edition = edition;
}

Clock &CHGem::clock() const { return owner() != nullptr ? owner()->clock() : systemClock(); }

// Sending ---------------------------------------------------------------------------------------

// What becomes of a message that a stage keeps from the link; nothing when all let it pass.
std::optional<bool> CHGem::stopped(const CHSecsMessage &message) const {
  for (const auto &stage : stages_)
    if (const auto stopped = stage->stop(message))
      return stopped;
  return std::nullopt;
}

bool CHGem::Send(CHSecsMessage &message) {
  if (const auto end = stopped(message))
    return *end;
  return CHLogicalConnection::Send(message);
}

bool CHGem::Send(CHSecsMessage &&message) {
  if (const auto end = stopped(message))
    return *end;
  if (owner() == nullptr)
    return false;
  message.header.idWord = DeviceID();
  return owner()->transmit(std::move(message));
}

void CHGem::setSent(const CHSecsHeader &header, Bytes &&message) {
  slots_[kSent].message.header = header;
  sent_ = std::move(message);
}

void CHGem::setSent(const CHSecsHeader &header, CHSecsItem &&root) {
  slots_[kSent].message.header = header;
  slots_[kSent].message.root = std::move(root);
  sent_.clear();
}

void CHGem::readSent() {
  if (sent_.empty())
    return;
  const Bytes message = std::exchange(sent_, {});
  DecodeItem(slots_[kSent].message.root, ByteView(message).subspan(CHSecsHeader::kSize));
}

bool CHGem::mustHold(const CHSecsHeader &header, size_t bodySize) {
  const CHGemMultiBlock *multiBlock = capabilities_->multiBlock();
  return multiBlock != nullptr && multiBlock->mustHold(header, bodySize);
}

bool CHGem::hold(const CHSecsHeader &header, ByteView body) {
  CHGemMultiBlock *multiBlock = capabilities_->multiBlock();
  return multiBlock != nullptr && multiBlock->hold(header, body);
}

void CHGem::OnSent(const CHSecsHeader &header, ByteView body) {
  CHLogicalConnection::OnSent(header, body);
  capabilities_->OnSent(header, body);
}

bool CHGem::invokes() const {
  const bool isHeard =
      communicationState() == CommunicationState::Communicating || capabilities_->wantsEvents();
  return isHeard && isOnline(controlState());
}

bool CHGem::InvokeEvent(uint32_t ceid) { return invokes() && events_->InvokeEvent(ceid); }

// Where the alarms are kept true, whether a change may be reported does not matter to their state.
bool CHGem::InvokeAlarm(uint32_t alid, uint8_t alcd) {
  const bool keeps = (capabilities_->enabled() & CapabilityVariables) != 0;
  const uint32_t before = alarms_->changes();
  const bool sent = invokes() && alarms_->InvokeAlarm(alid, alcd);
  if (alarms_->changes() != before || (keeps && alarms_->SetAlarm(alid, alcd)))
    capabilities_->OnAlarmChanged(alid, (alcd & CHGemAlarmAlid::kSet) != 0);
  return sent;
}

// Receiving -------------------------------------------------------------------------------------

bool CHGem::OnReceive(CHSecsVerifier &slot) {
  const size_t open = OpenTransactionCount();
  CHLogicalConnection::OnReceive(slot);
  // A report may pump the loop, and another message be handled meanwhile.
  const bool answers = OpenTransactionCount() < open;
  const bool outer = std::exchange(answersRequest_, answers);
  if (answers)
    capabilities_->OnAnswered(slot.message);
  const bool taken = handle(slot);
  answersRequest_ = outer;
  for (GemModel *model : afterwards_)
    model->OnReceived();
  capabilities_->OnReceived();
  return taken;
}

bool CHGem::handle(CHSecsVerifier &slot) {
  const auto shared = std::span(models_).subspan(aloneCount_);
  for (const auto &model : std::span(models_).first(aloneCount_)) {
    if (!model->OnReceive(slot))
      continue;
    if (model->share() == GemModel::Share::Capabilities)
      capabilities_->OnReceive(slot);
    return true;
  }
  const uint32_t before = changes();
  bool taken = false;
  if (readsVariables(slot.message.header))
    capabilities_->beforeReading(nullptr);
  for (const auto &model : shared)
    taken = model->OnReceive(slot) || taken;
  taken = capabilities_->OnReceive(slot) || taken;
  // What the host changed is on disk before it hears of it; other changes wait while saving fails.
  const bool changed = changes() != before;
  if (modified() && (changed || !savePausing()) && !SaveData() && changed && owner() != nullptr)
    owner()->reportSaveFailure(saveError_);
  return taken;
}

// Link and time ---------------------------------------------------------------------------------

// While there are no communications, only their model ticks.
void CHGem::Tick() {
  CHLogicalConnection::Tick();
  communication_->Tick();
  if (communicationState() == CommunicationState::Communicating)
    for (const auto &model : models_)
      if (model.get() != communication_)
        model->Tick();
  capabilities_->Tick();
  if (modified() && !savePausing())
    SaveData();
}

std::optional<uint32_t> CHGem::NextTick() const {
  std::optional<uint32_t> next = CHLogicalConnection::NextTick();
  const bool communicating = communicationState() == CommunicationState::Communicating;
  for (const auto &model : models_)
    if (communicating || model.get() == communication_)
      if (const auto wait = model->NextTick())
        next = sooner(next, *wait);
  if (const auto wait = capabilities_->NextTick())
    next = sooner(next, *wait);
  if (modified())
    next = sooner(next,
                  saveFailedAt_ ? timeLeft(clock().ticks(), *saveFailedAt_, kSaveRetryPause) : 0);
  return next;
}

bool CHGem::savePausing() const {
  return saveFailedAt_ && timeLeft(clock().ticks(), *saveFailedAt_, kSaveRetryPause) != 0;
}

void CHGem::OnLinkReady() {
  clearTransactions();
  for (const auto &model : models_)
    model->OnConnectionReset();
  capabilities_->OnConnectionReset();
}

void CHGem::OnLinkLost() {
  clearTransactions();
  for (const auto &model : models_)
    model->OnDisable();
  capabilities_->OnDisable();
}

void CHGem::OnClosed() { capabilities_->OnClosed(); }

void CHGem::OnRejected(const CHSecsHeader &primary) {
  for (const auto &model : models_)
    model->OnRejected(primary);
  capabilities_->OnRejected(primary);
}

// Communications have failed (SEMI E30 3.2); a message of theirs may be kept for later.
void CHGem::OnSendFailed(const CHSecsMessage &message) {
  CHLogicalConnection::OnSendFailed(message);
  for (const auto &model : models_)
    model->OnProblem(LinkProblem::SendFailed, message.header);
  capabilities_->OnUndelivered(message);
}

void CHGem::OnProblem(LinkProblem problem, const CHSecsHeader &header) {
  for (const auto &model : models_)
    model->OnProblem(problem, header);
  capabilities_->OnProblem(problem, header);
  // S9F9 goes out to a partner that is known by its device ID.
  if (problem != LinkProblem::T3 || slots_[kReceived].message.header.idWord != DeviceID())
    return;
  CHSecsMessage message;
  stream9::make(message, stream9::TransactionTimeout, header, DeviceID());
  SendUngated(message);
}

// Reports ---------------------------------------------------------------------------------------

void CHGem::reportCommunicationState(uint8_t next, uint8_t previous) {
  if (next != CommunicationState::Communicating)
    capabilities_->OnCommunicationsEnd();
  if (owner() != nullptr)
    owner()->reportCommunicationState(next, previous);
}

// The event of the change is sent first: off-line changes are reported while still on-line. When
// the host changes the state while it is sent, an off-line change does not come, and is not
// reported.
void CHGem::reportControlState(uint8_t next, uint8_t previous) {
  if (next == OnlineLocal)
    events_->InvokeRole(RoleGoToLocal);
  else if (next == OnlineRemote)
    events_->InvokeRole(RoleGoToRemote);
  else if (isOnline(previous))
    events_->InvokeRole(RoleOnlineToOffline);
  const bool comes = isOnline(next) || controlState() == previous;
  if (comes && owner() != nullptr)
    owner()->reportControlState(next, previous);
}

void CHGem::beforeReading(const CHGemEventCeid &event) { capabilities_->beforeReading(&event); }

void CHGem::beforeSampling(std::span<const uint32_t> vids) { capabilities_->beforeSampling(vids); }

void CHGem::variableChanged(uint32_t vid) { capabilities_->OnVariableChanged(vid); }

void CHGem::variableRemoved(uint32_t vid) { capabilities_->OnVariableRemoved(vid); }

void CHGem::reportVariable(uint32_t vid) {
  if (owner() != nullptr)
    owner()->reportVariable(vid);
}

GemApplication &CHGem::application() {
  static GemApplication nobody;
  GemApplication *asked = owner() != nullptr ? owner()->application() : nullptr;
  return asked != nullptr ? *asked : nobody;
}

FileSystem &CHGem::files() { return owner() != nullptr ? owner()->files() : systemFiles(); }

void CHGem::reportFailure(const std::string &reason) {
  if (owner() != nullptr)
    owner()->reportFailure(reason);
}

std::optional<size_t> CHGem::blockData() const {
  return owner() != nullptr ? owner()->blockData() : std::nullopt;
}

bool CHGem::sendHeld(const CHSecsHeader &header, ByteView body) {
  return owner() != nullptr && owner()->sendHeld(header, body);
}

void CHGem::failHeld(const CHSecsHeader &header, ByteView body) {
  if (owner() != nullptr)
    owner()->failHeld(header, body);
}

void CHGem::refuseHeld(const CHSecsHeader &header) {
  if (owner() != nullptr)
    owner()->refuseHeld(header);
}

// Data ------------------------------------------------------------------------------------------

void CHGem::addStatus(TreeNode &parent) const {
  CHLogicalConnection::addStatus(parent);
  TreeNode &branch = parent.add("Gem");
  branch.expanded = true;
  branch.add(data_.changePCClock ? "Change PC Clock : Yes" : "Change PC Clock : No");
  for (const auto &model : models_)
    model->addStatus(branch);
  capabilities_->addStatus(branch);
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
