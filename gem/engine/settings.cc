#include "gem/engine/settings.h"

namespace velto {

namespace {

constexpr size_t kTextLimit = 255;

} // namespace

void SettingList::integer(const char *key, int32_t &value, int32_t fallback) {
  settings_.push_back({section_, key, &value, nullptr, nullptr, fallback, nullptr});
}

void SettingList::flag(const char *key, bool &value, bool fallback) {
  settings_.push_back({section_, key, nullptr, nullptr, &value, fallback ? 1 : 0, nullptr});
}

void SettingList::text(const char *key, std::string &value, const char *fallback) {
  settings_.push_back({section_, key, nullptr, &value, nullptr, 0, fallback});
}

void SettingList::load(const IniFile &file) const {
  for (const Setting &setting : settings_) {
    if (setting.text != nullptr)
      *setting.text = file.text(setting.section, setting.key, setting.textFallback, kTextLimit);
    else if (setting.flag != nullptr)
      *setting.flag = file.integer(setting.section, setting.key, setting.integerFallback) != 0;
    else
      *setting.integer = file.integer(setting.section, setting.key, setting.integerFallback);
  }
}

void SettingList::store(IniFile &file) const {
  for (const Setting &setting : settings_) {
    if (setting.text != nullptr)
      file.setText(setting.section, setting.key, *setting.text);
    else
      file.setInteger(setting.section, setting.key,
                      setting.flag != nullptr ? int{*setting.flag} : *setting.integer);
  }
}

} // namespace velto
