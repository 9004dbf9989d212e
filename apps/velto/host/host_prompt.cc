#include "apps/velto/host/host_prompt.h"

#include "apps/velto/console/literal.h"
#include "apps/velto/host/explanation.h"
#include "base/text.h"
#include "gem/messages/items.h"

#include <algorithm>
#include <limits>

namespace velto {

namespace {

constexpr uint32_t kDataId = 1;
constexpr double kMessagePatience = 45; // s that `wait MESSAGE` waits
constexpr uint8_t kEnableAlarm = 0x80;  // ALED

CHSecsItem listOf(std::span<const CHSecsItem> items) {
  CHSecsItem list = listItem();
  for (const CHSecsItem &item : items)
    list.appendChild(item.clone());
  return list;
}

// A list of two: an identifier, and a list of those that belong to it.
CHSecsItem belonging(std::span<const CHSecsItem> ids) {
  return listItem(numberItem(kDataId),
                  listItem(listItem(ids.front().clone(), listOf(ids.subspan(1)))));
}

// The item of a parameter: "<u4 5>" is SML, a whole number becomes a number, all else a text.
std::optional<CHSecsItem> parameterItem(const std::string &text, bool quoted) {
  if (!quoted && text.starts_with('<')) {
    CHSecsMessage message;
    return message.SetFromSml(text) ? std::optional(std::move(message.root)) : std::nullopt;
  }
  if (!quoted && wholeText<uint32_t>(text))
    return itemFromText(format::kU4, text);
  if (!quoted && wholeText<int32_t>(text))
    return itemFromText(format::kI4, text);
  return textItem(text);
}

} // namespace

std::span<const HostPrompt::Row> HostPrompt::table() {
  using Self = HostPrompt;
  static constexpr Row kRows[] = {
      {"online", "", "ask the equipment to go on-line", &Self::online},
      {"offline", "", "ask the equipment to go off-line", &Self::offline},
      {"are-you-there", "", "ask who is there", &Self::areYouThere},
      {"status", "[SVID…]", "values of status variables, of all without numbers", &Self::status},
      {"constants", "[ECID…]", "values of equipment constants", &Self::constants},
      {"set", "ECID VALUE", "set an equipment constant", &Self::set},
      {"names", "[events]",
       "names of all status variables and constants, or of the events with their reports",
       &Self::names},
      {"define", "RPTID [VID…]", "define a report; without variables delete it", &Self::define},
      {"link", "CEID [RPTID…]", "link reports to an event; without reports unlink", &Self::link},
      {"enable", "[CEID…]", "enable events, all without numbers", &Self::enable},
      {"disable", "[CEID…]", "disable events", &Self::disable},
      {"alarms", "", "all alarms and whether they are set", &Self::alarms},
      {"enable-alarms", "[ALID…]", "enable alarms, all without numbers", &Self::enableAlarms},
      {"disable-alarms", "[ALID…]", "disable alarms", &Self::disableAlarms},
      {"command", "RCMD [NAME=VALUE…]", "a remote command with its parameters", &Self::command},
      {"spool", "on|off|transmit|purge", "keep events and alarms while this host is away; get them",
       &Self::spool},
      {"recipes", "", "the process programs of the equipment", &Self::recipes},
      {"recipe", "get|put|delete|verify PPID [FILE]",
       "fetch a process program, send, delete or verify it", &Self::recipe},
      {"trace", "TRID SECONDS SAMPLES GROUP SVID… | TRID",
       "have variables sampled and sent in groups; TRID alone ends it", &Self::trace},
      {"limits", "[VID…] | VID LIMITID=LOWER..UPPER… | [VID] clear",
       "limits of variables, of all without numbers; or set them, LIMITID= clears", &Self::limits},
      {"text", "[TID] TEXT", "a text for a terminal of the equipment, 0 without a number",
       &Self::text},
      {"time", "[TEXT]", "the equipment's time, or set it (YYYYMMDDhhmmsscc)", &Self::time},
      {"send", "SML", "any message, such as: send S1F3W {<u4 101>}", &Self::send, true},
      {"wait", "MESSAGE [SECONDS] | SECONDS", "wait for a message of the equipment, such as S6F11",
       &Self::wait},
      {"expect", "TEXT", "fail unless the last answer contains the text", &Self::expect, true},
      {"counters", "", "what the link has carried, and its problems", &Self::counters},
      {"help", "", "this list", &Self::help},
      {"quit", "", "separate from the equipment and end", &Self::quit},
  };
  return kRows;
}

// Reading lines ----------------------------------------------------------------------------------

std::vector<HostPrompt::Help> HostPrompt::commands() {
  std::vector<Help> commands;
  for (const Row &row : table())
    commands.push_back({row.name, row.arguments, row.help});
  return commands;
}

std::string HostPrompt::run(std::string_view line, Files files) {
  files_ = files;
  line = trim(line);
  if (line.empty() || line.starts_with('#'))
    return "";
  const std::string_view name = line.substr(0, line.find_first_of(" \t"));
  const auto row = std::ranges::find_if(
      table(), [name](const Row &candidate) { return equalsIgnoreCase(candidate.name, name); });
  if (row == table().end())
    return "there is no command " + std::string(name) + "; help lists them";
  Line parsed{{}, trim(line.substr(name.size()))};
  if (!row->raw)
    if (std::string problem = splitWords(parsed.rest, parsed.words); !problem.empty())
      return problem;
  // A message that came before this command is no answer to it. Only `wait` also looks at messages
  // that came since the command before.
  if (row->run != &HostPrompt::wait && row->run != &HostPrompt::expect)
    host_.forgetArrivals();
  return (this->*row->run)(parsed);
}

// A whole number, or a text in quotes. Nothing for anything else.
std::optional<CHSecsItem> HostPrompt::identifier(const Word &word) {
  if (word.quoted)
    return textItem(word.text);
  const auto number = wholeText<uint32_t>(word.text);
  return number ? std::optional(numberItem(*number)) : std::nullopt;
}

std::string HostPrompt::identifiers(const Line &line, std::vector<CHSecsItem> &ids, size_t least) {
  for (const Word &word : line.words) {
    auto id = identifier(word);
    if (!id)
      return '"' + word.text + "\" is no number, and a text stands in double quotes";
    ids.push_back(std::move(*id));
  }
  return ids.size() < least ? "a number is missing" : "";
}

std::string HostPrompt::ask(uint8_t stream, uint8_t function, CHSecsItem body) {
  CHSecsMessage message;
  message.header.Reset(stream, function);
  message.header.setWbit(true);
  message.root = std::move(body);
  return host_.request(message);
}

// Variables --------------------------------------------------------------------------------------

// S1F11 and S2F29: SVID, SVNAME, UNITS; ECID, ECNAME, ECMIN, ECMAX, ECDEF, UNITS.
std::string HostPrompt::learnNames(VariableKind kind) {
  const bool isStatus = kind == StatusVariable;
  const uint8_t stream = isStatus ? 1 : 2;
  if (std::string problem = ask(stream, isStatus ? 11 : 29, listItem()); !problem.empty())
    return problem;
  CHGemEventVidList &variables = host_.known().variables;
  for (const CHSecsItem &entry : host_.reply().root.children()) {
    const std::string name(childOf(entry, 2).text());
    const std::string unit(childOf(entry, isStatus ? 3 : 6).text());
    const CHSecsItem &id = childOf(entry, 1);
    if (isText(id)) {
      host_.learnt().variables[identifierText(id)] = {name, unit};
      continue;
    }
    CHGemEventVid *known = variables.FindVid(numberOf(id), kind);
    if (known == nullptr) {
      CHGemEventVid fresh;
      fresh.vid = numberOf(id);
      known = &variables.Add(std::move(fresh));
    }
    known->kind = kind;
    known->setDescription(name);
    known->setUnit(unit);
  }
  return "";
}

// The answer is that of both requests.
std::string HostPrompt::names(const Line &which) {
  if (which.words.size() == 1 && which.words[0].text == "events")
    return eventNames();
  if (!which.words.empty())
    return "names takes events, or nothing";
  std::string answer;
  for (const VariableKind kind : {StatusVariable, EquipmentConstant}) {
    if (std::string problem = learnNames(kind); !problem.empty())
      return problem;
    for (const CHSecsItem &entry : host_.reply().root.children()) {
      std::string line =
          identifierText(childOf(entry, 1)) + ' ' + std::string(childOf(entry, 2).text());
      if (kind == EquipmentConstant)
        line += ", " + readableItem(childOf(entry, 3)) + " to " + readableItem(childOf(entry, 4)) +
                ", default " + readableItem(childOf(entry, 5));
      const std::string_view unit = childOf(entry, kind == StatusVariable ? 3 : 6).text();
      host_.say(line + (unit.empty() ? "" : ' ' + std::string(unit)));
    }
    answer += host_.answer();
  }
  host_.setAnswer(std::move(answer));
  return "";
}

// S1F23: CEID, CENAME, and the variables of its reports.
std::string HostPrompt::eventNames() {
  if (std::string problem = ask(1, 23, listItem()); !problem.empty())
    return problem;
  CHGemEventCeidList &events = host_.known().events;
  for (const CHSecsItem &entry : host_.reply().root.children()) {
    const CHSecsItem &id = childOf(entry, 1);
    const std::string name(childOf(entry, 2).text());
    std::string line = identifierText(id) + ' ' + name;
    const auto vids = childOf(entry, 3).children();
    for (const CHSecsItem &vid : vids)
      line +=
          (&vid == &vids.front() ? ": " : ", ") + variableTitle(identifierText(vid), host_.names());
    host_.say(line);
    if (isText(id)) {
      host_.learnt().events[identifierText(id)] = name;
      continue;
    }
    CHGemEventCeid *known = events.FindCeid(numberOf(id));
    if (known == nullptr)
      known = &events.Add({.ceid = numberOf(id), .description = {}, .reports = {}});
    known->description = name;
  }
  return "";
}

// When none are named, the reply has the values of all variables but not their identifiers. So the
// names are asked for first, to know which variable each value belongs to.
std::string HostPrompt::showValues(VariableKind kind, const Line &line) {
  std::vector<CHSecsItem> vids;
  if (std::string problem = identifiers(line, vids); !problem.empty())
    return problem;
  if (vids.empty()) {
    if (std::string problem = learnNames(kind); !problem.empty())
      return problem;
    for (const CHSecsItem &entry : host_.reply().root.children())
      vids.push_back(childOf(entry, 1).clone());
  }
  const bool isStatus = kind == StatusVariable;
  if (std::string problem = ask(isStatus ? 1 : 2, isStatus ? 3 : 13, listOf(vids));
      !problem.empty())
    return problem;
  const auto values = host_.reply().root.children();
  if (values.size() != vids.size())
    return "the equipment sent " + std::to_string(values.size()) + " values for " +
           std::to_string(vids.size());
  for (size_t i = 0; i < vids.size(); ++i) {
    const std::string vid = identifierText(vids[i]);
    const std::string unit = variableUnit(vid, host_.names());
    host_.say(variableTitle(vid, host_.names()) + " = " + readableItem(values[i]) +
              (unit.empty() ? "" : " ") + unit);
  }
  return "";
}

std::string HostPrompt::status(const Line &line) { return showValues(StatusVariable, line); }

std::string HostPrompt::constants(const Line &line) { return showValues(EquipmentConstant, line); }

// Asks the equipment for the present value first, to learn the format of the constant.
std::string HostPrompt::set(const Line &line) {
  const auto ecid = line.words.size() == 2 ? identifier(line.words[0]) : std::nullopt;
  if (!ecid)
    return "set takes an ECID and a value";
  const Word &value = line.words[1];
  std::optional<CHSecsItem> item;
  if (value.text.starts_with('<') && !value.quoted) {
    item = parameterItem(value.text, false);
  } else {
    if (std::string problem = ask(2, 13, listOf({&*ecid, 1})); !problem.empty())
      return problem;
    const CHSecsItem &present = childOf(host_.reply().root, 1);
    if (present.isList())
      return "there is no constant " + identifierText(*ecid);
    item = itemFromText(present.format(), value.text);
  }
  if (!item)
    return '"' + value.text + "\" is no value for constant " + identifierText(*ecid);
  return ask(2, 15, listItem(listItem(ecid->clone(), std::move(*item))));
}

// Reports and events -----------------------------------------------------------------------------

std::string HostPrompt::define(const Line &line) {
  std::vector<CHSecsItem> ids;
  if (std::string problem = identifiers(line, ids, 1); !problem.empty())
    return problem;
  if (std::string problem = ask(2, 33, belonging(ids)); !problem.empty())
    return problem;
  std::vector<std::string> &report = host_.learnt().reports[identifierText(ids.front())];
  report.clear();
  for (const CHSecsItem &vid : std::span(ids).subspan(1))
    report.push_back(identifierText(vid));
  return "";
}

std::string HostPrompt::link(const Line &line) {
  std::vector<CHSecsItem> ids;
  std::string problem = identifiers(line, ids, 1);
  return problem.empty() ? ask(2, 35, belonging(ids)) : problem;
}

std::string HostPrompt::enableEvents(const Line &line, bool enable) {
  std::vector<CHSecsItem> ceids;
  if (std::string problem = identifiers(line, ceids); !problem.empty())
    return problem;
  return ask(2, 37, listItem(numberItem(enable ? 1 : 0, format::kBoolean), listOf(ceids)));
}

std::string HostPrompt::enable(const Line &line) { return enableEvents(line, true); }

std::string HostPrompt::disable(const Line &line) { return enableEvents(line, false); }

// Alarms -----------------------------------------------------------------------------------------

std::string HostPrompt::alarms(const Line &) {
  if (std::string problem = ask(5, 5, emptyItem(format::kU4)); !problem.empty())
    return problem;
  for (const CHSecsItem &alarm : host_.reply().root.children()) {
    const bool isSet = (numberOf(childOf(alarm, 1)) & CHGemAlarmAlid::kSet) != 0;
    host_.say(identifierText(childOf(alarm, 2)) + (isSet ? " set: " : " clear: ") +
              std::string(childOf(alarm, 3).text()));
  }
  return "";
}

// S5F3 names one alarm; an item without values means all alarms.
std::string HostPrompt::enableAlarms(const Line &line, bool enable) {
  std::vector<CHSecsItem> alids;
  if (std::string problem = identifiers(line, alids); !problem.empty())
    return problem;
  const uint32_t aled = enable ? kEnableAlarm : 0;
  if (alids.empty())
    return ask(5, 3, listItem(numberItem(aled, format::kBinary), emptyItem(format::kU4)));
  for (const CHSecsItem &alid : alids)
    if (std::string problem = ask(5, 3, listItem(numberItem(aled, format::kBinary), alid.clone()));
        !problem.empty())
      return problem;
  return "";
}

std::string HostPrompt::enableAlarms(const Line &line) { return enableAlarms(line, true); }

std::string HostPrompt::disableAlarms(const Line &line) { return enableAlarms(line, false); }

// The other messages -----------------------------------------------------------------------------

std::string HostPrompt::online(const Line &) { return ask(1, 17); }

std::string HostPrompt::offline(const Line &) { return ask(1, 15); }

std::string HostPrompt::areYouThere(const Line &) { return ask(1, 1); }

std::string HostPrompt::command(const Line &line) {
  if (line.words.empty())
    return "command takes the name of a remote command";
  CHSecsItem parameters = listItem();
  for (size_t i = 1; i < line.words.size(); ++i) {
    const Word &word = line.words[i];
    const size_t equals = word.text.find('=');
    auto value = equals == std::string::npos
                     ? std::nullopt
                     : parameterItem(word.text.substr(equals + 1), word.quoted);
    if (!value)
      return '"' + word.text + "\" is no parameter: NAME=VALUE";
    parameters.appendChild(listItem(textItem(word.text.substr(0, equals)), std::move(*value)));
  }
  return ask(2, 41, listItem(textItem(line.words[0].text), std::move(parameters)));
}

// Switched on for what the equipment reports: alarms, data and texts of the operator.
std::string HostPrompt::spool(const Line &line) {
  const std::string word = line.words.size() == 1 ? line.words[0].text : "";
  if (word == "transmit" || word == "purge")
    return ask(6, 23, numberItem(word == "purge" ? 1 : 0, format::kU1));
  if (word != "on" && word != "off")
    return "spool takes on, off, transmit or purge";
  CHSecsItem streams = listItem();
  if (word == "on")
    for (const uint32_t stream : {5U, 6U, 10U})
      streams.appendChild(listItem(numberItem(stream, format::kU1), listItem()));
  return ask(2, 43, std::move(streams));
}

std::string HostPrompt::text(const Line &line) {
  const auto &words = line.words;
  const auto tid =
      words.size() == 2 ? wholeText<uint8_t>(words[0].text) : std::optional<uint8_t>(uint8_t{0});
  if (words.empty() || words.size() > 2 || !tid)
    return "text takes a text, in double quotes when it has blanks; before it the number of a "
           "terminal";
  return ask(10, 3, listItem(numberItem(*tid, format::kBinary), textItem(words.back().text)));
}

std::string HostPrompt::time(const Line &line) {
  if (!line.words.empty())
    return ask(2, 31, textItem(line.words[0].text));
  if (std::string problem = ask(2, 17); !problem.empty())
    return problem;
  host_.say("time " + readableItem(host_.reply().root));
  return "";
}

std::string HostPrompt::send(const Line &line) {
  CHSecsMessage message;
  SmlError error;
  if (line.rest.empty())
    return "send takes a message in SML";
  if (!message.SetFromSml(line.rest, &error))
    return smlProblem(error);
  return host_.request(message);
}

std::string HostPrompt::wait(const Line &line) {
  const size_t count = line.words.size();
  const auto time = count != 0 ? wholeText<double>(line.words.back().text) : std::nullopt;
  if (time && !(*time >= 0 && *time < std::numeric_limits<int32_t>::max()))
    return "wait takes a time from 0 on";
  if (count == 1 && time)
    return host_.pause(*time);
  if (count == 0 || count > 2 || (count == 2 && !time))
    return "wait takes a message, seconds, or both";
  const std::string &name = line.words[0].text;
  return host_.await(name, time.value_or(kMessagePatience));
}

std::string HostPrompt::expect(const Line &line) {
  std::vector<Word> words;
  std::string text(line.rest);
  if (line.rest.starts_with('"')) {
    if (std::string problem = splitWords(line.rest, words); !problem.empty())
      return problem;
    text = words[0].text;
  }
  return host_.answer().find(text) != std::string::npos
             ? ""
             : "the last answer does not contain \"" + text + '"';
}

std::string HostPrompt::counters(const Line &) {
  host_.showCounters();
  return "";
}

std::string HostPrompt::help(const Line &) {
  for (const Row &row : table()) {
    std::string usage = std::string(row.name) + ' ' + std::string(row.arguments);
    usage.resize(std::max<size_t>(usage.size() + 2, 36), ' ');
    console_.plain("  " + usage + std::string(row.help));
  }
  return "";
}

std::string HostPrompt::quit(const Line &) {
  ended_ = true;
  return "";
}

} // namespace velto
