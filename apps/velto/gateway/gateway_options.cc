#include "apps/velto/gateway/gateway_options.h"

namespace velto {

namespace {

constexpr const char *kAbout =
    "Connects to the tools of a configuration as their GEM host, has them report events, alarms "
    "and traces, and publishes those as JSON: as lines on standard output, in files, or on an MQTT "
    "broker, from which it takes requests too. SIGHUP reads the configuration again, and touches "
    "only the tools whose part has changed. Ctrl-C or SIGTERM ends it.";

} // namespace

std::optional<int> GatewayOptions::read(const CommandArguments &arguments) {
  CommandLine line("gateway", kAbout);
  line.argument("CONFIG.toml", file, "the configuration");
  line.require("CONFIG.toml");
  line.flag("--check", check, "says what is wrong with the configuration, and ends");
  line.footer("docs/gateway.md explains the configuration; examples/gateway.toml is one.");
  return line.read(arguments);
}

} // namespace velto
