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

// STRID or FCNID: one byte, but for a number that takes more, which comes back as it was given.
CHSecsItem idItem(uint32_t id) { return numberItem(id, id > 0xFF ? format::kU4 : format::kU1); }

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
  } else if (!whole) {
    setVariable(RoleSpoolCountTotal, "0"); // nobody knows
  }
  tell();
  if (!whole)
    host().reportFailure("A part of the spool " + path + " could not be read.");
}

void CHGemSpool::followCommunications() {
  const bool communicating = isCommunicating();
  const bool lost = std::exchange(wasCommunicating_, communicating) && !communicating;
  if (!communicating)
    loseCommunications(lost);
}

// The loss of communications begins spooling, or ends a transmission.
void CHGemSpool::loseCommunications(bool lost) {
  const bool begins =
      lost && !left_ && !choice_.empty() && !owner().isHost() && isOnline(owner().controlState());
  if (left_)
    interrupt();
  if (!begins && !unanswered_.waits())
    return;
  attach();
  if (file_.isActive())
    keepUnanswered();
  else
    begin();
}

void CHGemSpool::begin() {
  full_ = ended_ = failed_ = false;
  file_.begin(timeText());
  keepUnanswered();
  setVariable(RoleSpoolStartTime, file_.startTime());
  setVariable(RoleSpoolFullTime, file_.fullTime());
  tell();
  if (failed_)
    reportUnwritable();
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

// A reply that comes while it is off is not seen: the message goes out again.
void CHGemSpool::OnSwitchedOff() {
  followCommunications();
  left_.reset();
  outstanding_.reset();
  refusedAt_.reset();
  unanswered_.clear();
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
  unanswered_.clear();
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
  const bool wasFull = full_;
  const bool hadFailed = failed_;
  bool kept = false;
  if (message.Encode(bytes))
    kept = put(bytes, CHGemSpoolFile::Safe::FromPowerLoss);
  else
    file_.noteDropped();
  if (full_ && !wasFull)
    setVariable(RoleSpoolFullTime, file_.fullTime());
  tell();
  if (failed_ && !hadFailed)
    reportUnwritable();
  return kept;
}

// What there is no room for is counted all the same.
bool CHGemSpool::put(ByteView message, CHGemSpoolFile::Safe safe) {
  const size_t surplus = file_.surplus(message.size(), mostMessages(), room());
  if (surplus > 0 && !std::exchange(full_, true))
    file_.noteFull(timeText());
  if (surplus > file_.count() || (surplus > 0 && constant(RoleOverWriteSpool) == 0)) {
    file_.noteDropped();
    return false;
  }
  full_ = surplus > 0;
  failed_ = !file_.add(message, surplus, safe);
  return !failed_;
}

void CHGemSpool::reportUnwritable() {
  host().reportFailure("The spool of " + host().dataFile() + " cannot be written.");
}

// Messages that are not answered yet -------------------------------------------------------------

void CHGemSpool::OnSent(const CHSecsHeader &header, ByteView body) {
  if (isOutstanding(header))
    outstanding_->header = header;
  else if (choice_.holds(header) && !owner().isHost() && awaitsReply(header))
    unanswered_.add(header, body, mostMessages(), room());
}

// One that was spooled meanwhile has arrived nevertheless, unless it has just been sent again. An
// abort acknowledges nothing: what is in the spool stays there, until the host asks again.
void CHGemSpool::OnAnswered(const CHSecsMessage &answer) {
  const auto sent = unanswered_.takeAnswered(answer);
  const bool aborts = answer.header.function() == 0;
  if (aborts && outstanding_ && isReply(answer.header, outstanding_->header))
    interrupt();
  if (aborts || !sent || !sent->spooledAs ||
      (outstanding_ && outstanding_->number == *sent->spooledAs))
    return;
  if (file_.remove(*sent->spooledAs))
    tell();
}

// They are the first ones, and come to the disk together.
void CHGemSpool::keepUnanswered() {
  if (!unanswered_.waits())
    return;
  unanswered_.spoolEach([this](const CHSecsHeader &header, const Bytes &message) {
    const bool stored = choice_.holds(header) && put(message, CHGemSpoolFile::Safe::FromExit);
    return stored ? std::optional(file_.lastNumber()) : std::nullopt;
  });
  file_.flush();
}

// Requests ---------------------------------------------------------------------------------------

bool CHGemSpool::OnReceive(CHSecsVerifier &slot) {
  const int name = nameOf(slot.message.header);
  if (owner().isHost() || slot.result != VerificationCorrect ||
      (name != kSetUp && name != kRequest))
    return false;
  const CHSecsItem &body = slot.message.root;
  if (name == kSetUp)
    answerChoice(slot);
  else if (body.isList() || body.count() != 1 || numberOf(body) > kPurgeSpool)
    complainOfData(slot);
  else
    rebuildReply(slot, numberItem(answerRequest(numberOf(body)), format::kBinary));
  return true;
}

void CHGemSpool::answerChoice(CHSecsVerifier &slot) {
  CHGemSpoolChoice::Faults faults;
  auto chosen = CHGemSpoolChoice::read(slot.message.root, owner().edition(), faults);
  if (!chosen && faults.empty())
    return complainOfData(slot);
  CHSecsItem streams = listItem();
  for (const auto &[fault, functions] : faults) {
    CHSecsItem list = listItem();
    for (const uint32_t function : functions)
      list.appendChild(idItem(function));
    streams.appendChild(
        listItem(idItem(fault.first), numberItem(fault.second, format::kBinary), std::move(list)));
  }
  const uint8_t answer = chosen ? kSpoolAccepted : kSpoolSetUpRefused;
  rebuildReply(slot, listItem(numberItem(answer, format::kBinary), std::move(streams)));
  if (!chosen)
    return;
  choice_ = *chosen;
  setModified();
}

uint8_t CHGemSpool::answerRequest(uint32_t rsdc) {
  attach();
  if (file_.count() == 0)
    return kNothingSpooled;
  if (left_)
    return kSpoolBusy;
  if (rsdc == kTransmitSpool) {
    const uint32_t most = constant(RoleMaxSpoolTransmit);
    left_ = most == 0 ? kAllMessages : most;
  } else {
    end();
  }
  return kSpoolAccepted;
}

// What happens -----------------------------------------------------------------------------------

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

// Another link: no reply will come any more, even if nobody noticed how the one before ended.
void CHGemSpool::OnConnectionReset() {
  loseCommunications(std::exchange(wasCommunicating_, false));
  unanswered_.clear();
}

// The states follow on the next tick, which may not come.
void CHGemSpool::OnClosed() { followCommunications(); }

void CHGemSpool::OnDisable() {
  followCommunications();
  unanswered_.clear();
}

// One that went past the spool is done with: the partner is there, and does not want it.
void CHGemSpool::OnRejected(const CHSecsHeader &primary) {
  if (isOutstanding(primary))
    interrupt();
  unanswered_.remove(primary.systemBytes);
}

void CHGemSpool::OnProblem(LinkProblem problem, const CHSecsHeader &header) {
  if (problem == LinkProblem::T3 && isOutstanding(header))
    interrupt();
  followCommunications();
  if (problem == LinkProblem::T3)
    unanswered_.remove(header.systemBytes);
}

// One of the spool is still there, one that is to be answered comes there with all that are. Any
// other one is spooled now.
void CHGemSpool::OnUndelivered(const CHSecsMessage &message) {
  const uint32_t systemBytes = message.header.systemBytes;
  const bool comesThere = isOutstanding(message.header) || unanswered_.holds(systemBytes);
  followCommunications();
  if (!comesThere)
    stop(message);
  unanswered_.remove(systemBytes);
}

void CHGemSpool::addStatus(TreeNode &parent) const {
  static constexpr std::array kStates{"Inactive", "Active", "Full", "Transmitting"};
  TreeNode &branch = parent.add("Spool");
  branch.add(std::string("State : ") + kStates[state()]);
  branch.add("Messages : " + std::to_string(file_.count()));
  choice_.addStatus(branch);
}

} // namespace velto
