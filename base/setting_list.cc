#include "base/setting_list.h"

namespace velto {

namespace {

constexpr size_t kTextLimit = 255;

} // namespace

bool SettingList::hasFallback(const Value &value, const Fallback &fallback) {
  if (const auto *const text = std::get_if<std::string *>(&value))
    return **text == std::get<const char *>(fallback);
  if (const auto *const flag = std::get_if<bool *>(&value))
    return **flag == (std::get<int32_t>(fallback) != 0);
  return *std::get<int32_t *>(value) == std::get<int32_t>(fallback);
}

void SettingList::load(const IniText &ini) const {
  for (const auto &[section, key, value, fallback, rare] : settings_) {
    if (auto *const text = std::get_if<std::string *>(&value))
      **text = ini.text(section, key, std::get<const char *>(fallback), kTextLimit);
    else if (auto *const flag = std::get_if<bool *>(&value))
      **flag = ini.flag(section, key, std::get<int32_t>(fallback) != 0);
    else
      *std::get<int32_t *>(value) = ini.integer(section, key, std::get<int32_t>(fallback));
  }
}

void SettingList::store(IniText &ini) const {
  for (const auto &[section, key, value, fallback, rare] : settings_) {
    if (rare && !ini.has(section, key) && hasFallback(value, fallback))
      continue;
    if (auto *const text = std::get_if<std::string *>(&value))
      ini.setText(section, key, **text);
    else if (auto *const flag = std::get_if<bool *>(&value))
      ini.setInteger(section, key, **flag ? 1 : 0);
    else
      ini.setInteger(section, key, *std::get<int32_t *>(value));
  }
}

} // namespace velto
