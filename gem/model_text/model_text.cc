#include "gem/model_text/model_text.h"

#include "base/quoted_text.h"
#include "base/text.h"
#include "gem/model_text/model_fields.h"
#include "secs2/format.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>

namespace velto {

namespace {

using Names = std::span<const std::string_view>;

Names communicationStates() {
  static constexpr std::string_view kNames[] = {"disabled", "enabled"};
  return kNames;
}

Names controlStates() {
  static constexpr std::string_view kNames[] = {"equipment-offline", "attempt-online",
                                                "host-offline", "local", "remote"};
  return kNames;
}

Names variableKinds() {
  static constexpr std::string_view kNames[] = {"", "EC", "SV", "", "DV"};
  return kNames;
}

/// Calls `visit(name)` for each of the names with commas between them, until it says what it
/// expects instead.
template <typename Visit> std::string forEachName(std::string_view text, Visit visit) {
  for (text = trim(text); !text.empty();) {
    const size_t end = std::min(text.find(','), text.size());
    if (std::string expected = visit(trim(text.substr(0, end))); !expected.empty())
      return expected;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return "";
}

// The names of formats, as in SML but without the bracket: "U4".
Names itemTypes() {
  static const auto kNames = [] {
    std::array<std::string_view, SecsAscii2 + 1> names;
    for (int type = SecsList; type <= SecsAscii2; ++type)
      names[static_cast<size_t>(type)] = TypeName(formatOf(type), TypeNameMode::UpperTag) + 1;
    return names;
  }();
  return kNames;
}

// SEMI E5, ALCD bits 0 to 6
Names alarmCategories() {
  static constexpr std::string_view kNames[] = {"",
                                                "personal-safety",
                                                "equipment-safety",
                                                "parameter-warning",
                                                "parameter-error",
                                                "irrecoverable-error",
                                                "status-warning",
                                                "attention",
                                                "data-integrity"};
  return kNames;
}

void printCategory(std::string &out, const CHGemAlarmAlid &alarm) {
  printValue(out, alarm.category(), alarmCategories);
}

std::string readCategory(std::string_view text, CHGemAlarmAlid &alarm) {
  uint8_t category = 0;
  std::string expected = readValue(text, category, alarmCategories);
  if (expected.empty() && category >= CHGemAlarmAlid::kSet)
    return "at most 127";
  alarm.alcd = static_cast<uint8_t>((alarm.alcd & CHGemAlarmAlid::kSet) | category);
  return expected;
}

void printSet(std::string &out, const CHGemAlarmAlid &alarm) { printValue(out, alarm.isSet()); }

std::string readSet(std::string_view text, CHGemAlarmAlid &alarm) {
  bool set = false;
  std::string expected = readValue(text, set);
  alarm.alcd = static_cast<uint8_t>(alarm.category() | (set ? CHGemAlarmAlid::kSet : 0));
  return expected;
}

constexpr Field<bool> kClockFields[] = {
    {"set_machine_clock", [](std::string &out, const bool &set) { printValue(out, set); },
     [](std::string_view text, bool &set) { return readValue(text, set); }},
};

constexpr Field<CommunicationSettings> kCommunicationFields[] = {
    field<&CommunicationSettings::modelName>("model_name"),
    field<&CommunicationSettings::softwareRevision>("software_revision"),
    field<&CommunicationSettings::initialState, communicationStates>("initial_state"),
    field<&CommunicationSettings::establishCommunications>("establish_communications"),
};

constexpr Field<ControlSettings> kControlFields[] = {
    field<&ControlSettings::initialState, controlStates>("initial_state"),
    field<&ControlSettings::initialOfflineState, controlStates>("initial_offline_state"),
    field<&ControlSettings::offlineState, controlStates>("offline_state"),
    field<&ControlSettings::onlineState, controlStates>("online_state"),
};

// Each object is known by a number, which is its first field.

using V = CHGemEventVid;
constexpr Field<V> kVariableFields[] = {
    field<&V::vid>("vid"),
    field<&V::kind, variableKinds>("kind"),
    field<&V::nodeType, itemTypes>("type"),
    roleField<V, variableRoleNames>("role"),
    textField<&V::minimum, &V::setMinimum>("min"),
    textField<&V::maximum, &V::setMaximum>("max"),
    textField<&V::defaultValue, &V::setDefaultValue>("default"),
    textField<&V::unit, &V::setUnit>("unit"),
    textField<&V::description, &V::setDescription>("description"),
    textField<&V::rawValue, &V::setRawValue>("value"),
};
constexpr uint32_t kValueGiven = uint32_t{1} << (std::size(kVariableFields) - 1);

constexpr Field<CHGemEventReport> kReportFields[] = {
    field<&CHGemEventReport::rptid>("rptid"),
    field<&CHGemEventReport::variables>("variables"),
    field<&CHGemEventReport::description>("description"),
};

constexpr Field<CHGemEventCeid> kEventFields[] = {
    field<&CHGemEventCeid::ceid>("ceid"),
    roleField<CHGemEventCeid, eventRoleNames>("role"),
    field<&CHGemEventCeid::enable>("enable"),
    field<&CHGemEventCeid::reports>("reports"),
    field<&CHGemEventCeid::description>("description"),
};

constexpr Field<CHGemAlarmAlid> kAlarmFields[] = {
    field<&CHGemAlarmAlid::alid>("alid"), {"category", printCategory, readCategory},
    {"set", printSet, readSet},           field<&CHGemAlarmAlid::enable>("enable"),
    field<&CHGemAlarmAlid::altx>("text"),
};

// The parameters of a command: "LOT:A,SLOT:U1", and the names of those that it must have.
void printParameters(std::string &out, const CHGemCommand &command) {
  std::string text;
  for (const CHGemCommandParameter &parameter : command.parameters) {
    text.append(text.empty() ? "" : ",").append(parameter.name).append(":");
    printValue(text, parameter.nodeType, itemTypes);
  }
  printValue(out, text);
}

std::string readParameters(std::string_view text, CHGemCommand &command) {
  command.parameters.clear();
  return forEachName(text, [&command](std::string_view entry) -> std::string {
    const size_t colon = std::min(entry.rfind(':'), entry.size());
    CHGemCommandParameter parameter{std::string(trim(entry.substr(0, colon)))};
    if (parameter.name.empty() || command.find(parameter.name) != nullptr)
      return "names with a type each, every name once: LOT:A,SLOT:U1";
    if (colon == entry.size())
      return "names with a type each: LOT:A,SLOT:U1";
    const auto type = findRole(itemTypes(), trim(entry.substr(colon + 1)));
    if (!type || *type == 0)
      return "names with a type each, which is one of the types of [variables]";
    parameter.nodeType = *type;
    command.parameters.push_back(std::move(parameter));
    return "";
  });
}

void printRequired(std::string &out, const CHGemCommand &command) {
  std::string text;
  for (const CHGemCommandParameter &parameter : command.parameters)
    if (parameter.required)
      text.append(text.empty() ? "" : ",").append(parameter.name);
  printValue(out, text);
}

std::string readRequired(std::string_view text, CHGemCommand &command) {
  return forEachName(text, [&command](std::string_view name) -> std::string {
    const auto parameter =
        std::ranges::find(command.parameters, name, &CHGemCommandParameter::name);
    if (parameter == command.parameters.end())
      return "names of parameters that stand before it";
    parameter->required = true;
    return "";
  });
}

void printStates(std::string &out, const CHGemCommand &command) {
  std::string text;
  for (uint8_t state = 0; state < controlStates().size(); ++state)
    if ((command.states & CHGemCommand::stateBit(state)) != 0)
      text.append(text.empty() ? "" : ",").append(controlStates()[state]);
  out += text.empty() ? "none" : text;
}

std::string readStates(std::string_view text, CHGemCommand &command) {
  command.states = 0;
  if (text == "none")
    return "";
  return forEachName(text, [&command](std::string_view name) -> std::string {
    const auto state = findRole(controlStates(), name);
    if (!state)
      return "control states with commas between them, such as local,remote";
    command.states = static_cast<uint8_t>(command.states | CHGemCommand::stateBit(*state));
    return "";
  });
}

constexpr Field<CHGemCommand> kCommandFields[] = {
    field<&CHGemCommand::name>("name"),        {"parameters", printParameters, readParameters},
    {"required", printRequired, readRequired}, {"states", printStates, readStates},
    field<&CHGemCommand::event>("event"),      field<&CHGemCommand::description>("description"),
};

void printCommands(std::string &out, const GemData &data) {
  for (const CHGemCommand &command : data.commands)
    printFields(out, kCommandFields, command);
}

std::string readCommand(std::string_view line, GemData &data, std::set<uint32_t> &) {
  CHGemCommand command;
  uint32_t given = 0;
  if (std::string problem = readFields(line, kCommandFields, command, given); !problem.empty())
    return problem;
  if (command.name.empty())
    return "name is missing";
  if (findCommand(data.commands, command.name) != nullptr)
    return "name is that of an earlier line";
  data.commands.push_back(std::move(command));
  return "";
}

// Lists that are ordered by number are sorted after the last line.
void append(auto &list, auto object) { list.Append(std::move(object)); }
void append(CHGemEventReportList &list, CHGemEventReport &&report) { list.Add(std::move(report)); }

// Sets the members of an object that depend on its fields.
void complete(auto &, uint32_t) {}
void complete(CHGemEventVid &variable, uint32_t given) {
  if ((given & kValueGiven) != 0)
    return;
  const ElementKind kind = formatInfo(formatOf(variable.nodeType)).kind;
  if (!variable.defaultValue().empty())
    variable.setRawValue(variable.FormatBound(Bound::Default));
  else
    variable.SetValue(kind == ElementKind::Text || kind == ElementKind::List ? "" : "0");
}

template <auto List, const auto &Fields> void printList(std::string &out, const GemData &data) {
  for (size_t i = 0; i < (data.*List).Count(); ++i)
    printFields(out, Fields, (data.*List).at(i));
}

template <auto List, const auto &Fields>
std::string readObject(std::string_view line, GemData &data, std::set<uint32_t> &numbers) {
  auto &list = data.*List;
  std::remove_cvref_t<decltype(list.at(0))> object;
  uint32_t given = 0;
  if (std::string problem = readFields(line, Fields, object, given); !problem.empty())
    return problem;
  const std::string number(Fields[0].name);
  if ((given & 1) == 0)
    return number + " is missing";
  if (!numbers.insert(object.number()).second)
    return number + " is that of an earlier line";
  complete(object, given);
  append(list, std::move(object));
  return "";
}

template <auto Member, const auto &Fields>
void printSettings(std::string &out, const GemData &data) {
  printFields(out, Fields, data.*Member);
}

template <auto Member, const auto &Fields>
std::string readSettings(std::string_view line, GemData &data, std::set<uint32_t> &) {
  uint32_t given = 0;
  return readFields(line, Fields, data.*Member, given);
}

/// A section: a function that prints it, and one that reads a line of it. `numbers` holds the
/// numbers of the objects read so far.
struct Section {
  std::string_view name;
  void (*print)(std::string &out, const GemData &data);
  std::string (*read)(std::string_view line, GemData &data, std::set<uint32_t> &numbers);
};

template <auto Member, const auto &Fields> constexpr Section settings(std::string_view name) {
  return {name, printSettings<Member, Fields>, readSettings<Member, Fields>};
}

template <auto List, const auto &Fields> constexpr Section list(std::string_view name) {
  return {name, printList<List, Fields>, readObject<List, Fields>};
}

constexpr Section kSections[] = {
    settings<&GemData::communication, kCommunicationFields>("communication"),
    settings<&GemData::control, kControlFields>("control"),
    settings<&GemData::changePCClock, kClockFields>("clock"),
    list<&GemData::variables, kVariableFields>("variables"),
    list<&GemData::reports, kReportFields>("reports"),
    list<&GemData::events, kEventFields>("events"),
    list<&GemData::alarms, kAlarmFields>("alarms"),
    {"commands", printCommands, readCommand},
};

/// Reads a text line by line.
class ModelReader {
public:
  /// Returns what is wrong with the line of that number, an empty text when nothing is.
  std::string read(std::string_view line, int number) {
    std::string reason = readLine(line);
    commandLines_.resize(data_.commands.size(), number);
    return reason;
  }

  /// The first command whose event stands nowhere in the text; sections come in any order.
  std::optional<ModelTextError> commandWithoutEvent() {
    data_.events.Sort();
    for (size_t i = 0; i < data_.commands.size(); ++i)
      if (const uint32_t ceid = data_.commands[i].event; ceid != 0 && !data_.events.find(ceid))
        return ModelTextError{commandLines_[i], "there is no event " + std::to_string(ceid)};
    return std::nullopt;
  }

  GemData take() {
    data_.variables.Sort();
    data_.events.Sort();
    data_.alarms.Sort();
    return std::move(data_);
  }

private:
  std::string readLine(std::string_view line) {
    line = trim(line);
    if (line.empty() || line[0] == '#')
      return "";
    if (line[0] == '[')
      return enter(line);
    return section_ == nullptr ? "a section such as [variables] must come first"
                               : section_->read(line, data_, numbers_[section_]);
  }

  std::string enter(std::string_view line) {
    const size_t end = std::min(line.find(']'), line.size());
    const std::string_view behind = trim(line.substr(std::min(end + 1, line.size())));
    section_ = std::ranges::find(kSections, line.substr(1, end - 1), &Section::name);
    if (end == line.size() || (!behind.empty() && behind[0] != '#') ||
        section_ == std::end(kSections))
      return "there is no section " + quotedText(line);
    return "";
  }

  GemData data_;
  std::vector<int> commandLines_;
  std::map<const Section *, std::set<uint32_t>> numbers_;
  const Section *section_ = nullptr;
};

} // namespace

std::string modelToText(const GemData &data) {
  std::string text;
  for (const Section &section : kSections) {
    if (section.print == printCommands && data.commands.empty())
      continue; // they came later than the form of this text
    text += text.empty() ? "[" : "\n[";
    text += section.name;
    text += "]\n";
    section.print(text, data);
  }
  return text;
}

std::optional<GemData> modelFromText(std::string_view text, ModelTextError &error) {
  ModelReader reader;
  for (int line = 1; !text.empty(); ++line) {
    const size_t end = std::min(text.find('\n'), text.size());
    if (std::string reason = reader.read(text.substr(0, end), line); !reason.empty()) {
      error = {line, std::move(reason)};
      return std::nullopt;
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (const auto dangling = reader.commandWithoutEvent()) {
    error = *dangling;
    return std::nullopt;
  }
  return reader.take();
}

bool readCommandParameters(std::string_view parameters, std::string_view required,
                           CHGemCommand &command) {
  return readParameters(parameters, command).empty() && readRequired(required, command).empty();
}

} // namespace velto
