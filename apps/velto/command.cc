#include "apps/velto/command.h"

#include "apps/velto/container/container.h"
#include "apps/velto/describe.h"
#include "apps/velto/describe_messages.h"
#include "apps/velto/screen/full_screen_front_end.h"
#include "base/text.h"
#include "controls/registry.h"

#include <array>
#include <iostream>
#include <unistd.h>

namespace velto {

namespace {

constexpr std::array kCommands{
    Command{"demo", "two HSMS ends talk to each other over the loopback", runDemoCommand},
    Command{"container", "host controls and run commands from files or the keyboard",
            runContainerCommand},
    Command{"equipment", "a GEM equipment that answers a host and plays scripts",
            runEquipmentCommand},
    Command{"host", "a GEM host at the keyboard or from a script", runHostCommand},
    Command{"setup", "edit an equipment's settings and model in its setup sheet", runSetupCommand},
    Command{"sml", "SML to hexadecimal and back, normalised SML, verification", runSmlCommand},
    Command{"model", "equipment models: readable text to a data file and back", runModelCommand},
    Command{"describe", "the members of the controls, the table of messages", runDescribeCommand},
};

bool asksForHelp(const CommandArguments &arguments) {
  return !arguments.empty() && (arguments[0] == "--help" || arguments[0] == "-h");
}

const MemberTable *findTable(std::string_view name) {
  for (const MemberTable *table : controlTables())
    if (equalsIgnoreCase(table->controlName, name))
      return table;
  return nullptr;
}

} // namespace

std::span<const Command> commands() { return kCommands; }

int runContainerCommand(const CommandArguments &arguments) {
  if (asksForHelp(arguments)) {
    std::cout
        << "usage: velto container [FILE…]\n\n"
           "Runs the commands of the files, or of standard input without files; at a terminal\n"
           "setup sheets are shown on the whole screen then. See docs/container.md for the\n"
           "commands.\n";
    return kExitDone;
  }
  EventLoop loop;
  Container *running = nullptr;
  FullScreenFrontEnd screen(loop, [&running] { return running->ended(); });
  Container container(loop, systemFiles(), std::cout, std::cerr, createControl);
  running = &container;
  if (arguments.empty() && Terminal::usable())
    container.setOperator(screen);
  return arguments.empty() ? container.runInteractive(STDIN_FILENO) : container.runFiles(arguments);
}

int runDescribeCommand(const CommandArguments &arguments) {
  if (arguments.empty() || asksForHelp(arguments)) {
    std::cout << "usage: velto describe CONTROL…\n"
                 "       velto describe --markdown    the reference of all controls\n"
                 "       velto describe messages      the table of SECS-II messages\n\n"
                 "Controls:";
    for (const MemberTable *table : controlTables())
      std::cout << ' ' << table->controlName;
    std::cout << '\n';
    return arguments.empty() ? kExitUsage : kExitDone;
  }
  if (arguments[0] == "--markdown") {
    std::cout << "# Controls\n";
    for (const MemberTable *table : controlTables())
      std::cout << '\n' << describeMarkdown(*table);
    return kExitDone;
  }
  if (arguments[0] == "messages") {
    std::cout << describeMessages();
    return kExitDone;
  }
  for (const std::string &name : arguments) {
    const MemberTable *table = findTable(name);
    if (table == nullptr) {
      std::cerr << "velto: there is no control \"" << name << "\"\n";
      return kExitFailed;
    }
    std::cout << describe(*table);
  }
  return kExitDone;
}

} // namespace velto
