#include "apps/velto/equipment/settings_reload.h"

#include "base/text.h"
#include "gem/engine/engine.h"

#include <algorithm>
#include <cstdint>

namespace velto {

namespace {

enum class Counts : uint8_t { Now, NextStart };

struct SettingsKey {
  std::string_view section;
  std::string_view key;
  Counts counts = Counts::Now;
  int32_t least = 0;
  int32_t most = INT32_MAX; ///< kText: it is no number
};
constexpr int32_t kText = -1;
constexpr int32_t kPort = 0xFFFF;

constexpr SettingsKey kSettingsKeys[] = {
    {"HSMS", "PortNumber", Counts::NextStart, 0, kPort},
    {"HSMS", "LocalPortNumber", Counts::NextStart, 0, kPort},
    {"HSMS", "Protocol", Counts::NextStart},
    {"HSMS", "DiscardDuplicateBlock"},
    {"HSMS", "T5"},
    {"HSMS", "T6"},
    {"HSMS", "T7"},
    {"HSMS", "T8"},
    {"HSMS", "LinktestInterval"},
    {"HSMS", "KeepAliveIdle"},
    {"HSMS", "KeepAliveInterval"},
    {"HSMS", "KeepAliveCount"},
    {"HSMS", "SendTimeout"},
    {"SECSI", "Transport", Counts::NextStart},
    {"SECSI", "PortName", Counts::NextStart, 0, kText},
    {"SECSI", "PortNumber", Counts::NextStart, 0, kPort},
    {"SECSI", "BaudRate", Counts::NextStart, 1},
    {"SECSI", "Master", Counts::NextStart, 0, 2},
    {"SECSI", "T1", Counts::Now, 1},
    {"SECSI", "T2", Counts::Now, 1},
    {"SECSI", "T4"},
    {"SECSI", "Retry"},
    {"LogicalConnection", "ObjectModel", Counts::NextStart},
    {"LogicalConnection", "DeviceID", Counts::Now, 0, 0x7FFF},
    {"LogicalConnection", "T3"},
    {"Log", "Enable"},
    {"Log", "FileSize"},
    {"Log", "BakCount"},
};

// A number may have a remark behind it.
std::string_view firstWord(std::string_view text) {
  return text.substr(0, std::min(text.find_first_of(" \t;"), text.size()));
}

// What is wrong with a line; an empty text when nothing is. A heading changes the section.
std::string lineProblem(std::string_view line, std::string &section) {
  line = trim(line);
  if (line.empty() || line[0] == ';' || line[0] == '#')
    return "";
  if (line[0] == '[') {
    const size_t end = line.rfind(']');
    section = trim(line.substr(1, end - 1));
    return end != std::string_view::npos ? "" : "a section is [NAME]";
  }
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos)
    return "neither a section nor KEY=VALUE";
  const std::string_view name = trim(line.substr(0, equals));
  const auto *const key = std::ranges::find_if(kSettingsKeys, [&](const SettingsKey &entry) {
    return equalsIgnoreCase(entry.section, section) && equalsIgnoreCase(entry.key, name);
  });
  if (key == std::end(kSettingsKeys) || key->most == kText)
    return "";
  std::string_view value = trim(line.substr(equals + 1));
  if (value.size() >= 2 && (value[0] == '"' || value[0] == '\'') && value.back() == value[0])
    value = value.substr(1, value.size() - 2);
  if (wholeNumber(firstWord(value), key->least, key->most))
    return "";
  return std::string(name) + " must be a number from " + std::to_string(key->least) + " to " +
         std::to_string(key->most);
}

} // namespace

std::string settingsProblem(const std::string &path, std::string_view text) {
  std::string section;
  for (int number = 1; !text.empty(); ++number) {
    const size_t end = std::min(text.find('\n'), text.size());
    if (std::string problem = lineProblem(text.substr(0, end), section); !problem.empty())
      return path + ':' + std::to_string(number) + ": " + problem;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return "";
}

void applySettings(CVeltoGemCtrl &control, EventLoop &loop) {
  CVeltoGemCtrl fresh(loop); // reads the file as a start does
  fresh.SetIniFileName(control.IniFileName());
  fresh.engine().LoadIniFile();
  fresh.engine().logical().loadSettings();

  const CHGemEngine &from = fresh.engine();
  CHGemEngine &to = control.engine();
  const LinkSettings &read = from.physical().settings();
  LinkSettings &link = to.physical().settings();
  for (const auto time :
       {&LinkSettings::t6, &LinkSettings::t7, &LinkSettings::t8, &LinkSettings::linktestInterval})
    link.*time = read.*time;
  for (const auto number : {&SecsILine::t1, &SecsILine::t2, &SecsILine::t4, &SecsILine::retry})
    link.secsI.*number = read.secsI.*number;
  link.keepAlive = read.keepAlive;
  link.discardDuplicates = read.discardDuplicates;
  to.physical().t5 = from.physical().t5;
  to.logical().SetT3(from.logical().T3());
  to.logical().SetDeviceID(from.logical().DeviceID());
  to.logEnabled = from.logEnabled;
  to.logFileName = from.logFileName;
  to.logSize = from.logSize;
  to.logBackups = from.logBackups;
  to.changed();
}

std::vector<std::string> settingsLeft(const IniText &before, const IniText &now) {
  std::vector<std::string> left;
  for (const SettingsKey &key : kSettingsKeys)
    if (key.counts == Counts::NextStart &&
        before.text(key.section, key.key, "") != now.text(key.section, key.key, ""))
      left.push_back(std::string(key.section) + ' ' + std::string(key.key));
  return left;
}

} // namespace velto
