#include "gem/engine/engine.h"

#include "base/text.h"
#include "gem/gem_problem.h"
#include "platform/ini_file.h"
#include "platform/socket_error.h"
#include "secs2/item_codec.h"

#include <cstring>
#include <utility>

namespace velto {

namespace {

constexpr uint32_t kPumpedTick = 50; // ms: time goes on while a report pumps the loop

std::string nameOf(const CHSecsHeader &header) {
  return formatText("%s, system bytes %u", HeaderText(header, HeaderTextMode::Name).c_str(),
                    header.systemBytes);
}

} // namespace

CHGemEngine::CHGemEngine(EventLoop &loop, FileSystem &files, const SerialPorts &ports)
    : loop_(loop), files_(files), ticker_(loop, *this, kPumpedTick),
      physical_(loop, *this, ticker_, ports) {
  settings_.section("Log");
  settings_.flag("Enable", logEnabled, false);
  settings_.text("FileName", logFileName, "./kel");
  settings_.integer("FileSize", logSize, 1024);
  settings_.integer("BakCount", logBackups, 1);
  settings_.section("HSMS");
  settings_.flag("EnableCommunication", enableCommunication_, true);
  settings_.section("LogicalConnection");
  settings_.flag("ObjectModel", objectModel_, true);
  SetObjectModel(true);
}

CHGemEngine::~CHGemEngine() { logical_->detach(); }

void CHGemEngine::End() {
  ended_ = true;
  sink_ = nullptr;
  physical_.End();
  if (gem_ != nullptr)
    gem_->OnClosed();
  logical_->detach();
}

// What the model before still has to keep of a link that has just ended, it keeps now.
void CHGemEngine::SetObjectModel(bool on) {
  const std::shared_ptr<CHLogicalConnection> before = logical_;
  if (gem_ != nullptr)
    gem_->OnClosed();
  if (logical_ != nullptr)
    logical_->detach();
  objectModel_ = on;
  dispatch_.modelChanged();
  LogicalConnectionOwner &owner = *this;
  if (on) {
    auto model = std::make_shared<CHGem>(owner, iniFileName_);
    gem_ = model.get();
    logical_ = std::move(model);
  } else {
    gem_ = nullptr;
    logical_ = std::make_shared<CHLogicalConnection>(owner, iniFileName_);
  }
  ticker_.wake();
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
  physical_.settingList().load(file);
  physical_.keepInRange();
  if (objectModel_ != (gem_ != nullptr))
    SetObjectModel(objectModel_);
  if (file.has("HSMS", "EnableCommunication") && enableCommunication_)
    physical_.RequestOpen();
  ticker_.arm();
}

bool CHGemEngine::SaveIniFile() {
  enableCommunication_ = physical_.OpenRequested();
  IniFile file(iniFileName_, files_);
  settings_.store(file);
  physical_.settingList().store(file);
  return file.save();
}

// A model that is loaded while the link is selected starts there as after a selection.
template <typename Load> bool CHGemEngine::loading(Load load) {
  if (gem_ == nullptr)
    return false;
  const Hold held(*this);
  gem_->OnClosed(); // the link may just have ended
  const bool loaded = load(*gem_);
  if (physical_.State() == LinkState::Ready)
    linkReady();
  ticker_.arm();
  return loaded;
}

bool CHGemEngine::LoadData(const std::string &fileName) {
  return loading([&fileName](CHGem &gem) { return gem.LoadData(fileName); });
}

bool CHGemEngine::LoadModel(const std::string &fileName) {
  return loading([&fileName](CHGem &gem) { return gem.LoadModel(fileName); });
}

bool CHGemEngine::SetModel(GemData model) {
  return loading([&model](CHGem &gem) {
    gem.SetModel(std::move(model));
    return true;
  });
}

// The program may end before the next tick.
void CHGemEngine::CloseConnection() {
  const Hold held(*this);
  physical_.Close();
  if (!ended_ && gem_ != nullptr)
    gem_->OnClosed();
}

uint8_t CHGemEngine::GetControlState() const {
  return gem_ == nullptr ? uint8_t{ControlState::EquipmentOffline} : gem_->control().GetState();
}

bool CHGemEngine::SetControlState(uint8_t state) {
  const Hold held(*this);
  const bool switched = gem_ != nullptr && gem_->control().SetStateByHost(state);
  ticker_.arm();
  return switched;
}

void CHGemEngine::SetOnlineSwitch(bool on) {
  const Hold held(*this);
  if (gem_ != nullptr)
    gem_->control().SetOnlineSwitch(on);
  ticker_.arm();
}

uint8_t CHGemEngine::GetCommunicationState() const {
  return gem_ == nullptr ? uint8_t{CommunicationState::Disabled} : gem_->communication().State();
}

bool CHGemEngine::SetCommunicationState(uint8_t state) {
  const Hold held(*this);
  const bool switched = gem_ != nullptr && gem_->communication().SwitchState(state);
  ticker_.arm();
  return switched;
}

// Log -------------------------------------------------------------------------------------------

LogSettings CHGemEngine::logSettings() const {
  LogSettings settings;
  settings.log = logEnabled;
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
  log.SetEnabled(logEnabled);
  log.WriteLine(text);
  return logEnabled;
}

// Link and problems -----------------------------------------------------------------------------

void CHGemEngine::OnConnected(const std::string &ipAddress, int32_t portNumber) {
  reportConnection(ipAddress, portNumber, true);
}

void CHGemEngine::OnDisconnected(const std::string &ipAddress, int32_t portNumber) {
  reportConnection(ipAddress, portNumber, false);
}

void CHGemEngine::reportConnection(const std::string &ipAddress, int32_t portNumber,
                                   bool connected) {
  const Hold held(*this);
  record().connection(connected, ipAddress, portNumber);
  if (!connected && gem_ != nullptr && dispatch_.connectionEnded(*gem_, ipAddress, portNumber))
    replyLost_ = false;
  CHGemEventSink *sink = application();
  if (sink == nullptr)
    return;
  if (connected)
    sink->OnConnected(ipAddress, portNumber);
  else
    sink->OnDisconnected(ipAddress, portNumber);
}

void CHGemEngine::OnStateChanged(LinkState next, LinkState previous) {
  const Hold held(*this);
  replyLost_ = false;
  if (next == LinkState::Ready) {
    dispatch_.partnerChanged();
    linkReady();
  }
  ticker_.wake();
  if (CHGemEventSink *sink = application())
    sink->OnConnectionStateChanged(static_cast<int16_t>(next), static_cast<int16_t>(previous));
}

void CHGemEngine::linkReady() {
  const Hold held(*this);
  logical_->OnLinkReady();
  if (gem_ != nullptr)
    gem_->communication().SwitchState(gem_->data().communication.initialState);
}

// The platform's numbers are those of sockets; those of a serial port say too little.
void CHGemEngine::OnProblem(const std::string &, int32_t, const Problem &problem, ByteView) {
  const Hold held(*this);
  Problem shown = problem;
  if (problem.code == LinkProblem::System && physical_.protocol() == LinkProtocol::SecsISerial)
    shown.number = ErrorGemSerialPort;
  reportProblem(shown);
}

void CHGemEngine::OnTransmitted(uint32_t systemBytes) {
  logical_->OnTransmitted(systemBytes);
  ticker_.arm();
}

// The models hear of it first, as of a reply that does not come.
void CHGemEngine::OnSendFailed(const CHSecsHeader &header, ByteView body) {
  const Hold held(*this);
  CHSecsMessage message;
  message.header = header;
  DecodeItem(message.root, body);
  held.logical->OnSendFailed(message);
  ticker_.wake();
  reportProblem({LinkProblem::SendFailed, nameOf(header)});
}

// Communications go on.
void CHGemEngine::refuseHeld(const CHSecsHeader &header) {
  const Hold held(*this);
  held.logical->endRejected(header.systemBytes);
  reportProblem({LinkProblem::SendFailed, nameOf(header) + ": not granted"});
}

void CHGemEngine::OnRejected(uint32_t systemBytes) {
  const Hold held(*this);
  held.logical->endRejected(systemBytes);
  ticker_.arm();
  if (CHGemEventSink *sink = application())
    sink->OnRejected(systemBytes);
}

void CHGemEngine::reportProblem(const Problem &problem) {
  if (ended_)
    return;
  const LinkSettings &link = physical_.settings();
  const bool isPort = physical_.protocol() == LinkProtocol::SecsISerial;
  record().problem(static_cast<int16_t>(gemProblemNumber(problem)),
                   isPort ? link.secsI.name() : link.ipAddress, isPort ? 0 : link.portNumber);
  if (CHGemEventSink *sink = application())
    sink->OnProblem(problem);
}

void CHGemEngine::reportFailure(int16_t number, const std::string &reason) {
  if (ended_)
    return;
  const std::string text = "Error : " + reason;
  WriteLog(text);
  if (CHGemEventSink *sink = application())
    sink->OnFailure(number, text);
}

// The models hear of it first, then the partner (S9F9), then the host.
void CHGemEngine::reportReplyTimeout(const CHSecsHeader &primary) {
  const Hold held(*this);
  physical_.count(LinkProblem::T3);
  logical_->OnProblem(LinkProblem::T3, primary);
  const auto outer = std::exchange(unanswered_, primary);
  reportProblem({LinkProblem::T3, nameOf(primary)});
  unanswered_ = outer;
}

void CHGemEngine::reportCommunicationState(uint8_t next, uint8_t previous) {
  ticker_.wake();
  if (CHGemEventSink *sink = application())
    sink->OnCommunicationStateChanged(next, previous);
}

void CHGemEngine::reportControlState(uint8_t next, uint8_t previous) {
  ticker_.wake();
  if (CHGemEventSink *sink = application())
    sink->OnControlStateChanged(next, previous);
}

void CHGemEngine::reportVariable(uint32_t vid) {
  if (CHGemEventSink *sink = application())
    sink->OnVariableChanged(static_cast<int32_t>(vid));
}

void CHGemEngine::reportSaveFailure(int systemError) {
  const std::string reason =
      systemError == 0 ? "." : std::string(": ") + std::strerror(systemError);
  reportFailure(0,
                "The model data file " + logical_->DataFileName() + " cannot be written" + reason);
}

// Ticking ---------------------------------------------------------------------------------------

// Each step may end with another model in place, or with the engine ended. The host may pump the
// loop while it is told of a change, which comes afterwards: nothing is to be done for that one
// again.
void CHGemEngine::Tick() {
  physical_.setEquipment(!logical_->Host());
  if (physical_.Poll()) {
    physical_.count(LinkProblem::T5);
    reportProblem({LinkProblem::T5});
  }
  endLinkThatLostAReply();
  endFailedAttempt();
  noticeLostLink();
  if (ended_)
    return;
  const Hold held(*this);
  held.logical->Tick();
}

// A partner that is still there after its end would have been noticed does not read: there is no
// room for what is to be sent to it. It waits for a reply that will never come, so it gets a new
// link.
void CHGemEngine::endLinkThatLostAReply() {
  const Hold held(*this);
  const bool lost = std::exchange(replyLost_, false);
  if (ended_ || !lost || !physical_.IsOpen() || physical_.State() != LinkState::Ready)
    return;
  physical_.RequestReopen();
  reportFailure(ErrorSocketENoBufs, "The partner does not read; a reply to it was lost.");
}

void CHGemEngine::endFailedAttempt() {
  const Hold held(*this);
  if (!ended_ && gem_ != nullptr &&
      gem_->communication().State() != CommunicationState::Communicating &&
      gem_->control().GetState() == ControlState::AttemptOnline)
    gem_->control().SwitchState(gem_->data().control.stateAfterFailure());
}

void CHGemEngine::noticeLostLink() {
  const Hold held(*this);
  if (ended_ || gem_ == nullptr || physical_.State() == LinkState::Ready ||
      gem_->communication().isDisabled())
    return;
  CHGem &gem = *gem_;
  gem.OnLinkLost();
  gem.communication().SwitchState(CommunicationState::Disabled);
}

std::optional<uint32_t> CHGemEngine::NextTick() const {
  if (ended_)
    return std::nullopt;
  if (replyLost_)
    return 0;
  if (gem_ != nullptr) {
    const CHGemCommunicationModel &communication = gem_->communication();
    const CHGemControlModel &control = gem_->control();
    const bool linkLost = !communication.isDisabled() && physical_.State() != LinkState::Ready;
    const bool attemptFailed = communication.State() != CommunicationState::Communicating &&
                               !control.isGoingOffline() &&
                               control.GetState() == ControlState::AttemptOnline;
    if (linkLost || attemptFailed)
      return 0;
  }
  const auto link = physical_.NextPoll();
  const auto model = logical_->NextTick();
  return model ? sooner(link, *model) : link;
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
