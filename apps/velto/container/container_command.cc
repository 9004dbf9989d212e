#include "apps/velto/container/container_command.h"

#include "apps/velto/console/queued_output.h"
#include "apps/velto/console/visible_output.h"
#include "apps/velto/container/container.h"
#include "apps/velto/screen/full_screen_front_end.h"
#include "controls/registry.h"

#include <iostream>
#include <limits>
#include <optional>
#include <unistd.h>

namespace velto {

namespace {

int runContainer(EventLoop &loop, Container *&running, const std::vector<std::string> &files) {
  std::optional<VisibleOutput> visible;
  if (isatty(STDOUT_FILENO) != 0)
    visible.emplace(std::cout);
  FullScreenFrontEnd screen(loop, [&running] { return running->ended(); });
  Container container(loop, systemFiles(), std::cout, std::cerr, createControl);
  running = &container;
  if (files.empty() && Terminal::usable())
    container.setOperator(screen);
  return files.empty() ? container.runInteractive(STDIN_FILENO) : container.runFiles(files);
}

} // namespace

int runContainerCommand(const CommandArguments &arguments) {
  std::vector<std::string> files;
  CommandLine line(
      "container",
      "Hosts controls and runs the commands of the files, or of standard input without "
      "files; at a terminal setup sheets are shown on the whole screen then.");
  line.arguments("FILE", files, "commands, one a line");
  line.footer("docs/container.md describes the commands.");
  if (const auto status = line.read(arguments))
    return *status;
  EventLoop loop;
  Container *running = nullptr;
  // At the end no link is left that a slow reader could hold up: it may take its time.
  QueuedOutput::Settings settings;
  settings.patience = std::numeric_limits<int32_t>::max();
  QueuedOutput output(
      loop, [&running] { running->quit(); },
      [](uint64_t lines) {
        return "velto: " + std::to_string(lines) + " lines of output were left out\n";
      },
      settings);
  const int status = runContainer(loop, running, files);
  return output.finish() ? status : kExitFailed;
}

} // namespace velto
