#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// What every command of the program is given. Its result is the exit status.
using CommandArguments = std::vector<std::string>;

/// Exit statuses: success, a failure of what was asked, a wrong command line.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

/// What `--edition N` means, of all commands that have it.
inline constexpr const char *kEditionHelp =
    "of SEMI E5: 1 the current one (default), 0 the early one, "
    "in which names of model and software have 6 characters "
    "at most";

/// The options and arguments of one command. The command declares them, each with a sentence for
/// the help, and reads the command line:
///
///     CommandLine line("sml", "Reads messages in SML and prints them.");
///     line.flag("--hex", options.hex, "print hexadecimal");
///     line.arguments("FILE", options.files, "files to read");
///     if (const auto status = line.read(arguments))
///       return *status;
///
/// Options stand anywhere, as `--name VALUE` or `--name=VALUE`, and are written out; of one that is
/// given again the last counts. Behind `--` there are arguments alone.
class CommandLine {
public:
  /// Takes a value. Returns what is wrong with it, an empty text when nothing is.
  using Take = std::function<std::string(const std::string &value)>;

  /// `name` is the word of the command, `about` tells what it does.
  CommandLine(std::string_view name, const std::string &about);
  ~CommandLine();
  CommandLine(const CommandLine &) = delete;
  CommandLine &operator=(const CommandLine &) = delete;

  /// `--name`
  void flag(const std::string &name, bool &given, const std::string &help);
  /// `--name VALUE`; a value is never empty.
  void option(const std::string &name, const std::string &value, const Take &take,
              const std::string &help);
  void text(const std::string &name, const std::string &value, std::string &text,
            const std::string &help);
  /// A whole number from `low` to `high`; `Number` may be optional.
  template <class Number>
  void number(const std::string &name, const std::string &value, int32_t low, int32_t high,
              Number &number, const std::string &help) {
    option(name, value,
           numberTaker(low, high, [&number](int32_t read) { number = static_cast<Number>(read); }),
           help);
  }

  /// An argument that is no option. Where `isMeant` is given, it tells whether a word can be this
  /// one; the next argument that is declared gets those that cannot.
  void argument(const std::string &name, const Take &take, const std::string &help,
                bool (*isMeant)(std::string_view word) = nullptr);
  void argument(const std::string &name, std::string &word, const std::string &help);
  /// All arguments that are left.
  void arguments(const std::string &name, std::vector<std::string> &words, const std::string &help);

  /// The option or argument must be there.
  void require(const std::string &name);
  /// One of them at most.
  void exclude(std::initializer_list<std::string> names);
  /// The first makes sense with the second alone.
  void need(const std::string &name, const std::string &other);
  /// What stands below the help.
  void footer(const std::string &text);

  /// Sets what was declared. Returns the exit status when the command has nothing more to do: its
  /// help was printed, or the command line is wrong, which is reported.
  [[nodiscard]] std::optional<int> read(const CommandArguments &arguments);
  /// Reports a wrong command line and returns the exit status for it.
  [[nodiscard]] int wrong(const std::string &problem) const;

private:
  class Parser;

  static Take numberTaker(int32_t low, int32_t high, const std::function<void(int32_t)> &set);

  std::unique_ptr<Parser> app_;
};

/// One word of a command line that has several, such as `velto sml`.
struct Command {
  std::string_view name;
  std::string_view summary; ///< one line for the list of commands
  int (*run)(const CommandArguments &arguments);
};

/// Runs the command that the first argument names with the others, or prints the list of commands.
/// `program` is what stands in front of the command. Where there is a `version`, `--version` prints
/// it.
int runCommand(std::string_view program, std::span<const Command> commands,
               const CommandArguments &arguments, const std::string &version = "");

/// All of standard input. Nothing when it cannot be read.
std::optional<std::string> readStandardInput();

} // namespace velto
