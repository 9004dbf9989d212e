#include "apps/velto/container/container_command.h"

#include "apps/velto/container/container.h"
#include "apps/velto/screen/full_screen_front_end.h"
#include "controls/registry.h"

#include <iostream>
#include <unistd.h>

namespace velto {

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

} // namespace velto
