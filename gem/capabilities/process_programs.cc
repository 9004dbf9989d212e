#include "gem/capabilities/process_programs.h"

#include "base/text.h"
#include "gem/data/number_text.h"
#include "gem/messages/items.h"
#include "gem/messages/reply.h"
#include "gem/messages/stream7.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace velto {

namespace {

constexpr int32_t kMostPrograms = 10'000;
constexpr size_t kMostReports = 10'000; // changes that are still to be reported
constexpr size_t kProgramHeads = CHSecsHeader::kSize + 2 + 2 + 4; // of message, list, PPID, PPBODY

bool isStandard(const CHSecsItem &body, uint8_t function, E5Edition edition) {
  CHSecsVerifier slot;
  slot.edition = edition;
  slot.message.header.Reset(stream7::kStream, function);
  slot.message.header.setWbit(true);
  slot.message.root = body.clone();
  return slot.Verify(true) == VerificationCorrect;
}

// The first word of a text, which is taken from its front.
std::string_view takeWord(std::string_view &text) {
  text = trim(text);
  const std::string_view word = text.substr(0, text.find(' '));
  text.remove_prefix(word.size());
  return word;
}

CHSecsItem faultItem(std::string_view line) {
  const auto code = static_cast<uint8_t>(decimal32(takeWord(line)));
  const auto sequence = static_cast<uint32_t>(decimal32(takeWord(line)));
  return listItem(numberItem(code, format::kU1), numberItem(sequence), textItem(trim(line)));
}

} // namespace

void CHGemProcessPrograms::addSettings(SettingList &settings) {
  settings.section("Recipes");
  settings.rareText("RecipeFolder", folder_, "");
  most_ = kMostPrograms;
  settings.rareInteger("MaxRecipes", most_, kMostPrograms);
}

CHGemRecipeStore &CHGemProcessPrograms::recipeStore() const {
  const std::string folder = folder_.empty() ? host().dataFile() + ".recipes" : folder_;
  if (!store_ || store_->folder() != folder)
    store_.emplace(host().files(), folder);
  return *store_;
}

// What the folder really holds is looked for before one is refused.
bool CHGemProcessPrograms::hasRoom(std::string_view ppid) const {
  CHGemRecipeStore &recipes = recipeStore();
  return recipes.holds(ppid) || std::cmp_less(recipes.count(), most_) ||
         std::cmp_less(recipes.names().size(), most_);
}

// Here ------------------------------------------------------------------------------------------

std::string CHGemProcessPrograms::body(std::string_view ppid) const {
  if (offered_ == nullptr || offeredName_ != ppid) {
    const auto kept = recipeStore().find(ppid);
    return kept ? stream7::smlOf(*kept) : "";
  }
  return stream7::smlOf(*offered_);
}

bool CHGemProcessPrograms::setBody(const std::string &ppid, const std::string &sml) {
  CHSecsMessage message;
  if (!CHGemRecipeStore::isName(ppid) || !message.SetFromSml("s7f3w" + sml))
    return false;
  const bool formatted = message.root.isList();
  if (formatted && stream7::programName(childOf(message.root, 1)) != ppid)
    return false;
  const CHSecsItem whole = stream7::sentBody(ppid, std::move(message.root));
  return isStandard(whole, formatted ? stream7::SendFormatted : stream7::SendBody,
                    owner().edition()) &&
         fitsMessage(whole) && hasRoom(ppid) && keep(ppid, stream7::keptBody(whole));
}

bool CHGemProcessPrograms::remove(const std::set<std::string> &programs) {
  CHGemRecipeStore &recipes = recipeStore();
  bool done = true;
  for (const std::string &ppid : programs) {
    if (recipes.remove(ppid))
      noteChange(Deleted, ppid);
    else
      done = false;
  }
  recipes.flush();
  return done;
}

bool CHGemProcessPrograms::Select(const std::string &ppid) {
  if (!recipeStore().holds(ppid) || ask(Selected, ppid) != Accepted)
    return false;
  noteChange(Selected, ppid);
  return true;
}

bool CHGemProcessPrograms::keep(const std::string &ppid, const CHSecsItem &body) {
  CHGemRecipeStore &recipes = recipeStore();
  const bool known = recipes.holds(ppid);
  if (recipes.put(ppid, body)) {
    noteChange(known ? Edited : Created, ppid);
    return true;
  }
  const int error = errno;
  host().reportFailure("the process program " + ppid + " cannot be written" +
                       (error == 0 ? "" : std::string(": ") + std::strerror(error)));
  return false;
}

void CHGemProcessPrograms::noteChange(Action status, const std::string &ppid) {
  if (changed_.size() < kMostReports)
    changed_.push_back({status, ppid});
}

void CHGemProcessPrograms::noteVerification(const std::string &ppid, std::string faults) {
  if (verified_.size() < kMostReports)
    verified_.push_back({ppid, std::move(faults)});
}

// The application may be told of another one inside this.
uint8_t CHGemProcessPrograms::ask(Action action, const std::string &ppid, Question &question) {
  const uint8_t outerAnswer = std::exchange(answer_, question.answer);
  std::string outerFaults = std::exchange(faults_, {});
  std::string outerName = std::exchange(offeredName_, ppid);
  const CHSecsItem *outerBody = std::exchange(offered_, question.body);
  host().application().OnProcessProgram(action, ppid);
  offered_ = outerBody;
  offeredName_ = std::move(outerName);
  question.faults = std::exchange(faults_, std::move(outerFaults));
  return std::exchange(answer_, outerAnswer);
}

// Messages --------------------------------------------------------------------------------------

bool CHGemProcessPrograms::OnReceive(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  const CHSecsItem &body = slot.message.root;
  if (header.stream() != stream7::kStream)
    return false;
  if (header.function() % 2 == 0)
    return takeReply(slot);
  if (slot.result != VerificationCorrect)
    return false;
  const auto acknowledge = [&slot](uint8_t code) {
    rebuildReply(slot, numberItem(code, format::kBinary));
    return true;
  };
  switch (header.function()) {
  case stream7::Inquire:
    return acknowledge(inquire(body));
  case stream7::SendBody:
  case stream7::SendFormatted:
    return acknowledge(receive(body));
  case stream7::DeleteBodies:
    return acknowledge(deleteAll(body));
  case stream7::RequestVerification:
    return acknowledge(verify(body));
  case stream7::RequestBody:
  case stream7::RequestFormatted:
    rebuildReply(slot, upload(body, header.function() == stream7::RequestFormatted));
    return true;
  case stream7::Directory: {
    CHSecsItem list = listItem();
    for (const std::string &name : names())
      list.appendChild(textItem(name));
    rebuildReply(slot, std::move(list));
    return true;
  }
  default:
    return false;
  }
}

uint8_t CHGemProcessPrograms::inquire(const CHSecsItem &request) {
  const std::string ppid = stream7::programName(childOf(request, 1));
  const auto [positive, length] = orderedWhole(valueText(childOf(request, 2), ValueForm::Decimal));
  if (!CHGemRecipeStore::isName(ppid))
    return InvalidName;
  const bool fits =
      positive && length <= CHSecsMessage::kMaxEncodedSize - kProgramHeads - ppid.size();
  if (!fits || !hasRoom(ppid))
    return NoSpace;
  if (const uint8_t refusal = ask(Inquired, ppid))
    return refusal;
  granted_ = Permission{ppid, length};
  return recipeStore().holds(ppid) ? AlreadyHave : Granted;
}

// A PPBODY that is longer than what was granted is a length error; LENGTH 0 tells nothing.
uint8_t CHGemProcessPrograms::receive(const CHSecsItem &request) {
  const std::string ppid = stream7::programName(childOf(request, 1));
  const CHSecsItem &body = stream7::keptBody(request);
  const auto granted = std::exchange(granted_, std::nullopt);
  if (!body.isList() && granted && granted->ppid == ppid && granted->length != 0 &&
      body.bytes().size() > granted->length)
    return LengthError;
  std::string faults;
  const uint8_t answer = take(ppid, body, faults);
  if (allows(answer) && body.isList() && !faults.empty())
    noteVerification(ppid, std::move(faults));
  return answer;
}

uint8_t CHGemProcessPrograms::take(const std::string &ppid, const CHSecsItem &body,
                                   std::string &faults) {
  if (!CHGemRecipeStore::isName(ppid))
    return NotFound;
  if (!hasRoom(ppid))
    return LengthError;
  Question question{Accepted, &body, {}};
  const uint8_t answer = ask(recipeStore().holds(ppid) ? Edited : Created, ppid, question);
  if (!allows(answer))
    return answer;
  faults = std::move(question.faults);
  return keep(ppid, body) ? answer : uint8_t{OtherError};
}

// An empty list stands for what there is not, and for what is not given out.
CHSecsItem CHGemProcessPrograms::upload(const CHSecsItem &name, bool formatted) {
  const std::string ppid = stream7::programName(name);
  const auto isThere = [&] {
    const auto kept = recipeStore().find(ppid);
    return kept && kept->isList() == formatted;
  };
  if (!isThere() || ask(Requested, ppid) != Accepted)
    return listItem();
  auto body = recipeStore().find(ppid);
  if (!body || body->isList() != formatted)
    return listItem();
  return formatted ? std::move(*body) : listItem(name.clone(), std::move(*body));
}

// All of them, or none: what is not there, and what the application refuses, is known before the
// first one goes.
uint8_t CHGemProcessPrograms::deleteAll(const CHSecsItem &request) {
  std::set<std::string> programs;
  for (const CHSecsItem &name : request.children())
    programs.insert(stream7::programName(name));
  for (const std::string &ppid : programs)
    if (!recipeStore().holds(ppid))
      return NotFound;
  const bool all = programs.empty();
  uint8_t answer = Accepted;
  for (const std::string &ppid : all ? std::set<std::string>{""} : programs) {
    const uint8_t one = ask(Deleted, ppid);
    if (!allows(one))
      return one;
    answer = std::max(answer, one);
  }
  if (all) {
    const auto kept = names();
    programs.insert(kept.begin(), kept.end());
  }
  return remove(programs) ? answer : uint8_t{OtherError};
}

// The result of a verification that may be made follows the reply, whether it found anything or
// not.
uint8_t CHGemProcessPrograms::verify(const CHSecsItem &request) {
  const std::string ppid = stream7::programName(childOf(request, 1));
  const auto kept = recipeStore().find(ppid);
  if (!kept)
    return NotFound;
  std::string faults = identityFaults(request);
  if (faults.empty() && kept->isList())
    faults = identityFaults(*kept);
  Question question{Accepted, &*kept, {}};
  if (const uint8_t refusal = ask(Verified, ppid, question))
    return refusal;
  noteVerification(ppid, faults + question.faults);
  return Accepted;
}

// Whether a PPID is followed by the MDLN and SOFTREV of this equipment, or by none.
std::string CHGemProcessPrograms::identityFaults(const CHSecsItem &identity) const {
  const CommunicationSettings &own = data().communication;
  const auto differs = [&identity](size_t child, const std::string &ours) {
    const std::string given = valueText(childOf(identity, child), ValueForm::Decimal);
    return !given.empty() && given != ours;
  };
  std::string faults = differs(2, own.modelName) ? "1 0 MDLN\n" : "";
  return faults + (differs(3, own.softwareRevision) ? "2 0 SOFTREV\n" : "");
}

// What follows ----------------------------------------------------------------------------------

void CHGemProcessPrograms::Tick() {
  if (transfer_ && transfer_->due) {
    sendNext();
  } else if (!verified_.empty()) {
    const Verification done = std::move(verified_.front());
    verified_.pop_front();
    sendVerification(done);
  } else if (!changed_.empty()) {
    const Change change = std::move(changed_.front());
    changed_.pop_front();
    report(change);
  }
}

std::optional<uint32_t> CHGemProcessPrograms::NextTick() const {
  const bool waits = (transfer_ && transfer_->due) || !verified_.empty() || !changed_.empty();
  return waits ? std::optional<uint32_t>(0) : std::nullopt;
}

void CHGemProcessPrograms::report(const Change &change) {
  if (change.status == Selected) {
    setName(RolePPExecName, change.ppid);
    events().InvokeRole(RoleProcessProgramSelected);
    return;
  }
  setName(RolePPChangeName, change.ppid);
  setVariable(RolePPChangeStatus, std::to_string(change.status));
  events().InvokeRole(RoleProcessProgramChanged);
}

void CHGemProcessPrograms::sendVerification(const Verification &done) {
  setVariable(RolePPError, trim(done.faults));
  CHSecsItem faults = listItem();
  std::string_view left = trim(done.faults);
  do {
    const std::string_view line = left.substr(0, left.find('\n'));
    left.remove_prefix(std::min(line.size() + 1, left.size()));
    faults.appendChild(faultItem(line));
  } while (!left.empty());
  CHSecsMessage message;
  message.SetFromSml("s7f27w");
  message.root = listItem(textItem(done.ppid), std::move(faults));
  owner().Send(message);
}

void CHGemProcessPrograms::setVariable(uint8_t role, std::string_view text) {
  if (CHGemEventVid *variable = data().variables.FindByRole(role)) {
    variable->SetValue(text);
    owner().variableChanged(variable->vid);
  }
}

// A PPID may be bytes (SEMI E5). No text holds a byte 0, so that such a name is told as Binary.
void CHGemProcessPrograms::setName(uint8_t role, const std::string &ppid) {
  CHGemEventVid *variable = data().variables.FindByRole(role);
  if (variable == nullptr || ppid.find('\0') == std::string::npos)
    return setVariable(role, ppid);
  std::string sml = "<b";
  for (const char byte : ppid)
    appendDecimal(sml.append(" "), uint64_t{static_cast<uint8_t>(byte)});
  variable->setRawValue(sml + '>');
  owner().variableChanged(variable->vid);
}

void CHGemProcessPrograms::forgetPartner() {
  granted_.reset();
  if (transfer_)
    end(transfer_->number, OtherError);
}

void CHGemProcessPrograms::Reset() {
  granted_.reset();
  transfer_.reset();
  changed_.clear();
  verified_.clear();
}

} // namespace velto
