#include "controls/component/user_settings.h"

#include "platform/ini_file.h"

#include <cstdlib>

namespace velto {

namespace {

std::string configFolder() {
  if (const char *folder = std::getenv("XDG_CONFIG_HOME"); folder != nullptr && *folder != '\0')
    return folder;
  const char *home = std::getenv("HOME");
  return home == nullptr ? "" : std::string(home) + "/.config";
}

} // namespace

bool showMessageBoxSetting(FileSystem &files) {
  const std::string folder = configFolder();
  return !folder.empty() &&
         IniFile(folder + "/VeltoActiveX.ini", files).flag("VeltoActiveX", "ShowMessageBox", false);
}

} // namespace velto
