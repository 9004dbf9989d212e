#pragma once

#include "base/ini_text.h"
#include "controls/gem_ctrl.h"

#include <string>
#include <string_view>
#include <vector>

namespace velto {

// The settings file of an equipment that is read again while the link stands.

/// Which line of such a file is wrong, and why: "Velto.ini:7: T3 must be a number from 0 to
/// 2147483647". Empty when none is.
std::string settingsProblem(const std::string &path, std::string_view text);
/// Puts times, device ID and log of the file in force, from the next message or wait on. What is
/// not there has its default, as at a start.
void applySettings(CVeltoGemCtrl &control, EventLoop &loop);
/// The settings that differ and count from the next start on: "HSMS PortNumber".
std::vector<std::string> settingsLeft(const IniText &before, const IniText &now);

} // namespace velto
