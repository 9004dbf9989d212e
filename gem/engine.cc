#include "gem/engine.h"

#include "secs2/item_codec.h"
#include "secs2/reply_text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace velto {

namespace {

constexpr uint16_t kAnyDevice = 0xFFFF;
constexpr uint8_t kUnrecognizedDevice = 1; // S9F1
constexpr uint8_t kCommunicating = 2;
constexpr uint8_t kAttemptOnline = 1;
constexpr int32_t kAnnounced = 1; // the protocol whose messages are announced

void copyHead(const CHSecsMessage &from, CHSecsMessage &to) {
  to.node = from.node;
  to.header = from.header;
}

// All but the bodies of the two messages and the side, which is that of the model.
void copyHeads(const CHSecsVerifier &from, CHSecsVerifier &to) {
  to.remoteHost = from.remoteHost;
  to.remotePort = from.remotePort;
  to.result = from.result;
  to.partner()->replyValid = from.partner()->replyValid;
  copyHead(from.message, to.message);
  copyHead(from.partner()->message, to.partner()->message);
}

void copySlot(const CHSecsVerifier &from, CHSecsVerifier &to) {
  copyHeads(from, to);
  to.isEquipmentSide = from.isEquipmentSide;
  to.message.root = from.message.root.clone();
  to.partner()->message.root = from.partner()->message.root.clone();
}

void moveSlot(CHSecsVerifier &from, CHSecsVerifier &to) {
  copyHeads(from, to);
  to.message.root = std::move(from.message.root);
  to.partner()->message.root = std::move(from.partner()->message.root);
}

Bytes joined(ByteView head, ByteView body) {
  Bytes bytes(head.begin(), head.end());
  bytes.insert(bytes.end(), body.begin(), body.end());
  return bytes;
}

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

// Receiving -------------------------------------------------------------------------------------

void CHGemEngine::OnReceived(const std::string &ipAddress, int32_t portNumber, ByteView message,
                             bool storeOnly) {
  if (gem_ == nullptr || gem_->communication().State() == 0)
    return;
  const auto keep = logical_;
  ++received_;
  refused_ = storeOnly;
  CHSecsVerifier &slot = gem_->slot(CHGem::kReceived);
  slot.remoteHost = ipAddress;
  slot.remotePort = portNumber;
  if (logsMessages())
    record().received(message);
  if (!slot.message.Decode(message) || storeOnly)
    return;
  slot.Verify(true);
  if (physical_.protocol != kAnnounced || !acceptsDevice(slot))
    return;
  wake();
  if (sink_ != nullptr)
    sink_->OnReceived(std::string(ipAddress), portNumber);
}

// An equipment answers a foreign device ID with S9F1 and keeps the message to itself.
bool CHGemEngine::acceptsDevice(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  CHSecsMessage &reply = slot.partner()->message;
  if (header.idWord == kAnyDevice || header.idWord == logical_->DeviceID()) {
    reply.header.idWord = header.idWord;
    return true;
  }
  if (logical_->Host())
    return true;
  refused_ = true;
  MakeStream9(reply, kUnrecognizedDevice, &header);
  reply.header.idWord = logical_->DeviceID();
  if (header.function() % 2 == 1 && header.wbit())
    transmit(reply);
  return false;
}

// Control messages have been answered by the link, and what the host was not told of has been
// refused. What is handled is a copy: a report may pump the loop, and the next message then takes
// the slot, or another partner the link, which gets no reply to the one before. Inside such a
// report the message itself is handled already.
bool CHGemEngine::DefProc() {
  if (gem_ == nullptr)
    return false;
  const auto keep = logical_;
  CHGem &gem = *gem_;
  if (refused_ || handled_ == received_ || gem.slot(CHGem::kReceived).message.header.sType() != 0)
    return true;
  const Lifetime::Watch alive(lifetime_);
  const uint32_t received = received_;
  const uint32_t selects = selects_;
  const std::optional<uint32_t> outer = std::exchange(handled_, received);
  CHSecsVerifier work;
  copySlot(gem.slot(CHGem::kReceived), work);
  if (physical_.State() != HsmsState::NotConnected)
    gem.OnReceive(work);
  const CHSecsHeader &header = work.message.header;
  if (alive && selects == selects_ && header.function() % 2 == 1 && header.wbit() &&
      work.partner()->replyValid)
    gem.SendUngated(work.partner()->message);
  if (!alive)
    return true;
  handled_ = outer;
  if (received == received_)
    moveSlot(work, gem.slot(CHGem::kReceived));
  wake();
  return true;
}

// Sending ---------------------------------------------------------------------------------------

bool CHGemEngine::Send(CHSecsMessage &message) {
  const auto keep = logical_;
  const bool sent = keep->Send(message);
  return sent && keep->kind() == CHLogicalConnection::Kind::Gem;
}

bool CHGemEngine::InvokeEvent(uint32_t ceid) {
  const auto keep = logical_;
  return gem_ != nullptr && gem_->InvokeEvent(ceid);
}

bool CHGemEngine::InvokeAlarm(uint32_t alid, uint8_t alcd) {
  const auto keep = logical_;
  const Lifetime::Watch alive(lifetime_);
  const bool sent = gem_ != nullptr && gem_->InvokeAlarm(alid, alcd);
  if (alive)
    wake(); // the changed state is saved on the next tick
  return sent;
}

bool CHGemEngine::transmit(const CHSecsMessage &message) {
  Bytes bytes;
  return message.Encode(bytes) && physical_.Send(bytes);
}

bool CHGemEngine::transmit(CHSecsMessage &&message) {
  const Lifetime::Watch alive(lifetime_);
  outgoing_ = &message;
  const bool sent = transmit(std::as_const(message));
  if (alive)
    outgoing_ = nullptr;
  return sent;
}

// The slot gets what went out: the body itself where the sender leaves it, else what its bytes say.
void CHGemEngine::OnSent(const CHSecsHeader &header, ByteView body) {
  const auto keep = logical_;
  const Lifetime::Watch alive(lifetime_);
  CHSecsMessage plain;
  CHSecsMessage &sent = gem_ != nullptr ? gem_->slot(CHGem::kSent).message : plain;
  CHSecsMessage *left = std::exchange(outgoing_, nullptr);
  std::array<uint8_t, CHSecsHeader::kSize> head{};
  EncodeHeader(header, head);
  DecodeHeader(sent.header, head, static_cast<uint32_t>(head.size() + body.size()));
  if (left != nullptr)
    sent.root = std::move(left->root);
  else
    DecodeItem(sent.root, body);
  if (logsMessages())
    record().sent(joined(head, body));
  // Without a model nothing that arrives is looked at, and no reply would end a transaction.
  if (gem_ != nullptr && header.idWord == keep->DeviceID())
    keep->OnSent(sent);
  if (!alive)
    return;
  wake();
  if (sink_ != nullptr)
    sink_->OnSent();
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
