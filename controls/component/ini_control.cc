#include "controls/component/ini_control.h"

#include "platform/ini_file.h"

namespace velto {

namespace {

constexpr int64_t kMaxText = 128; // which the INI file gives back

} // namespace

void IniControl::SetIniFileName(const std::string &name) {
  iniFileName_ = name;
  setModified();
}

void IniControl::SetIniSection(const std::string &section) {
  iniSection_ = section;
  setModified();
}

// Flags and numbers stand in the file as decimal numbers; one that its property cannot hold is
// ignored.
bool IniControl::LoadIniFile() {
  if (!hasIniNames())
    return false;
  const IniFile file(iniFileName_, site().files);
  for (const auto keys : {iniKeys(), rareIniKeys()})
    for (const char *key : keys)
      loadKey(file, key);
  return true;
}

void IniControl::loadKey(const IniFile &file, const char *key) {
  const Variant fallback = missingSetting(key);
  if (fallback.isText())
    setSetting(key, file.text(iniSection_, key, fallback.toString()));
  else if (file.has(iniSection_, key))
    setSetting(key, file.integer(iniSection_, key, 0));
  else
    setSetting(key, fallback);
}

bool IniControl::saveIniFile() {
  if (!hasIniNames())
    return false;
  IniFile file(iniFileName_, site().files);
  for (const char *key : iniKeys())
    storeKey(file, key);
  for (const char *key : rareIniKeys())
    if (file.has(iniSection_, key) || !isDefault(key))
      storeKey(file, key);
  return file.save();
}

void IniControl::storeKey(IniFile &file, const char *key) {
  const Variant value = setting(key);
  file.setText(iniSection_, key,
               value.isText() ? value.toString() : value.as(ValueType::Int32)->text());
}

bool IniControl::isDefault(const char *key) {
  const Member *member = members().find(key);
  return member != nullptr && member->persisted && setting(key).text() == member->persisted->text();
}

bool IniControl::Setup(const std::string &caption) {
  PropertySheet sheet = makeSheet(caption);
  if (!showSheet(sheet))
    return false;
  applySheet(sheet);
  return saveIniFile();
}

std::string IniControl::sheetTitle(const std::string &caption) const {
  if (!caption.empty())
    return caption;
  const std::string &name = members().controlName;
  return iniSection_.empty() ? name + " Setup" : name + " - " + iniSection_;
}

PropertySheet IniControl::makeSheet(const std::string &caption) {
  PropertySheet sheet;
  sheet.title = sheetTitle(caption);
  for (const Page &page : pages()) {
    PropertyPage &shown = sheet.pages.emplace_back();
    shown.title = page.title;
    for (const PageField &field : page.fields)
      addField(shown, field, setting(field.setting), kMaxText);
  }
  return sheet;
}

void IniControl::applySheet(PropertySheet &sheet) {
  for (const Page &page : pages()) {
    for (const PageField &field : page.fields) {
      if (field.scale != 1)
        setSetting(field.setting, sheet.integer(field.setting) * field.scale);
      else
        setSetting(field.setting, sheet.value(field.setting));
    }
  }
}

} // namespace velto
