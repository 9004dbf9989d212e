#pragma once

#include "controls/component/control.h"
#include "controls/component/page_field.h"

#include <span>

namespace velto {

class IniFile;

/// A control with settings that an INI file keeps and a property sheet edits. What the settings
/// are is data: names of properties (or of values that only the sheet and the file know).
class IniControl : public Control {
public:
  struct Page {
    const char *title;
    std::vector<PageField> fields;
  };

  IniControl(const ControlSite &site, std::string section)
      : Control(site), iniSection_(std::move(section)) {}

  std::string IniFileName() const { return iniFileName_; }
  void SetIniFileName(const std::string &name);
  std::string IniSection() const { return iniSection_; }
  void SetIniSection(const std::string &section);

  /// Reads the settings from `IniSection` of `IniFileName`, missing ones staying as they are; false
  /// when either name is empty.
  bool LoadIniFile();
  /// Shows the property sheet, titled `caption` if that is given. When the operator accepts, stores
  /// the values and writes the INI file; true when both happened.
  bool Setup(const std::string &caption);

protected:
  virtual std::span<const char *const> iniKeys() const = 0;
  /// Properties that an INI file states only where they differ from their default.
  virtual std::span<const char *const> rareIniKeys() const { return {}; }
  virtual std::span<const Page> pages() const = 0;

  /// A setting by name: the property, unless the class knows better.
  virtual Variant setting(const char *name) { return get(name).value; }
  virtual void setSetting(const char *name, const Variant &value) { set(name, value); }
  /// The value of a setting whose key the INI file lacks.
  virtual Variant missingSetting(const char *name) { return setting(name); }

private:
  std::string sheetTitle(const std::string &caption) const;
  PropertySheet makeSheet(const std::string &caption);
  void applySheet(PropertySheet &sheet);
  bool saveIniFile();
  void loadKey(const IniFile &file, const char *key);
  void storeKey(IniFile &file, const char *key);
  bool isDefault(const char *key);
  bool hasIniNames() const { return !iniFileName_.empty() && !iniSection_.empty(); }

  std::string iniFileName_ = "./Velto.ini";
  std::string iniSection_;
};

} // namespace velto
