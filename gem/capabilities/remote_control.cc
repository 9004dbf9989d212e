#include "gem/capabilities/remote_control.h"

#include "base/text.h"
#include "gem/data/list_text.h"
#include "gem/messages/items.h"
#include "gem/messages/reply.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <utility>
#include <vector>

namespace velto {

namespace {

constexpr uint8_t kRemoteCommand = 21;
constexpr uint8_t kHostCommand = 41;
constexpr uint8_t kEnhancedCommand = 49;
constexpr size_t kMostWaiting = 1000; // completions that are still to be reported

// Whether a value came in a format that says what the type holds: a number for a number, of
// whatever width, bytes and truth values as such, a text for a text.
bool hasFormatFor(uint8_t nodeType, const CHSecsItem &value) {
  const auto wanted = formatInfo(formatOf(nodeType)).kind;
  if (value.format() == formatOf(nodeType))
    return true;
  const auto isNumber = [](ElementKind kind) {
    return kind == ElementKind::Signed || kind == ElementKind::Unsigned ||
           kind == ElementKind::Real;
  };
  return isNumber(wanted) && isNumber(formatInfo(value.format()).kind);
}

// The numbers of a real array, each with all of its digits and no more.
template <typename Real> std::string realsText(const CHSecsItem &value) {
  std::array<char, 512> digits{};
  std::string text;
  for (size_t i = 0; i < value.count(); ++i) {
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                   value.element<Real>(i), std::chars_format::fixed)
                         .ptr;
    text.append(i == 0 ? "" : " ").append(digits.data(), end);
  }
  return text;
}

// A CPVAL as text that loses nothing: of a list the SML of its items.
std::string parameterText(const CHSecsItem &value) {
  switch (value.format()) {
  case format::kList:
    return listText(value);
  case format::kF4:
    return realsText<float>(value);
  case format::kF8:
    return realsText<double>(value);
  default:
    return valueText(value, ValueForm::Decimal);
  }
}

// Numbers and truth values come one at a time; texts and Binary are strings of any length.
bool holds(uint8_t nodeType, const CHSecsItem &value) {
  const ElementKind kind = formatInfo(value.format()).kind;
  if (value.isList() || kind == ElementKind::Binary)
    return true;
  CHGemEventVid type;
  type.nodeType = nodeType;
  return (kind == ElementKind::Text || value.count() == 1) && type.CanHold(parameterText(value));
}

std::string nameOf(const CHSecsItem &item) { return valueText(item, ValueForm::Decimal); }

} // namespace

// One request of the host, whichever message it came in.
struct CHGemRemoteControl::Request {
  uint8_t function;
  std::string name;
  std::string object; // OBJSPEC
  std::vector<std::pair<std::string, const CHSecsItem *>> parameters;
  std::vector<std::pair<std::string, uint8_t>> faults; // CPNAME and CPACK
  uint32_t event = 0;                                  // of the command's completion

  explicit Request(const CHSecsMessage &message) : function(message.header.function()) {
    const CHSecsItem &body = message.root;
    if (function == kRemoteCommand) {
      name = nameOf(body);
      return;
    }
    const bool enhanced = function == kEnhancedCommand;
    if (enhanced)
      object = nameOf(childOf(body, 2));
    name = nameOf(childOf(body, enhanced ? 3 : 1));
    for (const CHSecsItem &entry : childOf(body, enhanced ? 4 : 2).children())
      parameters.emplace_back(nameOf(childOf(entry, 1)), &childOf(entry, 2));
  }

  // One line a parameter; a line end inside a value would look like the next one.
  std::string text() const {
    std::string lines;
    for (const auto &[parameter, value] : parameters) {
      std::string line = parameter + '=' + parameterText(*value);
      std::ranges::replace_if(
          line, [](char c) { return c == '\n' || c == '\r'; }, ' ');
      lines.append(lines.empty() ? "" : "\n").append(line);
    }
    return lines;
  }
};

uint8_t CHGemRemoteControl::parameterFault(const std::string &name) const {
  const auto found = faults_.find(name);
  return found == faults_.end() ? uint8_t{0} : found->second;
}

std::string CHGemRemoteControl::parameterValue(const std::string &name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? "" : parameterText(*found->second);
}

// Messages --------------------------------------------------------------------------------------

bool CHGemRemoteControl::OnReceive(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  if (owner().isHost() || slot.result != VerificationCorrect || header.stream() != 2 ||
      (header.function() != kRemoteCommand && header.function() != kHostCommand &&
       header.function() != kEnhancedCommand))
    return false;
  Request request(slot.message);
  uint8_t answer = judge(request);
  if (answer == Done)
    answer = ask(request);
  if (answer == Done && request.event != 0 && completed_.size() < kMostWaiting)
    completed_.push_back(request.event);
  if (request.function == kRemoteCommand) { // CMDA has no more than these
    answer = answer == DoneLater ? uint8_t{Done} : std::min<uint8_t>(answer, NotNow);
    rebuildReply(slot, numberItem(answer, format::kU1));
    return true;
  }
  CHSecsItem faults = listItem();
  for (const auto &[parameter, fault] : request.faults)
    faults.appendChild(listItem(textItem(parameter), numberItem(fault, format::kBinary)));
  rebuildReply(slot, listItem(numberItem(answer, format::kBinary), std::move(faults)));
  return true;
}

// What is wrong with a request without asking anybody.
uint8_t CHGemRemoteControl::judge(Request &request) const {
  if (!request.object.empty() && request.object != data().communication.modelName)
    return NoSuchObject;
  const CHGemCommand *command = findCommand(data().commands, request.name);
  if (command == nullptr)
    return NoSuchCommand;
  if ((command->states & CHGemCommand::stateBit(owner().controlState())) == 0)
    return NotNow;
  checkParameters(*command, request);
  request.event = command->event;
  return request.faults.empty() ? Done : BadParameter;
}

void CHGemRemoteControl::checkParameters(const CHGemCommand &command, Request &request) const {
  std::set<std::string_view> given;
  for (const auto &[name, value] : request.parameters) {
    const CHGemCommandParameter *known = command.find(name);
    const bool doubled = known != nullptr && !given.insert(name).second;
    if (known == nullptr)
      request.faults.emplace_back(name, UnknownName);
    else if (!doubled && !hasFormatFor(known->nodeType, *value))
      request.faults.emplace_back(name, WrongFormat);
    else if (doubled || !holds(known->nodeType, *value))
      request.faults.emplace_back(name, BadValue);
  }
  for (const CHGemCommandParameter &parameter : command.parameters)
    if (parameter.required && !given.contains(parameter.name))
      request.faults.emplace_back(parameter.name, BadValue);
}

// The application may load another model meanwhile, and receive another command inside it: what it
// answers here is taken before anything else is looked at.
uint8_t CHGemRemoteControl::ask(Request &request) {
  std::map<std::string, const CHSecsItem *> values(request.parameters.begin(),
                                                   request.parameters.end());
  const uint8_t outerAnswer = std::exchange(answer_, uint8_t{Done});
  const auto outerFaults = std::exchange(faults_, {});
  auto outerValues = std::exchange(values_, std::move(values));
  host().application().OnRemoteCommand(request.name, request.text());
  const uint8_t answer = std::exchange(answer_, outerAnswer);
  for (const auto &[name, fault] : std::exchange(faults_, outerFaults))
    if (fault != 0)
      request.faults.emplace_back(name, fault);
  values_ = std::move(outerValues);
  return answer == Done && !request.faults.empty() ? uint8_t{BadParameter} : answer;
}

// Completion ------------------------------------------------------------------------------------

void CHGemRemoteControl::Tick() {
  if (completed_.empty())
    return;
  const uint32_t ceid = completed_.front();
  completed_.pop_front();
  events().InvokeEvent(ceid);
}

std::optional<uint32_t> CHGemRemoteControl::NextTick() const {
  return completed_.empty() ? std::nullopt : std::optional<uint32_t>(0);
}

void CHGemRemoteControl::Reset() {
  data().commands.clear();
  completed_.clear();
}

void CHGemRemoteControl::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add(countedTitle("Remote Commands", data().commands.size()));
  for (const CHGemCommand &command : data().commands)
    branch.add(command.description.empty() ? command.name
                                           : command.name + " : " + command.description);
}

} // namespace velto
