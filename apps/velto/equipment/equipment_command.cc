#include "apps/velto/equipment/equipment_command.h"

#include "apps/velto/capture/capture_file.h"
#include "apps/velto/console/gem_console.h"
#include "apps/velto/console/gem_link.h"
#include "apps/velto/console/literal.h"
#include "apps/velto/console/loop_signals.h"
#include "apps/velto/console/queued_output.h"
#include "apps/velto/console/service.h"
#include "apps/velto/equipment/equipment_page.h"
#include "apps/velto/equipment/equipment_reload.h"
#include "apps/velto/equipment/watch_view.h"
#include "apps/velto/script/interpreter.h"
#include "base/text.h"
#include "controls/registry.h"
#include "gem/capabilities/remote_control.h"
#include "gem/model_text/model_file.h"
#include "gem/model_text/model_text.h"
#include "platform/ini_file.h"

#include <filesystem>
#include <iostream>
#include <streambuf>

namespace velto {

namespace {

constexpr const char *kAbout =
    "Runs a GEM equipment: it listens for a host, answers every message, and prints what happens "
    "until Ctrl-C, SIGTERM, SIGHUP or the end of whoever reads its output ends it. Then it "
    "separates "
    "from the host and saves its model. As a service of systemd it reads its settings and model "
    "again on SIGHUP.";

constexpr const char *kBareModel = R"([communication]
model_name="Velto" software_revision="1.00" initial_state=enabled
[control]
initial_state=remote
[variables]
vid=1 kind=SV type=U1 role=ControlState default=4 description="Control state"
vid=2 kind=SV type=A role=Clock description="Date and time"
)";

struct Options {
  std::string ini;
  std::optional<LinkAddress> address;
  std::string data;
  std::string keep;
  std::optional<int32_t> port;
  std::string script;
  int16_t edition = 1;
  std::optional<int32_t> linktest; ///< seconds
  std::string capture;
  bool quiet = false;
  bool json = false;
  bool watch = false;
  WebOptions web;
};

/// Receives what a script prints and passes it to the console line by line.
class ScriptOutput final : public std::streambuf {
public:
  explicit ScriptOutput(GemConsole &console) : console_(console) {}

private:
  int_type overflow(int_type c) override {
    if (c == '\n') {
      console_.plain(line_);
      line_.clear();
    } else if (c != traits_type::eof()) {
      line_ += traits_type::to_char_type(c);
    }
    return traits_type::not_eof(c);
  }

  GemConsole &console_;
  std::string line_;
};

class Equipment {
public:
  explicit Equipment(const Options &options)
      : options_(options), console_(loop_.clock(), options.watch ? recentStream_ : std::cout,
                                    options.json    ? GemConsole::Style::Json
                                    : options.quiet ? GemConsole::Style::Quiet
                                                    : GemConsole::Style::Text) {
    console_.setJournal(journal_);
    console_.follow(control_);
    control_.onReceived = [this](const std::string &, int32_t) {
      console_.received(control_);
      if (page_)
        page_->gem().received();
    };
    control_.onSent = [this] {
      console_.sent(control_);
      if (page_)
        page_->gem().sent();
    };
    control_.SetStatistics(true);
    script_.adopt("eq", control_);
    script_.setHandlerFailed([this](const Member &event) {
      if (event.name == "RemoteCommand")
        control_.SetHCACK(CHGemRemoteControl::Rejected);
    });
    control_.SetAutoReply(true); // behind what the script does
  }

  int run() {
    const int status = work();
    return output_.finish() ? status : kExitFailed;
  }

private:
  int work() {
    if (!load() || !serve() || !open())
      return kExitFailed;
    if (options_.watch)
      watch_.emplace(loop_, control_, recent_, [this] { script_.quit(); });
    service_.ready(control_);
    reload_.emplace(loop_, control_, console_, !options_.ini.empty(),
                    isModelText(options_.data) ? options_.data : "");
    if (!options_.script.empty())
      script_.runFile(options_.script);
    while (!script_.ended())
      loop_.runOnce(-1);
    service_.stopping();
    watch_.reset();
    console_.counters(control_); // as long as there are connections
    separate(control_, loop_);
    const bool saved = control_.SaveData();
    const std::string problem = "the model cannot be saved to " + control_.DataFileName() +
                                " and " + control_.IniFileName();
    if (!saved && options_.watch)
      fail(problem);
    else if (!saved)
      console_.problem(problem);
    console_.event("stopped", "stopped");
    return saved && !script_.failed() ? kExitDone : kExitFailed;
  }

  bool fail(const std::string &problem) {
    if (!journal_.failure(problem))
      std::cerr << "velto: " << problem << '\n';
    return false;
  }

  bool load() {
    if (!options_.ini.empty()) {
      if (!systemFiles().read(options_.ini))
        return fail(options_.ini + ": cannot be read");
      control_.SetIniFileName(options_.ini);
    }
    std::string problem;
    const auto file = dataFile(problem);
    if (!file || !readModelData(systemFiles(), *file, problem))
      return fail(problem);
    control_.SetDataFileName(*file);
    if (!control_.LoadData())
      return fail(options_.ini + ": the equipment model is switched off there (ObjectModel=0)");
    const GemData &data = control_.engine().gem()->data();
    console_.event("model",
                   "model " + data.communication.modelName + ": " +
                       std::to_string(data.variables.Count()) + " variables, " +
                       std::to_string(data.events.Count()) + " events, " +
                       std::to_string(data.alarms.Count()) + " alarms",
                   {{"name", data.communication.modelName}, {"file", *file}});
    if (data.communication.initialState == 0)
      console_.problem("the model keeps communications disabled until a script enables them");
    return true;
  }

  // The model data file of the equipment, made from the text if necessary. Nothing when that fails.
  std::optional<std::string> dataFile(std::string &problem) {
    std::error_code ignored;
    if (options_.data.empty()) {
      const std::string file = control_.DataFileName();
      ModelTextError error;
      const auto bare = modelFromText(kBareModel, error);
      const bool there = std::filesystem::exists(file, ignored);
      return there || (bare && writeModelData(systemFiles(), file, *bare, problem))
                 ? std::optional(file)
                 : std::nullopt;
    }
    if (!isModelText(options_.data))
      return options_.data;
    const std::string file =
        options_.keep.empty()
            ? std::filesystem::path(options_.data).replace_extension(".kel").string()
            : options_.keep;
    const ModelImport done = importModelText(systemFiles(), options_.data, file, problem);
    if (done == ModelImport::Failed)
      return std::nullopt;
    if (done == ModelImport::Mended)
      console_.problem(lostCompanion(file));
    if (done == ModelImport::Again)
      console_.event("imported",
                     "imported " + options_.data + " into " + file +
                         " again, as it has changed: what a host had set there is gone",
                     {{"text", options_.data}, {"file", file}});
    return file;
  }

  // The program is always an equipment, and listens unless it was given an address, whatever the
  // settings file says. It tries the port before the engine does, because only so it can say why
  // listening fails.
  bool open() {
    control_.engine().logical().SetHost(false);
    control_.SetEdition(options_.edition);
    control_.SetCapabilities(kAllCapabilities);
    setLinktest();
    const LinkAddress address = options_.address.value_or(fromSettings());
    if (address.listens)
      if (const std::string problem = listenProblem(address.port); !problem.empty())
        return fail(problem);
    address.apply(control_);
    if (address.isSerial() && !options_.capture.empty())
      return fail("--pcap goes with TCP");
    const std::string problem =
        captureLink(control_.engine().physical().settings(), options_.capture,
                    [this](const std::string &text) { console_.problem(text); });
    if (!problem.empty())
      return fail(problem);
    return openLink(control_, loop_, console_, address) ||
           fail("cannot listen on port " + std::to_string(address.port));
  }

  bool serve() {
    if (!options_.web.port)
      return true;
    WebServer &server = page_.emplace(loop_, control_).server();
    console_.setObserver(
        [this](std::string_view name, const std::string &text) { page_->gem().event(name, text); });
    if (const std::string problem = server.start(options_.web); !problem.empty())
      return fail(problem);
    console_.event("page", "page at " + server.address(), {{"address", server.address()}});
    return true;
  }

  void signalled(int signal) {
    if (signal != SIGHUP || !isService_)
      return script_.quit();
    if (reload_) // while it starts, it reads them anyway
      service_.reload([this] {
        if (reload_->run())
          setLinktest();
      });
  }

  LinkAddress fromSettings() {
    LinkAddress address;
    address.protocol = static_cast<LinkProtocol>(control_.Transport());
    address.device = control_.SerialPort();
    address.rate = control_.BaudRate();
    address.listens = !address.isSerial();
    address.port = control_.MyPortNumber() != 0 ? control_.MyPortNumber() : control_.PortNumber();
    if (!options_.port)
      return address;
    address.port = *options_.port;
    if (!address.listens)
      address = {.listens = true, .host = {}, .port = address.port, .device = {}};
    return address;
  }

  // What is no time in the settings file would count as 0, and no link be tested.
  void setLinktest() {
    const IniFile file(control_.IniFileName(), systemFiles());
    const std::string stated = file.text("HSMS", "LinktestInterval", "");
    const bool isTime = wholeNumber(stated, 0, INT32_MAX).has_value();
    if (options_.linktest)
      control_.SetLinktestInterval(*options_.linktest);
    else if (!isTime)
      control_.SetLinktestInterval(kLinktestInterval);
    if (!isTime && file.has("HSMS", "LinktestInterval"))
      console_.problem(control_.IniFileName() +
                       ": LinktestInterval is no number of milliseconds: " + quotedText(stated));
  }

  const Options &options_;
  EventLoop loop_;
  QueuedOutput output_{loop_, [this] { script_.quit(); },
                       [this](uint64_t lines) { return console_.leftOut(lines); }};
  Journal journal_{output_};
  Service service_{loop_};
  CVeltoGemCtrl control_{loop_};
  RecentLines recent_;
  std::ostream recentStream_{&recent_};
  GemConsole console_;
  std::optional<EquipmentPage> page_;
  ScriptOutput scriptOutput_{console_};
  std::ostream scriptStream_{&scriptOutput_};
  script::Interpreter script_{loop_, systemFiles(), scriptStream_, std::cerr, createControl};
  std::optional<WatchView> watch_;
  std::optional<EquipmentReload> reload_;
  const bool isService_ = isService();
  LoopSignals signals_{loop_, kStopSignals, [this](int signal) { signalled(signal); }};
};

void declareWords(CommandLine &line, Options &options) {
  line.argument(
      "INI", [&options](const std::string &word) { return options.ini = word, std::string(); },
      "settings file: device ID, port, times, log (default ./Velto.ini)",
      [](std::string_view word) { return !isLinkAddress(word); });
  line.argument(
      "ADDRESS",
      [&options](const std::string &word) { return takeLinkAddress(word, options.address); },
      "how the host is reached, with the word in front; without one, or by --port, the equipment "
      "listens as the settings say",
      isLinkAddress);
}

void declareOptions(CommandLine &line, Options &options) {
  line.text("--data", "FILE", options.data,
            "the equipment: variables, reports, events, alarms. A model data file FILE.kel, or a "
            "text FILE.model which people write (default ./VeltoGem.kel, or a bare equipment when "
            "that is not there)");
  line.text("--keep", "FILE.kel", options.keep,
            "where the equipment of a text is kept (default: beside the text). It is made again "
            "when the text has changed");
  line.number("--port", "N", 0, 0xFFFF, options.port,
              "listens on this port; 0: any free one, which is printed");
  line.text("--script", "FILE", options.script,
            "commands of the container, in which the equipment is there as eq: value changes, "
            "events and alarms. `quit` ends the equipment");
  line.number("--edition", "N", 0, 1, options.edition, kEditionHelp);
  line.number("--linktest", "SECONDS", 0, kLongestTime, options.linktest,
              "silence after which the link is tested; 0: never (default: as the settings file "
              "says, or 30)");
  line.text("--pcap", "FILE", options.capture, kCaptureHelp);
  line.flag("--quiet", options.quiet, "prints problems alone");
  line.flag("--json", options.json, "prints a JSON object a line");
  line.flag("--watch", options.watch,
            "shows states, alarms, variables and messages on the whole screen of a terminal; q "
            "ends the equipment");
  declareWebOptions(line, options.web);
}

} // namespace

int runEquipmentCommand(const CommandArguments &arguments) {
  Options options;
  CommandLine line("equipment", kAbout);
  declareWords(line, options);
  declareOptions(line, options);
  line.exclude({"--quiet", "--json", "--watch"});
  line.exclude({"ADDRESS", "--port"});
  line.need("--keep", "--data");
  line.footer(std::string(kAddressHelp) + "\ndocs/container.md lists the commands of the script.");
  if (const auto status = line.read(arguments))
    return *status;
  if (!options.keep.empty() && !isModelText(options.data))
    return line.wrong("--keep goes with --data FILE.model");
  if (const std::string problem = webOptionsProblem(options.web); !problem.empty())
    return line.wrong(problem);
  if (options.watch && !Terminal::usable()) {
    std::cerr << "velto: --watch needs " << Terminal::needed() << '\n';
    return kExitFailed;
  }
  return Equipment(options).run();
}

} // namespace velto
