#include "apps/velto/gateway/gateway_command.h"

#include "apps/gateway/gateway.h"
#include "apps/velto/console/literal.h"
#include "apps/velto/console/loop_signals.h"
#include "apps/velto/console/queued_output.h"
#include "apps/velto/gateway/gateway_options.h"

#include <iostream>
#include <utility>

namespace velto {

namespace {

class GatewayProgram {
public:
  GatewayProgram(std::string path, gateway::Config config)
      : path_(std::move(path)), gateway_(loop_, std::move(config),
                                         {.told = [this](const std::string &text) { tell(text); },
                                          .failed =
                                              [this](const std::string &reason) {
                                                tell(reason);
                                                status_ = kExitFailed;
                                                stopped_ = true;
                                              }}) {}

  int run() {
    for (const std::string &problem : gateway_.open()) {
      tell(problem);
      status_ = kExitFailed;
      stopped_ = true;
    }
    if (!stopped_)
      tell(std::to_string(gateway_.tools()) + " tools");
    while (!stopped_) {
      loop_.runOnce(-1);
      if (std::exchange(hungUp_, false))
        reload();
    }
    gateway_.close();
    return output_.finish() ? status_ : kExitFailed;
  }

private:
  // What people should know goes to standard error: the other one may be the sink.
  static void tell(const std::string &text) {
    std::cerr << "velto gateway: " << oneLine(text) << '\n' << std::flush;
  }

  // A reload may turn the loop while a link is closed: another one waits until it has ended.
  void signalled(int signal) { (signal == SIGHUP ? hungUp_ : stopped_) = true; }

  void reload() {
    std::vector<std::string> problems;
    const auto config = gateway::readConfig(path_, problems);
    for (const std::string &problem : problems)
      tell(problem);
    if (config)
      gateway_.reload(*config);
    else
      tell("the configuration stays as it was");
  }

  const std::string path_;
  bool stopped_ = false;
  bool hungUp_ = false;
  int status_ = kExitDone;
  EventLoop loop_;
  QueuedOutput output_{loop_, [this] { stopped_ = true; },
                       [](uint64_t lines) { return std::to_string(lines) + " lines left out\n"; }};
  gateway::Gateway gateway_;
  LoopSignals signals_{loop_, kStopSignals, [this](int signal) { signalled(signal); }};
};

} // namespace

int runGatewayCommand(const CommandArguments &arguments) {
  GatewayOptions options;
  if (const auto status = options.read(arguments))
    return *status;
  const auto &[file, check] = options;
  std::vector<std::string> problems;
  auto config = gateway::readConfig(file, problems);
  for (const std::string &wrong : problems)
    std::cerr << "velto: " << wrong << '\n';
  if (!config)
    return kExitFailed;
  if (check) {
    std::cout << file << ": " << config->tools.size() << " tools\n";
    return kExitDone;
  }
  return GatewayProgram(file, std::move(*config)).run();
}

} // namespace velto
