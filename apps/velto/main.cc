#include "apps/velto/command.h"

#include <iostream>

namespace {

int usage(std::ostream &out, int status) {
  out << "usage: velto COMMAND [ARGUMENTS]\n\n";
  for (const velto::Command &command : velto::commands())
    out << "  " << command.name << std::string(12 - command.name.size(), ' ') << command.summary
        << '\n';
  out << "\nvelto COMMAND --help tells more about a command.\n";
  return status;
}

} // namespace

int main(int argc, char **argv) {
  if (argc < 2)
    return usage(std::cerr, velto::kExitUsage);
  const std::string_view name = argv[1];
  if (name == "--help" || name == "-h" || name == "help")
    return usage(std::cout, velto::kExitDone);
  for (const velto::Command &command : velto::commands())
    if (command.name == name)
      return command.run({argv + 2, argv + argc});
  std::cerr << "velto: there is no command \"" << name << "\"\n\n";
  return usage(std::cerr, velto::kExitUsage);
}
