#pragma once

#include <cstdint>
#include <string>

namespace velto {

/// The log properties that the transport controls share.
struct LogSettings {
  bool log = false;
  bool verbose = false; ///< adds hexadecimal dumps
  std::string fileName = "./Velto";
  int32_t size = 1024; ///< KiB
  int16_t backupCount = 1;
};

} // namespace velto
