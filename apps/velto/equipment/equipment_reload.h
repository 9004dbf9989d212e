#pragma once

#include "apps/velto/console/gem_console.h"
#include "base/ini_text.h"
#include "gem/model_text/model_update.h"

#include <optional>
#include <string>

namespace velto {

/// Reads the settings and the model of an equipment at work again. A file that is wrong leaves
/// everything as it was.
class EquipmentReload {
public:
  /// `needsIni`: a settings file that is not there is a problem. `modelText`: what the model data
  /// file was imported from; empty when it was not. To be made when that has been done.
  EquipmentReload(EventLoop &loop, CVeltoGemCtrl &control, GemConsole &console, bool needsIni,
                  const std::string &modelText);

  /// Prints what it did, or the file and line that are wrong. True when something was read.
  bool run();

private:
  std::string read();
  void tell(bool complete);

  EventLoop &loop_;
  CVeltoGemCtrl &control_;
  GemConsole &console_;
  const bool needsIni_;
  IniText settings_; ///< as they were read last
  IniText next_;
  std::optional<ModelUpdate> model_;
};

} // namespace velto
