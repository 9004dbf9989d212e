#include "apps/velto/host/host_command.h"

#include "apps/velto/capture/capture_file.h"
#include "apps/velto/console/line_reader.h"
#include "apps/velto/console/loop_signals.h"
#include "apps/velto/console/queued_output.h"
#include "apps/velto/host/host_page.h"
#include "gem/model_text/model_file.h"
#include "platform/name_resolver.h"
#include "platform/tcp_socket.h"

#include <iostream>
#include <unistd.h>

namespace velto {

namespace {

constexpr const char *kAbout =
    "Connects to a GEM equipment, or lets it connect, and again whenever the link is lost, "
    "establishes communications, answers the equipment, and prints every message as SML. At the "
    "prompt: `status 101` asks for a value, `help` lists the commands, `quit` or Ctrl-C ends.";

struct Options {
  GemHost::Settings settings;
  std::string script;
  std::string capture;
  std::optional<GemData> names;
  bool json = false;
  WebOptions web;
};

class HostTool {
public:
  explicit HostTool(Options &options)
      : partner_(options.settings.partner), script_(options.script), capture_(options.capture),
        json_(options.json), web_(options.web), host_(loop_, console_, options.settings) {
    console_.setJournal(journal_);
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
    if (!isThere()) {
      std::cerr << "velto: there is no host " << partner_.host << '\n';
      return kExitFailed;
    }
    if (host_.stopped())
      return kExitDone;
    if (const std::string problem = host_.capture(capture_); !problem.empty()) {
      std::cerr << "velto: " << problem << '\n';
      return kExitFailed;
    }
    if (web_.port && !serve())
      return kExitFailed;
    host_.open();
    host_.announce(service_);
    const int status = source ? runScript(*source) : runPrompt();
    service_.stopping();
    host_.close();
    host_.endCounters();
    return status;
  }

  bool serve() {
    WebServer &server = page_.emplace(loop_, host_, commands_).server();
    host_.onMessage = [this](bool received) { page_->message(received); };
    console_.setObserver(
        [this](std::string_view name, const std::string &text) { page_->gem().event(name, text); });
    if (const std::string problem = server.start(web_); !problem.empty()) {
      std::cerr << "velto: " << problem << '\n';
      return false;
    }
    console_.event("page", "page at " + server.address(), {{"address", server.address()}});
    return true;
  }

  std::string runLine(std::string_view line) {
    return page_ ? page_->run(line) : commands_.run(line);
  }

  // Whether the name of the partner is known. A name server may be silent for long; meanwhile the
  // program can be ended.
  bool isThere() {
    if (partner_.listens || partner_.isSerial() || !statedAddress(partner_.host).empty())
      return true;
    std::optional<std::string> address;
    const auto ticket = loop_.names().lookUp(
        partner_.host, [&address](const std::string &found) { address = found; });
    while (!address && !host_.stopped())
      loop_.runOnce(-1);
    return host_.stopped() || !address->empty();
  }

  int runScript(std::string_view source) {
    for (int line = 1; !source.empty() && !host_.stopped() && !commands_.ended(); ++line) {
      const size_t end = std::min(source.find('\n'), source.size());
      const std::string problem = runLine(source.substr(0, end));
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
      const auto line = input.next([this] { return host_.stopped() || commands_.ended(); });
      console_.promptUsed();
      if (!line)
        break;
      const std::string problem = runLine(*line);
      if (!problem.empty() && !host_.stopped())
        console_.plain("failed: " + problem);
    }
    // Who has the page needs no keyboard.
    while (web_.port && !host_.stopped() && !commands_.ended())
      loop_.runOnce(-1);
    if (terminal)
      std::cout << '\n';
    return kExitDone;
  }

  const LinkAddress &partner_;
  const std::string &script_;
  const std::string &capture_;
  const bool json_;
  const WebOptions &web_;
  EventLoop loop_;
  QueuedOutput output_{loop_, [this] { host_.stop(); },
                       [this](uint64_t lines) { return console_.leftOut(lines); }};
  Journal journal_{output_};
  GemConsole console_{loop_.clock(), std::cout,
                      json_ ? GemConsole::Style::Json : GemConsole::Style::Text};
  Service service_{loop_};
  GemHost host_;
  HostPrompt commands_{host_, console_};
  std::optional<HostPage> page_;
  LoopSignals signals_{loop_, kStopSignals, [this](int) { host_.stop(); }};
};

int fail(const std::string &problem) {
  std::cerr << "velto: " << problem << '\n';
  return kExitFailed;
}

void declare(CommandLine &line, Options &options, std::string &names) {
  GemHost::Settings &settings = options.settings;
  line.argument(
      "ADDRESS",
      [&settings](const std::string &word) {
        std::optional<LinkAddress> partner;
        std::string problem = takeLinkAddress(word, partner);
        settings.partner = partner.value_or(LinkAddress());
        return problem;
      },
      "where the equipment is");
  line.require("ADDRESS");
  line.text("--script", "FILE", options.script,
            "runs the commands of a file, one a line, and ends. The first that fails (refused by "
            "the equipment, no answer in time) stops it with status 1");
  line.text("--names", "FILE", names,
            "a model of the equipment (FILE.kel or FILE.model): names of its events, reports and "
            "variables, for what is printed");
  line.number("--device", "N", 0, 0x7FFF, settings.device,
              "device ID of the equipment, 0 to 32767 (default 0)");
  line.number("--edition", "N", 0, 1, settings.edition, kEditionHelp);
  line.number("--t3", "SECONDS", 1, kLongestTime, settings.t3,
              "how long an answer may take (default 45)");
  line.number("--t5", "SECONDS", 1, kLongestTime, settings.t5,
              "time between attempts to connect (default 10)");
  line.number("--linktest", "SECONDS", 0, kLongestTime, settings.linktest,
              "silence after which the link is tested (default 30); 0: never");
  line.text("--pcap", "FILE", options.capture, kCaptureHelp);
  line.flag("--json", options.json, "prints a JSON object a line");
  declareWebOptions(line, options.web);
  line.footer(kAddressHelp);
}

} // namespace

int runHostCommand(const CommandArguments &arguments) {
  Options options;
  std::string names;
  CommandLine line("host", kAbout);
  declare(line, options, names);
  if (const auto status = line.read(arguments))
    return *status;
  if (const std::string problem = webOptionsProblem(options.web); !problem.empty())
    return line.wrong(problem);
  const LinkAddress &partner = options.settings.partner;
  std::string problem = partner.listens ? listenProblem(partner.port) : "";
  if (!problem.empty())
    return fail(problem);
  if (!names.empty() && !(options.names = readModel(systemFiles(), names, problem)))
    return fail(problem);
  return HostTool(options).run();
}

} // namespace velto
