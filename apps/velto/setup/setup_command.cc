#include "apps/velto/setup/setup_command.h"

#include "apps/velto/screen/full_screen_front_end.h"
#include "apps/velto/script/parser.h"
#include "base/quoted_text.h"
#include "base/text.h"
#include "controls/gem_ctrl.h"
#include "controls/pages/gem_setup.h"
#include "gem/model_text/model_file.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace velto {

namespace {

constexpr const char *kAbout =
    "Shows the setup sheet of an equipment on the whole screen, and writes what was changed. A "
    "script can do what the operator does. Not to be used on the files of an equipment that is "
    "running.";

struct Options {
  std::string ini;
  std::string data;
  int32_t pages = 0; ///< option bits
  std::string script;
};

int fail(const std::string &problem) {
  std::cerr << "velto: " << problem << '\n';
  return kExitFailed;
}

std::string pageTitles() {
  std::string titles;
  for (const GemSetup::PageInfo &page : GemSetup::allPages())
    titles += (titles.empty() ? "" : ", ") + std::string(page.title);
  return titles;
}

// The option bits of the pages that a list names; an empty list stands for all pages. Nothing when
// there is no such page; `name` is then the name that is wrong.
std::optional<int32_t> pageBits(std::string_view list, std::string &name) {
  int32_t bits = 0;
  for (bool more = true; more;) {
    const size_t comma = list.find(',');
    more = comma != std::string_view::npos;
    name = trim(list.substr(0, comma));
    list.remove_prefix(more ? comma + 1 : list.size());
    int32_t found = 0;
    for (const GemSetup::PageInfo &page : GemSetup::allPages())
      if (name.empty() || equalsIgnoreCase(name, page.title))
        found |= page.bit;
    if (found == 0)
      return std::nullopt;
    bits |= found;
  }
  return bits;
}

/// A script: its steps, and the line of each step for error messages.
class SetupScript {
public:
  explicit SetupScript(std::string name) : name_(std::move(name)) {}

  /// False when a line is wrong, which is reported.
  bool read(std::string_view text) {
    for (int line = 1; !text.empty(); ++line) {
      const size_t end = std::min(text.find('\n'), text.size());
      const std::string problem = readLine(text.substr(0, end), line);
      if (!problem.empty())
        return report(line, problem);
      text.remove_prefix(std::min(end + 1, text.size()));
    }
    return true;
  }

  SheetAnswer answer() {
    return {
        steps_, [this](const std::string &reason, size_t step) {
          failed_ = true;
          report(step < lines_.size() ? lines_[step] : lines_.empty() ? 1 : lines_.back(), reason);
        }};
  }
  /// Whether the script ended the sheet with cancel, on purpose.
  bool cancelled() const {
    return !failed_ && !steps_.empty() && steps_.back().kind == AnswerStep::Kind::Cancel;
  }

private:
  std::string readLine(std::string_view text, int line) {
    script::ParsedSteps parsed = script::parseSteps(trim(text));
    for (const script::AnswerStepText &step : parsed.steps) {
      if (hasEnded(step.kind))
        return "nothing follows ok or cancel, but again may follow ok";
      AnswerStep &taken = steps_.emplace_back();
      lines_.push_back(line);
      taken.kind = step.kind;
      taken.cancel = step.cancel;
      if (step.name && !literal(*step.name, taken.name))
        return kNoVariables;
      for (const auto &[field, value] : step.fields)
        if (!literal(value, taken.fields.emplace_back(field, "").second))
          return kNoVariables;
    }
    return parsed.error;
  }

  // Whether the sheet is closed before this step. After ok it is, except that again may follow an
  // ok that was refused.
  bool hasEnded(AnswerStep::Kind next) const {
    using enum AnswerStep::Kind;
    return !steps_.empty() &&
           (steps_.back().kind == Cancel || (steps_.back().kind == Ok && next != Again));
  }

  static bool literal(const script::Operand &value, std::string &text) {
    const auto *written = std::get_if<Variant>(&value.form);
    if (written != nullptr)
      text = written->text();
    return written != nullptr;
  }

  bool report(int line, const std::string &reason) const {
    std::cerr << "error: " << name_ << ':' << line << ": " << reason << '\n';
    return false;
  }

  static constexpr const char *kNoVariables = "there are no variables here";

  std::string name_;
  std::vector<AnswerStep> steps_;
  std::vector<int> lines_;
  bool failed_ = false;
};

// Loads the settings and the model into the control. A file that exists but cannot be read must not
// be overwritten later: that is the problem returned.
std::string load(CVeltoGemCtrl &control, const Options &options) {
  if (!options.ini.empty())
    control.SetIniFileName(options.ini);
  if (!options.data.empty())
    control.SetDataFileName(options.data);
  std::error_code ignored;
  const std::string ini = control.IniFileName();
  const std::string data = control.DataFileName();
  if (std::filesystem::exists(ini, ignored) && !systemFiles().read(ini))
    return ini + ": cannot be read";
  if (isModelText(data))
    return data + ": is text; make a model data file of it with velto model import";
  std::string problem;
  if (std::filesystem::exists(data, ignored) && !readModelData(systemFiles(), data, problem))
    return problem;
  control.LoadData();
  return "";
}

// Loads the equipment from its files and calls Setup. Returns what Setup returns; nothing when the
// files cannot be loaded, which is reported.
std::optional<bool> runSetup(EventLoop &loop, FrontEnd &frontEnd, const Options &options) {
  CVeltoGemCtrl control(ControlSite(loop, frontEnd));
  std::string problem = load(control, options);
  if (problem.empty() && control.LogicalConnection() == 0 &&
      (options.pages & GemSetup::kLinkPages) == 0)
    problem = control.IniFileName() + " switches the object model off: there is no such page";
  if (problem.empty())
    return control.Setup("", options.pages);
  fail(problem);
  return std::nullopt;
}

// The screen has a loop of its own. The loop of the control does not run, so that the equipment
// opens no link while its settings are edited.
int runOnScreen(const Options &options) {
  EventLoop loop;
  EventLoop screenLoop;
  FullScreenFrontEnd frontEnd(screenLoop);
  const auto written = runSetup(loop, frontEnd, options);
  const bool cancelled = !frontEnd.sheetAccepted() && !frontEnd.hasQuit();
  return written && (*written || cancelled) ? kExitDone : kExitFailed;
}

int runScript(const Options &options) {
  const bool fromFile = !options.script.empty();
  if (!fromFile && isatty(STDIN_FILENO) != 0)
    return fail(std::string("the sheet needs ") + Terminal::needed() +
                "; or its steps from --script FILE, or from standard input that is no terminal");
  const auto text = fromFile ? systemFiles().read(options.script) : readStandardInput();
  if (!text)
    return fail((fromFile ? options.script : "standard input") + ": cannot be read");
  SetupScript script(fromFile ? options.script : "-");
  if (!script.read(*text))
    return kExitFailed;
  EventLoop loop;
  TextFrontEnd frontEnd(std::cout, std::cerr);
  frontEnd.queueAnswer(script.answer());
  const auto written = runSetup(loop, frontEnd, options);
  return written && (*written || script.cancelled()) ? kExitDone : kExitFailed;
}

} // namespace

int runSetupCommand(const CommandArguments &arguments) {
  Options options;
  std::string unknown;
  options.pages = *pageBits("", unknown);
  CommandLine line("setup", kAbout);
  line.text("--data", "FILE", options.data,
            "model data file (default ./VeltoGem.kel); made when it is not there");
  line.option(
      "--page", "NAME,…",
      [&options, &unknown](const std::string &list) {
        const auto pages = pageBits(list, unknown);
        options.pages = pages.value_or(0);
        return pages ? "" : "there is no page " + quotedText(unknown);
      },
      "these pages alone");
  line.text("--script", "FILE", options.script,
            "what the operator does, a step or several a line; standard input when that is no "
            "terminal");
  line.argument("INI", options.ini,
                "settings file (default ./Velto.ini); made when it is not there");
  line.footer("Pages: " + pageTitles() +
              "\n\ndocs/setup.md describes the pages, the keys and the script.");
  if (const auto status = line.read(arguments))
    return *status;
  const bool onScreen = options.script.empty() && Terminal::usable();
  return onScreen ? runOnScreen(options) : runScript(options);
}

} // namespace velto
