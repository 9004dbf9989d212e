#include "apps/velto/container/container_command.h"

#include "apps/velto/console/queued_output.h"
#include "apps/velto/console/visible_output.h"
#include "apps/velto/container/container.h"
#include "apps/velto/container/container_page.h"
#include "apps/velto/screen/full_screen_front_end.h"
#include "controls/registry.h"

#include <iostream>
#include <limits>
#include <optional>
#include <unistd.h>

namespace velto {

namespace {

struct Options {
  std::vector<std::string> files;
  WebOptions web;
};

int runContainer(EventLoop &loop, Container *&running, const Options &options) {
  std::optional<VisibleOutput> visible;
  if (isatty(STDOUT_FILENO) != 0)
    visible.emplace(std::cout);
  FullScreenFrontEnd screen(loop, [&running] { return running->ended(); });
  FedOutput fedOut(loop.clock(), std::cout, "event");
  FedOutput fedErr(loop.clock(), std::cerr, "problem");
  std::ostream out(&fedOut);
  std::ostream err(&fedErr);
  err.setf(std::ios_base::unitbuf);
  Container container(loop, systemFiles(), out, err, createControl);
  running = &container;
  ContainerPage page(loop, container.interpreter());
  if (options.web.port) {
    if (const std::string problem = page.server().start(options.web); !problem.empty()) {
      std::cerr << "velto: " << problem << '\n';
      return kExitFailed;
    }
    std::cerr << "page at " << page.server().address() << '\n';
    fedOut.feed(page.server().feed());
    fedErr.feed(page.server().feed());
  }
  const std::vector<std::string> &files = options.files;
  if (files.empty() && Terminal::usable())
    container.setOperator(screen);
  return files.empty() ? container.runInteractive(STDIN_FILENO) : container.runFiles(files);
}

} // namespace

int runContainerCommand(const CommandArguments &arguments) {
  Options options;
  CommandLine line(
      "container",
      "Hosts controls and runs the commands of the files, or of standard input without "
      "files; at a terminal setup sheets are shown on the whole screen then.");
  line.arguments("FILE", options.files, "commands, one a line");
  declareWebOptions(line, options.web);
  line.footer("docs/container.md describes the commands.");
  if (const auto status = line.read(arguments))
    return *status;
  if (const std::string problem = webOptionsProblem(options.web); !problem.empty())
    return line.wrong(problem);
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
  const int status = runContainer(loop, running, options);
  return output.finish() ? status : kExitFailed;
}

} // namespace velto
