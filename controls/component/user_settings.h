#pragma once

#include "platform/file.h"

namespace velto {

/// The user's wish to see error boxes: "ShowMessageBox" in section "VeltoActiveX" of
/// VeltoActiveX.ini in $XDG_CONFIG_HOME (or ~/.config); false when there is none.
bool showMessageBoxSetting(FileSystem &files);

} // namespace velto
