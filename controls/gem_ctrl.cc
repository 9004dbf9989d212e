#include "controls/gem_ctrl.h"

#include "controls/pages/gem_setup.h"
#include "gem/gem_problem.h"
#include "secs2/transaction.h"

#include <algorithm>

namespace velto {

namespace {

constexpr int32_t kMaxTimerSeconds = 2'147'483; // whose milliseconds still fit 32 bits

// The model refuses what is no state of its own.
bool isByte(int16_t state) { return state >= 0 && state <= 0xFF; }

int32_t secondsToMs(int32_t seconds) { return std::clamp(seconds, 0, kMaxTimerSeconds) * 1000; }

} // namespace

CVeltoGemCtrl::CVeltoGemCtrl(const ControlSite &site)
    : Control(site), engine_(makeHandle<CHGemEngine>(site.loop, site.files)) {
  engine_->SetIniFileName("./Velto.ini");
  engine_->gem()->SetDataFileName(dataFileName_);
  engine_->SetSink(this);
}

// What the engine reports ------------------------------------------------------------------------

void CVeltoGemCtrl::OnConnected(const std::string &ipAddress, int32_t portNumber) {
  onConnected.raise(std::string(ipAddress), portNumber);
}

void CVeltoGemCtrl::OnDisconnected(const std::string &ipAddress, int32_t portNumber) {
  onDisconnected.raise(std::string(ipAddress), portNumber);
}

void CVeltoGemCtrl::OnConnectionStateChanged(int16_t next, int16_t previous) {
  onConnectionStateChanged.raise(next, previous);
}

// A reply time-out also ends the reply that the host may be composing.
void CVeltoGemCtrl::OnProblem(const Problem &problem) {
  if (problem.code == LinkProblem::T3)
    selection_.reply = false;
  const int number = gemProblemNumber(problem);
  std::string text = "Error : " + gemErrorText(number);
  if (!problem.text.empty())
    text += ' ' + problem.text;
  onProblem.raise(static_cast<int16_t>(number), text);
}

void CVeltoGemCtrl::OnFailure(int16_t code, const std::string &text) {
  onProblem.raise(code, std::string(text));
}

// During the event the current message is that of `slot`; afterwards the host's choice is back.
template <typename Raise> void CVeltoGemCtrl::selected(uint8_t slot, Raise raise) {
  const Lifetime::Watch alive(lifetime());
  const Selection chosen = std::exchange(selection_, Selection{slot, false});
  raise();
  if (alive)
    selection_ = chosen;
}

// A message that the model is to answer, as long as the host is told of it.
struct CVeltoGemCtrl::Handling {
  CHGemEngine::Received message;
  Handling *outer;
  bool answered = false;
};

void CVeltoGemCtrl::OnReceived(const std::string &ipAddress, int32_t portNumber) {
  const auto tell = [&] {
    selected(CHGem::kReceived, [&] { onReceived.raise(std::string(ipAddress), portNumber); });
  };
  if (autoReply_ && engine_->gem() != nullptr)
    answerBehind(tell);
  else
    tell();
}

// A message that comes inside the event takes the slot and is answered there; then the outer one is
// in its place again.
template <typename Tell> void CVeltoGemCtrl::answerBehind(Tell tell) {
  const Lifetime::Watch alive(lifetime());
  Handling handling{engine_->received(), handling_};
  handling_ = &handling;
  tell();
  if (!alive)
    return;
  if (!handling.answered)
    DefProc();
  if (!alive)
    return;
  handling_ = handling.outer;
  if (handling_ != nullptr)
    engine_->putBack(handling_->message);
}

void CVeltoGemCtrl::OnSent() {
  for (Handling *at = handling_; at != nullptr && engine_->gem() != nullptr; at = at->outer)
    at->answered =
        at->answered || isReply(engine_->gem()->sentHeader(), at->message.slot->message.header);
  selected(CHGem::kSent, [this] { onSent.raise(); });
}

void CVeltoGemCtrl::OnCommunicationStateChanged(int16_t next, int16_t previous) {
  onCommunicationStateChanged.raise(next, previous);
}

void CVeltoGemCtrl::OnControlStateChanged(int16_t next, int16_t previous) {
  onControlStateChanged.raise(next, previous);
}

void CVeltoGemCtrl::OnVariableChanged(int32_t vid) { onVIDChanged.raise(vid); }

// Methods ----------------------------------------------------------------------------------------

bool CVeltoGemCtrl::DefProc() {
  if (handling_ != nullptr)
    handling_->answered = true;
  viewChanged();
  return engine_->DefProc();
}

bool CVeltoGemCtrl::InvokeEvent(int32_t ceid) {
  viewChanged(); // it may be spooled, of which no event tells
  return engine_->InvokeEvent(static_cast<uint32_t>(ceid));
}

bool CVeltoGemCtrl::InvokeAlarm(int32_t alid, int16_t alcd) {
  viewChanged();
  return engine_->InvokeAlarm(static_cast<uint32_t>(alid), static_cast<uint8_t>(alcd));
}

bool CVeltoGemCtrl::LoadData() {
  if (IniFileName().empty())
    return false;
  const Lifetime::Watch alive(lifetime());
  viewChanged();
  engine_->LoadIniFile();
  if (engine_->gem() != nullptr) {
    engine_->gem()->SetDataBakCount(dataBackups_);
    engine_->LoadData(dataFileName_);
  } else {
    engine_->logical().loadSettings();
  }
  return alive && engine_->gem() != nullptr;
}

bool CVeltoGemCtrl::SaveData() {
  if (engine_->gem() == nullptr)
    return false;
  engine_->gem()->SetDataFileName(dataFileName_);
  engine_->gem()->SetDataBakCount(dataBackups_);
  const bool saved = engine_->gem()->SaveData();
  engine_->changed(); // the file may have got another name
  return saved;
}

bool CVeltoGemCtrl::WriteLogFile(const std::string &text) { return engine_->WriteLog(text); }

bool CVeltoGemCtrl::Setup(const std::string &caption, int32_t options) {
  GemSetup setup(*this, site().frontEnd, options);
  PropertySheet &sheet = setup.sheet();
  if (sheet.pages.empty())
    return false;
  sheet.title = caption.empty() ? "VeltoGem Setup" : caption;
  if (!showSheet(sheet))
    return false;
  const GemSetup::Applied applied = setup.apply(*this);
  if (applied.changed)
    setModified();
  if (!applied.problem.empty())
    site().frontEnd.showBox(errorBox(applied.problem));
  if (applied.constants)
    constantsChanged();
  return applied.problem.empty();
}

void CVeltoGemCtrl::SetAutoReply(bool on) {
  autoReply_ = on;
  setModified();
}

void CVeltoGemCtrl::SetViewStyle(int16_t style) {
  viewStyle_ = style;
  viewChanged();
}

TreeView CVeltoGemCtrl::view() const {
  if (viewStyle_ < 1 || viewStyle_ > 3)
    return {};
  TreeView view = engine_->status(viewStyle_ - 1);
  if (viewStyle_ != 2)
    addStatistics(view, counters(), connectionCounters());
  return view;
}

// Link settings ----------------------------------------------------------------------------------

void CVeltoGemCtrl::SetIPAddress(const std::string &address) {
  engine_->physical().settings().ipAddress = address;
  setModified();
}

void CVeltoGemCtrl::SetPortNumber(int32_t port) {
  engine_->physical().settings().portNumber = port;
  setModified();
}

void CVeltoGemCtrl::SetMyPortNumber(int32_t port) {
  engine_->physical().settings().myPortNumber = port;
  setModified();
}

void CVeltoGemCtrl::SetServer(bool server) {
  engine_->physical().settings().server = server;
  setModified();
}

void CVeltoGemCtrl::SetDiscardDuplicatedBlock(bool discard) {
  engine_->physical().settings().discardDuplicates = discard;
  setModified();
}

void CVeltoGemCtrl::SetPhysicalConnection(bool open) {
  if (open)
    engine_->OpenConnection();
  else
    engine_->CloseConnection();
  setModified();
}

void CVeltoGemCtrl::SetUnusedTime(int32_t) { setModified(); }

void CVeltoGemCtrl::setKeepAlive(int32_t KeepAlive::*part, int32_t value) {
  engine_->physical().settings().keepAlive.*part = std::max(value, 0);
  setModified();
}

// Less than a second is not off.
int32_t CVeltoGemCtrl::LinktestInterval() const {
  const int32_t interval = engine_->physical().settings().linktestInterval;
  return interval / 1000 + (interval > 0 && interval % 1000 != 0 ? 1 : 0);
}

void CVeltoGemCtrl::setTime(int32_t &milliseconds, int32_t seconds) {
  milliseconds = secondsToMs(seconds);
  setModified();
}

int32_t CVeltoGemCtrl::T3() const {
  return engine_->gem() == nullptr ? 45 : static_cast<int32_t>(engine_->gem()->T3() / 1000);
}

void CVeltoGemCtrl::SetT3(int32_t seconds) {
  if (engine_->gem() != nullptr)
    engine_->gem()->SetT3(static_cast<uint32_t>(secondsToMs(seconds)));
  setModified();
}

// Logical connection and states ------------------------------------------------------------------

void CVeltoGemCtrl::SetDeviceID(int32_t id) {
  engine_->logical().SetDeviceID(id);
  setModified();
}

void CVeltoGemCtrl::SetHost(bool host) {
  if (engine_->gem() != nullptr && !Host())
    return;
  engine_->logical().SetHost(host);
  setModified();
}

// The role that was kept comes back, though an equipment with its model on refuses the property.
void CVeltoGemCtrl::loadExtras(const PropertyBag &bag) {
  const Variant *kept = bag.find("Host");
  if (const auto host = kept != nullptr ? kept->as(ValueType::Bool) : std::nullopt)
    engine_->logical().SetHost(host->toBool());
}

void CVeltoGemCtrl::SetEdition(int16_t edition) {
  if (!isE5Edition(edition))
    return;
  engine_->logical().SetEdition(static_cast<E5Edition>(edition));
  setModified();
}

int32_t CVeltoGemCtrl::limit(int32_t GemLimits::*part) const {
  return engine_->gem() != nullptr ? engine_->gem()->data().limits.*part : GemLimits().*part;
}

void CVeltoGemCtrl::setLimit(int32_t GemLimits::*part, int32_t count) {
  if (engine_->gem() != nullptr)
    engine_->gem()->data().limits.*part = std::max(count, 0);
  setModified();
}

void CVeltoGemCtrl::SetLogicalConnection(int16_t model) {
  engine_->SetObjectModel(model == 1);
  engine_->logical().SetHost(false);
  engine_->logical().SetDataBakCount(dataBackups_);
  setModified();
}

void CVeltoGemCtrl::SetCommunicationState(int16_t state) {
  if (isByte(state))
    engine_->SetCommunicationState(static_cast<uint8_t>(state));
}

void CVeltoGemCtrl::SetControlState(int16_t state) {
  if (isByte(state))
    engine_->SetControlState(static_cast<uint8_t>(state));
}

void CVeltoGemCtrl::SetControlStateSwitch(bool on) { engine_->SetOnlineSwitch(on); }

bool CVeltoGemCtrl::OnlineRequest() const {
  return engine_->gem() != nullptr && engine_->gem()->data().control.acceptOnlineRequest;
}

void CVeltoGemCtrl::SetOnlineRequest(bool accept) {
  if (engine_->gem() != nullptr)
    engine_->gem()->data().control.acceptOnlineRequest = accept;
  setModified();
}

bool CVeltoGemCtrl::OfflineRequest() const {
  return engine_->gem() != nullptr && engine_->gem()->data().control.acceptOfflineRequest;
}

void CVeltoGemCtrl::SetOfflineRequest(bool accept) {
  if (engine_->gem() != nullptr)
    engine_->gem()->data().control.acceptOfflineRequest = accept;
  setModified();
}

// Files and log ----------------------------------------------------------------------------------

void CVeltoGemCtrl::SetIniFileName(const std::string &name) {
  engine_->SetIniFileName(name);
  setModified();
}

void CVeltoGemCtrl::SetDataFileName(const std::string &name) {
  dataFileName_ = name;
  setModified();
}

void CVeltoGemCtrl::SetDataBakCount(int16_t count) {
  dataBackups_ = count;
  if (engine_->gem() != nullptr)
    engine_->gem()->SetDataBakCount(count);
  setModified();
}

void CVeltoGemCtrl::SetLog(bool log) {
  engine_->logEnabled = log;
  setModified();
}

void CVeltoGemCtrl::SetLogCommunication(bool log) {
  engine_->logCommunication = log;
  setModified();
}

void CVeltoGemCtrl::SetLogFileName(const std::string &name) {
  engine_->logFileName = name;
  setModified();
}

void CVeltoGemCtrl::SetLogSize(int32_t kib) {
  engine_->logSize = kib;
  setModified();
}

void CVeltoGemCtrl::SetLogBakCount(int16_t count) {
  engine_->logBackups = count;
  setModified();
}

} // namespace velto
