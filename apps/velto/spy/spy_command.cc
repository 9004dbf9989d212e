#include "apps/velto/spy/spy_command.h"

#include "apps/velto/console/command_line.h"
#include "apps/velto/console/gem_console.h"
#include "apps/velto/console/loop_signals.h"
#include "apps/velto/console/queued_output.h"
#include "apps/velto/console/service.h"
#include "apps/velto/spy/spy.h"
#include "controls/link_address.h"
#include "gem/model_text/model_file.h"

#include <iostream>

namespace velto {

namespace {

constexpr const char *kAbout =
    "Stands between a host and an equipment, passes every byte on as it is, and shows what they "
    "say: each message as SML with its way, and how long each answer took. Each connection to "
    "LISTEN makes one to TARGET. Ctrl-C ends it.";

struct Options {
  LinkAddress listen;
  LinkAddress target;
  Spy::Settings spy;
  SpyConsole::Settings console;

  uint16_t port() const { return static_cast<uint16_t>(listen.port); }
};

class SpyTool {
public:
  explicit SpyTool(const Options &options) : options_(options) { console_.setJournal(journal_); }

  int run() {
    const std::string problem = spy_.listen(options_.port());
    if (!problem.empty()) {
      std::cerr << "velto: " << problem << '\n';
      output_.finish();
      return kExitFailed;
    }
    service_.ready("between " + options_.spy.targetHost + ':' +
                   std::to_string(options_.spy.targetPort) + " and who connects");
    loop_.run();
    service_.stopping();
    spy_.stop();
    console_.stopped(Spy::now());
    return output_.finish() ? kExitDone : kExitFailed;
  }

private:
  const Options &options_;
  EventLoop loop_;
  QueuedOutput output_{loop_, [this] { loop_.quit(); },
                       [this](uint64_t lines) { return console_.leftOut(Spy::now(), lines); }};
  Journal journal_{output_};
  Service service_{loop_};
  SpyConsole console_{options_.console, std::cout};
  LoopSignals signals_{loop_, kStopSignals, [this](int) { loop_.quit(); }};
  Spy spy_{loop_, console_, options_.spy};
};

int fail(const std::string &problem) {
  std::cerr << "velto: " << problem << '\n';
  return kExitFailed;
}

// Takes an address of one of the two ends.
CommandLine::Take takeEnd(LinkAddress &end, bool listens) {
  return [&end, listens](const std::string &word) -> std::string {
    const auto address = readLinkAddress(word);
    if (!address || address->listens != listens || address->isSerial())
      return listens ? word + " is no address to listen on: listen:[secsi:]PORT"
                     : word + " is no address of a target: HOST[:PORT] or secsi:HOST:PORT";
    end = *address;
    return "";
  };
}

CommandLine::Take takeFilter(MessageFilter &filter) {
  return [&filter](const std::string &list) -> std::string {
    const auto read = MessageFilter::read(list);
    if (!read)
      return list + " is no list of messages such as S6F11,S5";
    filter = *read;
    return "";
  };
}

// Seconds, kept as microseconds.
void declareTime(CommandLine &line, const std::string &name, uint64_t &micros,
                 const std::string &help) {
  line.option(
      name, "SECONDS",
      [&micros](const std::string &value) -> std::string {
        const auto seconds = wholeNumber(value, 1, kLongestTime);
        if (!seconds)
          return value + " is no whole number from 1 to " + std::to_string(kLongestTime);
        micros = static_cast<uint64_t>(*seconds) * 1'000'000;
        return "";
      },
      help);
}

} // namespace

int runSpyCommand(const CommandArguments &arguments) {
  Options options;
  Conversation::Settings &conversation = options.spy.conversation;
  std::string names;
  int32_t edition = 1;
  CommandLine line("spy", kAbout);
  line.argument("LISTEN", takeEnd(options.listen, true),
                "listen:PORT or, for SECS-I over TCP, listen:secsi:PORT; 0: any free port");
  line.argument("TARGET", takeEnd(options.target, false),
                "HOST[:PORT] (port 5001 if not given) or secsi:HOST:PORT");
  line.require("LISTEN");
  line.require("TARGET");
  line.text("--names", "FILE", names,
            "a model of the equipment (FILE.kel or FILE.model): names of its events, reports and "
            "variables, for what is printed");
  line.option("--filter", "LIST", takeFilter(options.console.filter),
              "shows these messages with their replies, and problems: S6F11,S5");
  declareTime(line, "--t3", conversation.t3,
              "a primary without a reply by then is a problem (default 45)");
  declareTime(line, "--t6", conversation.t6, "the same for control messages of HSMS (default 5)");
  line.number("--edition", "N", 0, 1, edition, kEditionHelp);
  line.text("--pcap", "FILE", options.spy.capture, kCaptureHelp);
  line.flag("--quiet", options.console.quiet, "prints problems alone");
  line.flag("--json", options.console.json, "prints a JSON object a line");
  if (const auto status = line.read(arguments))
    return *status;
  if (options.listen.protocol != options.target.protocol)
    return line.wrong("one address is of SECS-I, the other of HSMS");
  options.spy.targetHost = options.target.host;
  options.spy.targetPort = static_cast<uint16_t>(options.target.port);
  conversation.secsI = options.target.protocol == LinkProtocol::SecsITcp;
  conversation.edition = edition == 0 ? E5Edition::Early : E5Edition::Current;
  std::string problem;
  if (!names.empty() && !(options.console.names = readModel(systemFiles(), names, problem)))
    return fail(problem);
  return SpyTool(options).run();
}

} // namespace velto
