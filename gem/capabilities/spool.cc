#include "gem/capabilities/spool.h"

#include "gem/messages/items.h"
#include "gem/messages/reply.h"
#include "gem/messages/stream2.h"
#include "secs2/transaction.h"
#include "transport/link/deadline.h"

#include <algorithm>
#include <limits>

namespace velto {

namespace {

constexpr int kSetUp = 2 * 256 + 43;   // S2F43
constexpr int kRequest = 6 * 256 + 23; // S6F23

// Acknowledge codes (SEMI E5: RSPACK, RSDA).
constexpr uint8_t kSpoolAccepted = 0;
constexpr uint8_t kSpoolSetUpRefused = 1;
constexpr uint8_t kSpoolBusy = 1;
constexpr uint8_t kNothingSpooled = 2;

// RSDC (SEMI E5).
constexpr uint32_t kTransmitSpool = 0;
constexpr uint32_t kPurgeSpool = 1;

constexpr uint32_t kLinkPause = 100; // ms, after the link could not take a message
constexpr uint32_t kAllMessages = std::numeric_limits<uint32_t>::max();

int nameOf(const CHSecsHeader &header) { return header.stream() * 256 + header.function(); }

} // namespace

// State ------------------------------------------------------------------------------------------

void CHGemSpool::addSettings(SettingList &settings) {
  settings.section("Spool");
  settings.rareInteger("MaxSpoolSize", maxSize_, kDefaultSize);
  settings.rareInteger("MaxSpoolMessages", maxMessages_, kDefaultMessages);
}

CHGemSpool::State CHGemSpool::state() const {
  if (!file_.isActive())
    return Inactive;
  if (left_)
    return Transmitting;
  return full_ ? Full : Active;
}

// The spool of another data file, or of the process before.
void CHGemSpool::attach() {
  if (file_.isAttached() || owner().isHost())
    return;
  const bool whole = file_.attach();
  const std::string path = host().dataFile() + std::string(CHGemSpoolFile::kEnding);
  if (file_.isActive()) {
    setVariable(RoleSpoolStartTime, file_.startTime());
    setVariable(RoleSpoolFullTime, file_.fullTime());
  }
  tell();
  if (!whole)
    host().reportFailure("A part of the spool " + path + " could not be read.");
}

// The loss of communications begins spooling, or ends a transmission.
void CHGemSpool::followCommunications() {
  const bool communicating = isCommunicating();
  const bool lost = std::exchange(wasCommunicating_, communicating) && !communicating;
  if (communicating)
    return;
  if (left_) {
    interrupt();
  } else if (lost && !choice_.empty() && !owner().isHost() && isOnline(owner().controlState())) {
    attach();
    if (!file_.isActive())
      begin();
  }
}

void CHGemSpool::begin() {
  full_ = ended_ = failed_ = false;
  file_.begin(timeText());
  setVariable(RoleSpoolStartTime, file_.startTime());
  setVariable(RoleSpoolFullTime, "");
  tell();
  events().InvokeRole(RoleStartSpooling);
}

void CHGemSpool::end() {
  full_ = false;
  left_.reset();
  ended_ = true;
  const bool removed = file_.end();
  tell();
  if (!removed)
    host().reportFailure("The spool of " + host().dataFile() + " cannot be removed.");
}

// What was not acknowledged stays.
void CHGemSpool::interrupt() {
  left_.reset();
  outstanding_.reset();
  refusedAt_.reset();
  file_.flush();
  events().InvokeRole(RoleSpoolTransferFailure);
}

void CHGemSpool::Reset() {
  if (file_.isActive() && !file_.isAttached())
    file_.attach(); // the data file has got another name just now
  file_.detach();
  choice_ = {};
  full_ = wasCommunicating_ = ended_ = failed_ = passes_ = false;
  left_.reset();
  outstanding_.reset();
  refusedAt_.reset();
  clearModified();
}

// Variables --------------------------------------------------------------------------------------

// Whoever hears of the change may do anything.
void CHGemSpool::setVariable(uint8_t role, const std::string &text) {
  CHGemEventVid *variable = data().variables.FindByRole(role);
  if (variable == nullptr)
    return;
  variable->SetValue(text);
  owner().variableChanged(variable->vid);
}

// The total stays until spooling begins again.
void CHGemSpool::tell() {
  if (file_.isActive())
    setVariable(RoleSpoolCountTotal, std::to_string(file_.total()));
  setVariable(RoleSpoolCountActual, std::to_string(file_.count()));
}

uint32_t CHGemSpool::constant(uint8_t role) const {
  const CHGemEventVid *variable = data().variables.FindByRole(role);
  return variable == nullptr ? 0 : variable->GetNumber();
}

std::string CHGemSpool::timeText() { return stream2::timeText({data(), owner(), *this}, {}); }

// Messages that are kept --------------------------------------------------------------------------

bool CHGemSpool::wantsEvents() const {
  return !choice_.empty() && !owner().isHost() && !isCommunicating();
}

// What is spooled passes when its turn comes.
std::optional<bool> CHGemSpool::stop(const CHSecsMessage &message) {
  if (std::exchange(passes_, false) || !choice_.holds(message.header) || owner().isHost() ||
      !isOnline(owner().controlState()))
    return std::nullopt;
  attach();
  if (!file_.isActive()) {
    if (isCommunicating())
      return std::nullopt;
    begin();
  }
  if (!file_.isActive())
    return std::nullopt;
  return keep(message);
}

bool CHGemSpool::keep(const CHSecsMessage &message) {
  Bytes bytes;
  if (!message.Encode(bytes))
    return drop();
  const auto most = static_cast<size_t>(std::max(maxMessages_, 0));
  const auto room = static_cast<uint64_t>(std::clamp(maxSize_, 0, kGreatestSize)) * 1024;
  const size_t surplus = file_.surplus(bytes.size(), most, room);
  if (surplus > 0 && !std::exchange(full_, true)) {
    file_.noteFull(timeText());
    setVariable(RoleSpoolFullTime, file_.fullTime());
  }
  if (surplus > file_.count() || (surplus > 0 && constant(RoleOverWriteSpool) == 0))
    return drop();
  full_ = surplus > 0;
  const bool kept = file_.add(bytes, surplus);
  const bool failed = !kept && !failed_;
  failed_ = !kept;
  tell();
  if (failed)
    host().reportFailure("The spool of " + host().dataFile() + " cannot be written.");
  return kept;
}

bool CHGemSpool::drop() {
  file_.noteDropped();
  tell();
  return false;
}

// Requests ---------------------------------------------------------------------------------------

bool CHGemSpool::OnReceive(CHSecsVerifier &slot) {
  const int name = nameOf(slot.message.header);
  if (owner().isHost() || slot.result != VerificationCorrect ||
      (name != kSetUp && name != kRequest))
    return false;
  if (name == kSetUp)
    answerChoice(slot);
  else
    rebuildReply(slot, numberItem(answerRequest(slot.message.root), format::kBinary));
  return true;
}

void CHGemSpool::answerChoice(CHSecsVerifier &slot) {
  CHGemSpoolChoice::Faults faults;
  auto chosen = CHGemSpoolChoice::read(slot.message.root, owner().edition(), faults);
  CHSecsItem streams = listItem();
  for (const auto &[fault, functions] : faults) {
    CHSecsItem list = listItem();
    for (const uint8_t function : functions)
      list.appendChild(numberItem(function, format::kU1));
    streams.appendChild(listItem(numberItem(fault.first, format::kU1),
                                 numberItem(fault.second, format::kBinary), std::move(list)));
  }
  const uint8_t answer = chosen ? kSpoolAccepted : kSpoolSetUpRefused;
  rebuildReply(slot, listItem(numberItem(answer, format::kBinary), std::move(streams)));
  if (!chosen)
    return;
  choice_ = std::move(*chosen);
  setModified();
}

uint8_t CHGemSpool::answerRequest(const CHSecsItem &body) {
  attach();
  if (file_.count() == 0)
    return kNothingSpooled;
  const bool isCode = !body.isList() && body.count() == 1 && numberOf(body) <= kPurgeSpool;
  if (left_ || !isCode)
    return kSpoolBusy;
  if (numberOf(body) == kTransmitSpool) {
    const uint32_t most = constant(RoleMaxSpoolTransmit);
    left_ = most == 0 ? kAllMessages : most;
  } else {
    end();
  }
  return kSpoolAccepted;
}

// Transmission -----------------------------------------------------------------------------------

bool CHGemSpool::mayTransmit() const {
  return left_ && !outstanding_ && file_.count() > 0 && isCommunicating() &&
         isOnline(owner().controlState());
}

void CHGemSpool::Tick() {
  attach();
  followCommunications();
  if (std::exchange(ended_, false))
    events().InvokeRole(RoleEndSpooling);
  else if (isDone())
    end();
  else if (NextTick() == 0U && mayTransmit())
    transmit();
}

std::optional<uint32_t> CHGemSpool::NextTick() const {
  if (owner().isHost())
    return std::nullopt;
  if (!file_.isAttached() || ended_ || isDone() || wasCommunicating_ != isCommunicating())
    return 0;
  if (!mayTransmit())
    return std::nullopt;
  return refusedAt_ ? timeLeft(owner().clock().ticks(), *refusedAt_, kLinkPause) : 0;
}

// The host application hears of the message before Send() returns, and the reply may come, or the
// transmission be interrupted, meanwhile.
void CHGemSpool::transmit() {
  CHSecsMessage message = file_.firstMessage();
  outstanding_ = Outstanding{file_.firstNumber(), message.header};
  refusedAt_.reset();
  const uint32_t sending = ++sendings_;
  passes_ = true;
  const bool sent = owner().Send(message);
  passes_ = false;
  if (!outstanding_ || sending != sendings_)
    return;
  if (!sent) {
    outstanding_.reset();
    refusedAt_ = owner().clock().ticks();
    return;
  }
  outstanding_->header = message.header;
  outstanding_->isOut = true;
  acknowledgeAnswered();
}

// Communications may be established by a message and be lost before the next tick. The next message
// of the spool goes out at once: what came was a reply, which asks for none itself.
void CHGemSpool::OnReceived() {
  wasCommunicating_ = wasCommunicating_ || isCommunicating();
  if (acknowledgeAnswered() && mayTransmit())
    transmit();
}

// Whatever answers a message, it has arrived. It may have made room for another one meanwhile.
bool CHGemSpool::acknowledgeAnswered() {
  if (!outstanding_ || !outstanding_->isOut || !isCommunicating() ||
      (awaitsReply(outstanding_->header) &&
       owner().awaitsAnswerTo(outstanding_->header.systemBytes)))
    return false;
  const uint32_t number = outstanding_->number;
  outstanding_.reset();
  full_ = false;
  if (file_.count() > 0 && file_.firstNumber() == number)
    file_.removeFirst();
  if (left_ && --*left_ == 0)
    left_.reset();
  if (file_.count() == 0)
    end();
  else
    tell();
  return true;
}

bool CHGemSpool::isOutstanding(const CHSecsHeader &primary) const {
  return outstanding_ && nameOf(outstanding_->header) == nameOf(primary) &&
         (!outstanding_->isOut || outstanding_->header.systemBytes == primary.systemBytes);
}

// Another link: no reply will come any more.
void CHGemSpool::OnConnectionReset() {
  if (left_)
    interrupt();
}

void CHGemSpool::OnRejected(const CHSecsHeader &primary) {
  if (isOutstanding(primary))
    interrupt();
}

void CHGemSpool::OnProblem(LinkProblem problem, const CHSecsHeader &header) {
  if (problem == LinkProblem::T3 && isOutstanding(header))
    interrupt();
  followCommunications();
}

// One of the spool is still there; another one is spooled now.
void CHGemSpool::OnUndelivered(const CHSecsMessage &message) {
  const bool isThere = isOutstanding(message.header);
  followCommunications();
  if (!isThere)
    stop(message);
}

void CHGemSpool::addStatus(TreeNode &parent) const {
  static constexpr std::array kStates{"Inactive", "Active", "Full", "Transmitting"};
  TreeNode &branch = parent.add("Spool");
  branch.add(std::string("State : ") + kStates[state()]);
  branch.add("Messages : " + std::to_string(file_.count()));
  choice_.addStatus(branch);
}

} // namespace velto
