// Built where there is no toml++ or no nlohmann-json.

#include "apps/velto/gateway/gateway_command.h"

#include <iostream>

namespace velto {

int runGatewayCommand(const CommandArguments &) {
  std::cerr << "velto: this program was built without toml++ and nlohmann-json, which the gateway "
               "needs (libtomlplusplus-dev, nlohmann-json3-dev)\n";
  return kExitFailed;
}

} // namespace velto
