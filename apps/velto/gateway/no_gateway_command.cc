// Built where there is no toml++ or no nlohmann-json.

#include "apps/velto/gateway/gateway_command.h"
#include "apps/velto/gateway/gateway_options.h"

#include <iostream>

namespace velto {

int runGatewayCommand(const CommandArguments &arguments) {
  GatewayOptions options;
  if (const auto status = options.read(arguments))
    return *status;
  std::cerr << "velto: this program was built without toml++ and nlohmann-json, which the gateway "
               "needs (libtomlplusplus-dev, nlohmann-json3-dev)\n";
  return kExitFailed;
}

} // namespace velto
