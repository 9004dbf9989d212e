#include "apps/velto/console/command_line.h"

#include "apps/velto/console/glyph.h"
#include "base/quoted_text.h"
#include "base/text.h"

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <iostream>
#include <set>

namespace velto {

namespace {

constexpr int kHelpColumns = 80;
constexpr int kNameColumns = 24; // of options and arguments, in front of what they mean
constexpr const char *kNoValue = ": needs a value";

std::string wrappedText(const std::string &text, int columns) {
  std::string out;
  for (const std::string_view line : wrapped(text, columns))
    out += (out.empty() ? "" : "\n") + std::string(line);
  return out;
}

// "--hex, --verify", in an order that does not depend on where the options lie.
std::string namesOf(const std::set<CLI::Option *> &options) {
  std::set<std::string> names;
  for (const CLI::Option *option : options)
    names.insert(option->get_name());
  return CLI::detail::join(names, ", ");
}

/// The usage stands first, as people expect it, and relations of options behind what they do.
class HelpText final : public CLI::Formatter {
public:
  HelpText() {
    column_width(kNameColumns);
    label("Usage", "usage");
    label("SUBCOMMAND", "COMMAND");
    label("Positionals", "Arguments");
  }

  std::string make_help(const CLI::App *app, std::string name,
                        CLI::AppFormatMode mode) const override {
    const std::string about = wrappedText(make_description(app), kHelpColumns);
    const std::string footer = wrappedText(make_footer(app), kHelpColumns);
    return make_usage(app, std::move(name)) + (about.empty() ? "" : '\n' + about + '\n') +
           make_positionals(app) + make_groups(app, mode) + make_subcommands(app, mode) +
           (footer.empty() ? "" : '\n' + footer + '\n');
  }
  std::string make_option_opts(const CLI::Option *option) const override {
    const std::string value = option->get_type_name();
    return option->get_positional() || value.empty() ? "" : ' ' + value;
  }
  std::string make_option_desc(const CLI::Option *option) const override {
    std::string text = option->get_description();
    if (!option->get_needs().empty())
      text += " (with " + namesOf(option->get_needs()) + ')';
    if (!option->get_excludes().empty())
      text += " (not with " + namesOf(option->get_excludes()) + ')';
    return wrappedText(text, kHelpColumns - kNameColumns);
  }
};

// CLI11 takes an argument in brackets for a list. A zero byte, which no argument has, hides them.
std::string hidden(const std::string &argument) {
  return argument.starts_with('[') ? argument + '\0' : argument;
}
std::string shown(std::string argument) {
  if (argument.ends_with('\0'))
    argument.pop_back();
  return argument;
}

// An unknown option, or an argument behind the last that is wanted.
std::string extraProblem(const CLI::App &app) {
  const std::string extra = shown(app.remaining().front());
  return (extra.starts_with('-') ? "there is no option " : "there is one argument too many: ") +
         quotedText(extra);
}

// CLI11 says "--NAME: 1 required VALUE missing", or that NAME "was given" what a flag does not
// take.
std::string mismatchProblem(const std::string &told) {
  const std::string name = told.substr(0, told.find_first_of(": "));
  return name.starts_with('-') ? name + kNoValue : "--" + name + ": takes no value";
}

int reportWrong(const std::string &program, const std::string &problem) {
  std::cerr << "velto: " << problem << '\n' << program << " --help tells more.\n";
  return kExitUsage;
}

void prepare(CLI::App &app) {
  app.formatter(std::make_shared<HelpText>());
  app.set_help_flag();
  app.add_flag_callback(
         "-h,--help", [] { throw CLI::CallForHelp(); }, "print this help and exit")
      ->trigger_on_parse();
}

// Reads a command line. Returns the exit status when there is nothing more to do.
std::optional<int> parse(CLI::App &app, const CommandArguments &arguments) {
  try {
    for (const std::string &argument : arguments) {
      if (argument == "--")
        break;
      if (argument.starts_with("--") && argument.find('=') == argument.size() - 1)
        return reportWrong(app.get_name(), argument.substr(0, argument.size() - 1) + kNoValue);
    }
    std::vector<std::string> reversed; // as CLI11 wants them
    std::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(reversed), hidden);
    app.parse(std::move(reversed));
    return std::nullopt;
  } catch (const CLI::CallForHelp &) {
    std::cout << app.help();
    return kExitDone;
  } catch (const CLI::CallForVersion &version) {
    std::cout << version.what() << '\n';
    return kExitDone;
  } catch (const CLI::ExtrasError &) {
    return reportWrong(app.get_name(), extraProblem(app));
  } catch (const CLI::ArgumentMismatch &error) {
    return reportWrong(app.get_name(), mismatchProblem(error.what()));
  } catch (const CLI::ParseError &error) {
    return reportWrong(app.get_name(), error.what());
  }
}

} // namespace

class CommandLine::Parser final : public CLI::App {
public:
  using App::App;
  CLI::Option *add(const std::string &name, const Take &take, const std::string &help);
};

CommandLine::CommandLine(std::string_view name, const std::string &about)
    : app_(std::make_unique<Parser>(about, "velto " + std::string(name))) {
  prepare(*app_);
  app_->validate_positionals();
}

CommandLine::~CommandLine() = default;

CLI::Option *CommandLine::Parser::add(const std::string &name, const Take &take,
                                      const std::string &help) {
  const std::function<void(const std::vector<std::string> &)> takeAll =
      [name, take](const std::vector<std::string> &values) {
        for (const std::string &value : values)
          if (const std::string problem = take(shown(value)); !problem.empty())
            throw CLI::ValidationError(name, problem);
      };
  return add_option_function(name, takeAll, help)
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

void CommandLine::flag(const std::string &name, bool &given, const std::string &help) {
  app_->add_flag(name, given, help)->disable_flag_override();
}

void CommandLine::option(const std::string &name, const std::string &value, const Take &take,
                         const std::string &help) {
  app_->add(
          name,
          [take](const std::string &given) {
            return given.empty() ? "needs a value" : take(given);
          },
          help)
      ->type_name(value);
}

void CommandLine::text(const std::string &name, const std::string &value, std::string &text,
                       const std::string &help) {
  option(
      name, value, [&text](const std::string &given) { return text = given, std::string(); }, help);
}

CommandLine::Take CommandLine::numberTaker(int32_t low, int32_t high,
                                           const std::function<void(int32_t)> &set) {
  return [low, high, set](const std::string &text) -> std::string {
    if (const auto read = wholeNumber(text, low, high)) {
      set(*read);
      return "";
    }
    return quotedText(text) + " is no whole number from " + std::to_string(low) + " to " +
           std::to_string(high);
  };
}

void CommandLine::argument(const std::string &name, const Take &take, const std::string &help,
                           bool (*isMeant)(std::string_view word)) {
  CLI::Option *option = app_->add(name, take, help)->type_name("");
  if (isMeant != nullptr)
    option->check([isMeant](const std::string &word) {
      return isMeant(shown(word)) ? "" : "is something else";
    });
}

void CommandLine::argument(const std::string &name, std::string &word, const std::string &help) {
  argument(
      name, [&word](const std::string &given) { return word = given, std::string(); }, help);
}

void CommandLine::arguments(const std::string &name, std::vector<std::string> &words,
                            const std::string &help) {
  app_->add(
          name,
          [&words](const std::string &word) {
            words.push_back(word);
            return std::string();
          },
          help)
      ->type_name("")
      ->expected(1, -1)
      ->allow_extra_args()
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void CommandLine::require(const std::string &name) { app_->get_option(name)->required(); }

void CommandLine::exclude(std::initializer_list<std::string> names) {
  for (auto name = names.begin(); name != names.end(); ++name)
    for (auto other = std::next(name); other != names.end(); ++other)
      app_->get_option(*name)->excludes(app_->get_option(*other));
}

void CommandLine::need(const std::string &name, const std::string &other) {
  app_->get_option(name)->needs(app_->get_option(other));
}

void CommandLine::footer(const std::string &text) { app_->footer(text); }

std::optional<int> CommandLine::read(const CommandArguments &arguments) {
  return parse(*app_, arguments);
}

int CommandLine::wrong(const std::string &problem) const {
  return reportWrong(app_->get_name(), problem);
}

int runCommand(std::string_view program, std::span<const Command> commands,
               const CommandArguments &arguments, const std::string &version) {
  CLI::App app("", std::string(program));
  prepare(app);
  if (!version.empty())
    app.set_version_flag("--version", version, "print the version and exit");
  for (const Command &command : commands)
    app.add_subcommand(std::string(command.name), std::string(command.summary))->group("Commands");
  app.require_subcommand(1);
  app.footer(std::string(program) + " COMMAND --help tells more about a command.");

  if (arguments.empty()) {
    std::cerr << app.help();
    return kExitUsage;
  }
  const std::string &name = arguments.front();
  const auto command = std::ranges::find(commands, name, &Command::name);
  if (command != commands.end())
    return command->run({arguments.begin() + 1, arguments.end()});
  if (name == "help")
    return runCommand(program, commands,
                      arguments.size() == 1 ? CommandArguments{"--help"}
                                            : CommandArguments{arguments[1], "--help"});
  if (app.get_option_no_throw(name) != nullptr)
    return parse(app, {name}).value_or(kExitDone);
  return reportWrong(app.get_name(),
                     (name.starts_with('-') ? "there is no option " : "there is no command ") +
                         quotedText(name));
}

std::optional<std::string> readStandardInput() {
  std::string text;
  std::array<char, 65536> chunk{};
  while (const size_t count = std::fread(chunk.data(), 1, chunk.size(), stdin))
    text.append(chunk.data(), count);
  return std::ferror(stdin) == 0 ? std::optional(std::move(text)) : std::nullopt;
}

} // namespace velto
