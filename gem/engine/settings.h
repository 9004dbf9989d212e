#pragma once

#include "platform/ini_file.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velto {

/// Numbers and texts of an object that an INI file keeps: each a key, its section and its default.
class SettingList {
public:
  /// The settings that follow stand in this section.
  void section(const char *name) { section_ = name; }
  void integer(const char *key, int32_t &value, int32_t fallback);
  /// Stored as 0 or 1; any other number reads as true.
  void flag(const char *key, bool &value, bool fallback);
  /// Texts hold at most 255 characters.
  void text(const char *key, std::string &value, const char *fallback);

  /// Reads every setting; a missing key gives its default.
  void load(const IniFile &file) const;
  void store(IniFile &file) const;

private:
  struct Setting {
    const char *section;
    const char *key;
    int32_t *integer;
    std::string *text;
    bool *flag;
    int32_t integerFallback;
    const char *textFallback;
  };

  const char *section_ = "";
  std::vector<Setting> settings_;
};

} // namespace velto
