#include "apps/velto/spy/spy_command.h"

#include "apps/velto/console/command_line.h"
#include "apps/velto/console/loop_signals.h"
#include "apps/velto/console/queued_output.h"
#include "apps/velto/console/service.h"
#include "apps/velto/spy/spy.h"
#include "apps/velto/spy/spy_options.h"
#include "apps/velto/spy/spy_page.h"
#include "controls/link_address.h"

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
  SpyOptions shown;
  WebOptions web;

  uint16_t port() const { return static_cast<uint16_t>(listen.port); }
};

class SpyTool {
public:
  explicit SpyTool(const Options &options) : options_(options) { console_.setJournal(journal_); }

  int run() {
    if (options_.web.port && !serve())
      return kExitFailed;
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
  bool serve() {
    WebServer &server =
        page_
            .emplace(loop_, options_.spy.targetHost + ':' + std::to_string(options_.spy.targetPort))
            .server();
    if (const std::string problem = server.start(options_.web); !problem.empty()) {
      std::cerr << "velto: " << problem << '\n';
      return false;
    }
    console_.setPage(*page_);
    console_.pageAt(Spy::now(), server.address());
    return true;
  }

  const Options &options_;
  EventLoop loop_;
  QueuedOutput output_{loop_, [this] { loop_.quit(); },
                       [this](uint64_t lines) { return console_.leftOut(Spy::now(), lines); }};
  Journal journal_{output_};
  Service service_{loop_};
  SpyConsole console_{options_.shown.console, std::cout};
  LoopSignals signals_{loop_, kStopSignals, [this](int) { loop_.quit(); }};
  std::optional<SpyPage> page_;
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

} // namespace

int runSpyCommand(const CommandArguments &arguments) {
  Options options;
  CommandLine line("spy", kAbout);
  line.argument("LISTEN", takeEnd(options.listen, true),
                "listen:PORT or, for SECS-I over TCP, listen:secsi:PORT; 0: any free port");
  line.argument("TARGET", takeEnd(options.target, false),
                "HOST[:PORT] (port 5001 if not given) or secsi:HOST:PORT");
  line.require("LISTEN");
  line.require("TARGET");
  line.text("--pcap", "FILE", options.spy.capture, kCaptureHelp);
  options.shown.declare(line);
  declareWebOptions(line, options.web);
  if (const auto status = line.read(arguments))
    return *status;
  if (const std::string problem = webOptionsProblem(options.web); !problem.empty())
    return line.wrong(problem);
  if (options.listen.protocol != options.target.protocol)
    return line.wrong("one address is of SECS-I, the other of HSMS");
  if (const std::string problem = options.shown.finish(); !problem.empty())
    return fail(problem);
  options.spy.targetHost = options.target.host;
  options.spy.targetPort = static_cast<uint16_t>(options.target.port);
  options.spy.conversation = options.shown.conversation;
  options.spy.conversation.secsI = options.target.protocol == LinkProtocol::SecsITcp;
  return SpyTool(options).run();
}

} // namespace velto
