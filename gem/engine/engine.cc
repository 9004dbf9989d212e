#include "gem/engine/engine.h"

#include "platform/ini_file.h"

#include <algorithm>
#include <utility>

namespace velto {

namespace {

constexpr uint8_t kCommunicating = 2;
constexpr uint8_t kAttemptOnline = 1;

std::string problemText(int code) { return std::string("Error : ") + gemErrorText(code); }

} // namespace

CHGemEngine::CHGemEngine(EventLoop &loop, FileSystem &files)
    : loop_(loop), files_(files), physical_(loop, *this) {
  settings_.section("Log");
  settings_.integer("Enable", logEnabled, 0);
  settings_.text("FileName", logFileName, "./kel");
  settings_.integer("FileSize", logSize, 1024);
  settings_.integer("BakCount", logBackups, 1);
  settings_.section("HSMS");
  settings_.integer("EnableCommunication", enableCommunication_, 1);
  settings_.section("LogicalConnection");
  settings_.integer("ObjectModel", objectModel_, 1);
  SetObjectModel(true);
}

CHGemEngine::~CHGemEngine() { logical_->detach(); }

void CHGemEngine::SetWake(std::function<void()> wake) {
  wake_ = std::move(wake);
  physical_.SetWake(wake_);
}

void CHGemEngine::wake() const {
  if (wake_)
    wake_();
}

void CHGemEngine::SetObjectModel(bool on) {
  if (logical_ != nullptr)
    logical_->detach();
  objectModel_ = on ? 1 : 0;
  refused_ = false;
  LogicalConnectionOwner &owner = *this;
  if (on) {
    auto model = std::make_shared<CHGem>(owner, iniFileName_);
    gem_ = model.get();
    logical_ = std::move(model);
  } else {
    gem_ = nullptr;
    logical_ = std::make_shared<CHLogicalConnection>(owner, iniFileName_);
  }
  wake();
}

void CHGemEngine::SetIniFileName(const std::string &name) {
  if (name.empty())
    return;
  iniFileName_ = name;
  logical_->SetIniFileName(name);
}

void CHGemEngine::LoadIniFile() {
  const IniFile file(iniFileName_, files_);
  settings_.load(file);
  physical_.settings().load(file);
  if ((objectModel_ != 0) != (gem_ != nullptr))
    SetObjectModel(objectModel_ != 0);
  if (file.has("HSMS", "EnableCommunication") && enableCommunication_ != 0)
    physical_.RequestOpen();
}

bool CHGemEngine::SaveIniFile() {
  enableCommunication_ = physical_.OpenRequested() ? 1 : 0;
  IniFile file(iniFileName_, files_);
  settings_.store(file);
  physical_.settings().store(file);
  return file.save();
}

bool CHGemEngine::LoadData(const std::string &fileName) {
  if (gem_ == nullptr)
    return false;
  const auto keep = logical_;
  const Lifetime::Watch alive(lifetime_);
  const bool loaded = gem_->LoadData(fileName);
  if (alive && physical_.State() == HsmsState::Selected)
    linkReady();
  if (alive)
    wake();
  return loaded;
}

void CHGemEngine::CloseConnection() {
  physical_.Close();
  wake();
}

uint8_t CHGemEngine::GetControlState() const {
  return gem_ == nullptr ? uint8_t{0} : gem_->control().GetState();
}

bool CHGemEngine::SetControlState(uint8_t state) {
  const auto keep = logical_;
  return gem_ != nullptr && gem_->control().SetStateByHost(state);
}

void CHGemEngine::SetOnlineSwitch(bool on) {
  const auto keep = logical_;
  if (gem_ != nullptr)
    gem_->control().SetOnlineSwitch(on);
}

uint8_t CHGemEngine::GetCommunicationState() const {
  return gem_ == nullptr ? uint8_t{0} : gem_->communication().State();
}

bool CHGemEngine::SetCommunicationState(uint8_t state) {
  const auto keep = logical_;
  const Lifetime::Watch alive(lifetime_);
  const bool switched = gem_ != nullptr && gem_->communication().SwitchState(state);
  if (alive)
    wake();
  return switched;
}

// Log -------------------------------------------------------------------------------------------

LogSettings CHGemEngine::logSettings() const {
  LogSettings settings;
  settings.log = logEnabled != 0;
  settings.fileName = logFileName;
  settings.size = logSize;
  settings.backupCount = static_cast<int16_t>(logBackups);
  return settings;
}

LinkLog CHGemEngine::record() const {
  return LinkLog(logSettings(), "VeltoGem", loop_.clock(), files_);
}

bool CHGemEngine::WriteLog(const std::string &text) {
  CHLogFile log(logFileName, static_cast<uint32_t>(logSize), logBackups, loop_.clock(), files_);
  log.SetEnabled(logEnabled != 0);
  log.WriteLine(text);
  return logEnabled != 0;
}

// Link and problems -----------------------------------------------------------------------------

void CHGemEngine::OnConnected(const std::string &ipAddress, int32_t portNumber, bool connected) {
  record().connection(connected, ipAddress, portNumber);
  if (sink_ == nullptr)
    return;
  if (connected)
    sink_->OnConnected(ipAddress, portNumber);
  else
    sink_->OnDisconnected(ipAddress, portNumber);
}

void CHGemEngine::OnLinkStateChanged(HsmsState next, HsmsState previous) {
  const Lifetime::Watch alive(lifetime_);
  if (next == HsmsState::Selected) {
    ++selects_;
    linkReady();
  }
  if (!alive)
    return;
  wake();
  if (sink_ != nullptr)
    sink_->OnConnectionStateChanged(static_cast<int16_t>(next), static_cast<int16_t>(previous));
}

void CHGemEngine::linkReady() {
  const auto keep = logical_;
  logical_->OnLinkReady();
  if (gem_ != nullptr)
    gem_->communication().SwitchState(gem_->data().communication.initialState);
}

void CHGemEngine::OnLinkProblem(int code) {
  record().problem(static_cast<int16_t>(code), physical_.ipAddress, physical_.portNumber);
  if (sink_ != nullptr)
    sink_->OnProblem(static_cast<int16_t>(code), problemText(code));
}

// The models hear of it first, then the partner (S9F9), then the host.
void CHGemEngine::reportReplyTimeout(const CHSecsHeader &primary) {
  const auto keep = logical_;
  const Lifetime::Watch alive(lifetime_);
  logical_->OnProblem(ErrorGemHsmsT3Timeout, primary);
  if (alive)
    OnLinkProblem(ErrorGemHsmsT3Timeout);
}

void CHGemEngine::reportCommunicationState(uint8_t next, uint8_t previous) {
  wake();
  if (sink_ != nullptr)
    sink_->OnCommunicationStateChanged(next, previous);
}

void CHGemEngine::reportControlState(uint8_t next, uint8_t previous) {
  wake();
  if (sink_ != nullptr)
    sink_->OnControlStateChanged(next, previous);
}

void CHGemEngine::reportVariable(uint32_t vid) {
  if (sink_ != nullptr)
    sink_->OnVariableChanged(static_cast<int32_t>(vid));
}

// Ticking ---------------------------------------------------------------------------------------

// Each step may end with another model in place, or with the engine gone. The host may pump the
// loop while it is told of a change, which comes afterwards: nothing is to be done for that one
// again.
void CHGemEngine::Tick() {
  const Lifetime::Watch alive(lifetime_);
  physical_.Poll();
  if (alive)
    endFailedAttempt();
  if (alive)
    noticeLostLink();
  if (!alive)
    return;
  const auto keep = logical_;
  keep->Tick();
}

void CHGemEngine::endFailedAttempt() {
  const auto keep = logical_;
  if (gem_ != nullptr && gem_->communication().State() != kCommunicating &&
      gem_->control().GetState() == kAttemptOnline)
    gem_->control().SwitchState(gem_->offlineState());
}

void CHGemEngine::noticeLostLink() {
  const auto keep = logical_;
  if (gem_ == nullptr || physical_.State() == HsmsState::Selected ||
      gem_->communication().isDisabled())
    return;
  CHGem &gem = *gem_;
  gem.OnLinkLost();
  gem.communication().SwitchState(0);
}

std::optional<uint32_t> CHGemEngine::NextTick() const {
  if (gem_ != nullptr) {
    const CHGemCommunicationModel &communication = gem_->communication();
    const CHGemControlModel &control = gem_->control();
    const bool linkLost = !communication.isDisabled() && physical_.State() != HsmsState::Selected;
    const bool attemptFailed = communication.State() != kCommunicating &&
                               !control.isGoingOffline() && control.GetState() == kAttemptOnline;
    if (linkLost || attemptFailed)
      return 0;
  }
  const auto link = physical_.NextPoll();
  const auto model = logical_->NextTick();
  return link && model ? std::min(*link, *model) : link ? link : model;
}

TreeView CHGemEngine::status(int workSpace) const {
  TreeView view;
  TreeNode whole;
  whole.label = "Entire System";
  whole.expanded = true;
  if (workSpace != 1)
    physical_.addStatus(whole);
  if (workSpace != 0)
    logical_->addStatus(whole);
  if (workSpace == 2)
    view.roots.push_back(std::move(whole));
  else
    view.roots = std::move(whole.children);
  return view;
}

} // namespace velto
