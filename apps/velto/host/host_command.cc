#include "apps/velto/host/host_command.h"

#include "apps/velto/console/line_reader.h"
#include "apps/velto/console/loop_signals.h"
#include "apps/velto/console/queued_output.h"
#include "apps/velto/host/host_prompt.h"
#include "gem/model_text/model_file.h"
#include "platform/tcp_socket.h"

#include <algorithm>
#include <iostream>
#include <unistd.h>

namespace velto {

namespace {

constexpr const char *kUsage =
    "usage: velto host ADDRESS [--script FILE] [--names FILE] [--device N]\n"
    "                  [--edition N] [--t3 SECONDS] [--t5 SECONDS] [--linktest SECONDS] "
    "[--json]\n\n"
    "Connects to a GEM equipment, or lets it connect, and again whenever the link is lost,\n"
    "establishes communications, answers the equipment, and prints every message as SML. At the\n"
    "prompt: `status 101` asks for a value, `help` lists the commands, `quit` or Ctrl-C ends.\n\n"
    "  ADDRESS        where the equipment is:\n";
constexpr const char *kOptions =
    "  --script FILE   runs the commands of a file, one a line, and ends. The first that fails\n"
    "                  (refused by the equipment, no answer in time) stops it with status 1\n"
    "  --names FILE    a model of the equipment (FILE.kel or FILE.model): names of its events,\n"
    "                  reports and variables, for what is printed\n"
    "  --device N      device ID of the equipment, 0 to 32767 (default 0)\n"
    "  --edition N     of SEMI E5: 1 the current one (default), 0 the early one, in which names\n"
    "                  of model and software have 6 characters at most\n"
    "  --t3 SECONDS    how long an answer may take (default 45)\n"
    "  --t5 SECONDS    time between attempts to connect (default 10)\n"
    "  --linktest SECONDS  silence after which the link is tested (default 30); 0: never\n"
    "  --json          prints a JSON object a line\n\n"
    "docs/tools.md tells more and has examples.\n";

struct Options {
  GemHost::Settings settings;
  std::string script;
  std::optional<GemData> names;
  bool json = false;
};

class HostTool {
public:
  explicit HostTool(Options &options)
      : script_(options.script), json_(options.json), host_(loop_, console_, options.settings) {
    if (options.names)
      host_.setKnown(std::move(*options.names));
  }

  int run() {
    const int status = work();
    return output_.finish() ? status : kExitFailed;
  }

private:
  int work() {
    std::optional<std::string> source;
    if (!script_.empty() && !(source = systemFiles().read(script_))) {
      std::cerr << "velto: " << script_ << ": cannot be read\n";
      return kExitFailed;
    }
    host_.open();
    const int status = source ? runScript(*source) : runPrompt();
    host_.close();
    host_.endCounters();
    return status;
  }

  int runScript(std::string_view source) {
    for (int line = 1; !source.empty() && !host_.stopped() && !commands_.ended(); ++line) {
      const size_t end = std::min(source.find('\n'), source.size());
      const std::string problem = commands_.run(source.substr(0, end));
      source.remove_prefix(std::min(end + 1, source.size()));
      if (problem.empty() || host_.stopped())
        continue;
      std::cerr << "velto: " << script_ << ':' << line << ": " << problem << '\n';
      return kExitFailed;
    }
    return kExitDone;
  }

  // At the prompt a command that fails is reported, and the next one is read.
  int runPrompt() {
    LineReader input(loop_, STDIN_FILENO);
    const bool terminal = !json_ && isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
    while (!host_.stopped() && !commands_.ended()) {
      if (terminal)
        console_.showPrompt("> ");
      const auto line = input.next([this] { return host_.stopped(); });
      console_.promptUsed();
      if (!line)
        break;
      const std::string problem = commands_.run(*line);
      if (!problem.empty() && !host_.stopped())
        console_.plain("failed: " + problem);
    }
    if (terminal)
      std::cout << '\n';
    return kExitDone;
  }

  const std::string &script_;
  const bool json_;
  EventLoop loop_;
  QueuedOutput output_{loop_, [this] { host_.stop(); },
                       [this](uint64_t lines) { return console_.leftOut(lines); }};
  GemConsole console_{loop_.clock(), std::cout,
                      json_ ? GemConsole::Style::Json : GemConsole::Style::Text};
  GemHost host_;
  HostPrompt commands_{host_, console_};
  LoopSignals signals_{loop_, kStopSignals, [this](int) { host_.stop(); }};
};

// Reads a number that may be left out; it keeps its value then. False when the text is wrong.
bool readNumber(const std::string &text, int32_t low, int32_t high, int32_t &number) {
  if (text.empty())
    return true;
  const auto read = wholeNumber(text, low, high);
  number = read.value_or(number);
  return read.has_value();
}

int usage(const std::string &problem) {
  std::cerr << "velto: " << problem << "\n\n" << kUsage << kAddressHelp << kOptions;
  return kExitUsage;
}

int fail(const std::string &problem) {
  std::cerr << "velto: " << problem << '\n';
  return kExitFailed;
}

// The numbers among the options, as they were given; empty: not at all.
struct Numbers {
  std::string device;
  std::string edition;
  std::string t3;
  std::string t5;
  std::string linktest;
};

// What is wrong with them, or nothing.
std::string readNumbers(const Numbers &given, GemHost::Settings &settings) {
  if (!readNumber(given.device, 0, 0x7FFF, settings.device))
    return "--device takes a number from 0 to 32767";
  int32_t edition = settings.edition;
  if (!readNumber(given.edition, 0, 1, edition))
    return "--edition takes 0 or 1";
  settings.edition = static_cast<int16_t>(edition);
  if (!readNumber(given.t3, 1, kLongestTime, settings.t3) ||
      !readNumber(given.t5, 1, kLongestTime, settings.t5))
    return "--t3 and --t5 take seconds, from 1 on";
  return readNumber(given.linktest, 0, kLongestTime, settings.linktest)
             ? ""
             : "--linktest takes seconds, or 0";
}

} // namespace

int runHostCommand(const CommandArguments &arguments) {
  if (std::ranges::find(arguments, "--help") != arguments.end()) {
    std::cout << kUsage << kAddressHelp << kOptions;
    return kExitDone;
  }
  Options options;
  std::string names;
  Numbers numbers;
  const Option table[] = {
      {.name = "--script", .value = &options.script},
      {.name = "--names", .value = &names},
      {.name = "--device", .value = &numbers.device},
      {.name = "--edition", .value = &numbers.edition},
      {.name = "--t3", .value = &numbers.t3},
      {.name = "--t5", .value = &numbers.t5},
      {.name = "--linktest", .value = &numbers.linktest},
      {.name = "--json", .given = &options.json},
  };
  std::vector<std::string> addresses;
  if (const std::string problem = readOptions(arguments, table, addresses); !problem.empty())
    return usage(problem);
  if (addresses.size() != 1)
    return usage("the address of one equipment is needed");
  GemHost::Settings &settings = options.settings;
  const auto partner = readLinkAddress(addresses[0]);
  if (!partner)
    return usage(addresses[0] + " is no address: " + LinkAddress::kForms);
  settings.partner = *partner;
  if (const std::string problem = readNumbers(numbers, settings); !problem.empty())
    return usage(problem);
  const bool connects = !partner->listens && !partner->isSerial();
  if (connects && resolveHost(partner->host).empty())
    return fail("there is no host " + partner->host);
  std::string problem = partner->listens ? listenProblem(partner->port) : "";
  if (!problem.empty())
    return fail(problem);
  if (!names.empty() && !(options.names = readModel(systemFiles(), names, problem)))
    return fail(problem);
  return HostTool(options).run();
}

} // namespace velto
