#include "apps/velto/command.h"

#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace {

int usage(std::ostream &out, int status) {
  out << "usage: velto COMMAND [ARGUMENTS]\n\n";
  for (const velto::Command &command : velto::commands())
    out << "  " << command.name << std::string(12 - command.name.size(), ' ') << command.summary
        << '\n';
  out << "\nvelto COMMAND --help tells more about a command.\n";
  return status;
}

// Descriptors 0 to 2 are taken for the standard streams, whatever is opened under their numbers.
void openStandardStreams() {
  int fd = 0;
  while (fd >= 0 && fd <= STDERR_FILENO)
    fd = open("/dev/null", O_RDWR);
  close(fd);
}

int run(std::string_view name, const velto::CommandArguments &arguments) {
  for (const velto::Command &command : velto::commands())
    if (command.name == name)
      return command.run(arguments);
  std::cerr << "velto: there is no command \"" << name << "\"\n\n";
  return usage(std::cerr, velto::kExitUsage);
}

} // namespace

int main(int argc, char **argv) {
  openStandardStreams();
  if (argc < 2)
    return usage(std::cerr, velto::kExitUsage);
  const std::string_view name = argv[1];
  if (name == "--help" || name == "-h" || name == "help")
    return usage(std::cout, velto::kExitDone);
  const int status = run(name, {argv + 2, argv + argc});
  if (!std::cout.flush()) {
    std::cerr << "velto: standard output cannot be written\n";
    return velto::kExitFailed;
  }
  return status;
}
