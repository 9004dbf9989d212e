#include "apps/velto/console/visible_output.h"
#include "apps/velto/container/container_command.h"
#include "apps/velto/demo/demo_command.h"
#include "apps/velto/describe/describe_command.h"
#include "apps/velto/equipment/equipment_command.h"
#include "apps/velto/fleet/fleet_command.h"
#include "apps/velto/gateway/gateway_command.h"
#include "apps/velto/host/host_command.h"
#include "apps/velto/model/model_command.h"
#include "apps/velto/setup/setup_command.h"
#include "apps/velto/sml/sml_command.h"
#include "apps/velto/spy/spy_command.h"
#include "apps/velto/trace/trace_command.h"

#include <algorithm>
#include <fcntl.h>
#include <iostream>
#include <optional>
#include <unistd.h>

namespace velto {

namespace {

/// All commands, in the order of the help text.
constexpr Command kCommands[] = {
    {"demo", "an etch tool and its host talk to each other", runDemoCommand},
    {"container", "host controls and run commands from files or the keyboard", runContainerCommand},
    {"equipment", "a GEM equipment that answers a host and plays scripts", runEquipmentCommand},
    {"fleet", "many GEM equipments of one model in one process", runFleetCommand},
    {"gateway", "from many tools to the plant's message bus", runGatewayCommand},
    {"host", "a GEM host at the keyboard or from a script", runHostCommand},
    {"spy", "stand between a host and an equipment and show what they say", runSpyCommand},
    {"trace", "the same for what a capture file holds", runTraceCommand},
    {"setup", "edit an equipment's settings and model in its setup sheet", runSetupCommand},
    {"sml", "SML to hexadecimal and back, normalised SML, verification", runSmlCommand},
    {"model", "equipment models: readable text to a data file and back", runModelCommand},
    {"describe", "the members of the controls, the table of messages", runDescribeCommand},
};

// Opens /dev/null as standard input, output or error where the caller has closed it. Otherwise the
// next file or socket would get its number, and whatever is printed would end up there.
void openStandardStreams() {
  int fd = 0;
  while (fd >= 0 && fd <= STDERR_FILENO)
    fd = open("/dev/null", O_RDWR);
  close(fd);
}

int runProgram(const std::vector<std::string> &arguments) {
  openStandardStreams();
  // What is written to a file or to another program stays as it is, so that it can be read back.
  std::optional<VisibleOutput> out;
  if (isatty(STDOUT_FILENO) != 0)
    out.emplace(std::cout);
  const VisibleOutput err(std::cerr);
  const int status = runCommand("velto", kCommands, arguments, "velto " VELTO_VERSION);
  if (!std::cout.flush()) {
    std::cerr << "velto: standard output cannot be written\n";
    return kExitFailed;
  }
  return status;
}

} // namespace

} // namespace velto

int main(int argc, char **argv) {
  return velto::runProgram({argv + std::min(argc, 1), argv + argc});
}
