#pragma once

#include "base/ini_text.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace velto {

/// Numbers, flags and texts of an object that an INI file keeps: each a key, its section and its
/// default.
class SettingList {
public:
  /// The settings that follow stand in this section.
  void section(const char *name) { section_ = name; }
  void integer(const char *key, int32_t &value, int32_t fallback) { add(key, &value, fallback); }
  /// A number that a file states only where it differs from its default, or stands there already.
  void rareInteger(const char *key, int32_t &value, int32_t fallback) {
    add(key, &value, fallback);
    settings_.back().rare = true;
  }
  /// Stands in the file as 0 or 1; any other number reads as true.
  void flag(const char *key, bool &value, bool fallback) { add(key, &value, fallback ? 1 : 0); }
  void rareFlag(const char *key, bool &value, bool fallback) {
    flag(key, value, fallback);
    settings_.back().rare = true;
  }
  /// Texts hold at most 255 characters.
  void text(const char *key, std::string &value, const char *fallback) {
    add(key, &value, fallback);
  }
  void rareText(const char *key, std::string &value, const char *fallback) {
    text(key, value, fallback);
    settings_.back().rare = true;
  }

  /// Reads every setting; a missing key gives its default.
  void load(const IniText &ini) const;
  void store(IniText &ini) const;

private:
  using Value = std::variant<int32_t *, bool *, std::string *>;
  using Fallback = std::variant<int32_t, const char *>;
  struct Setting {
    const char *section;
    const char *key;
    Value value;
    Fallback fallback;
    bool rare = false;
  };

  static bool hasFallback(const Value &value, const Fallback &fallback);
  void add(const char *key, Value value, Fallback fallback) {
    settings_.push_back({section_, key, value, fallback});
  }

  const char *section_ = "";
  std::vector<Setting> settings_;
};

} // namespace velto
