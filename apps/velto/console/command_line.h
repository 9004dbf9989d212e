#pragma once

#include "base/text.h"

#include <cstdint>
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

/// Whether the first argument asks what the command does: --help or -h.
bool asksForHelp(const CommandArguments &arguments);

/// An option of a command line: `--name`, or `--name VALUE` when it takes a value.
struct Option {
  std::string_view name;        ///< with its dashes
  bool *given = nullptr;        ///< set to true when the option is given; null if it takes a value
  std::string *value = nullptr; ///< receives the value; null if it takes none
};

/// Reads the options of a command line; `rest` gets the other arguments: those without a dash, `-`,
/// and all behind `--`. Returns what is wrong with
/// the command line, an empty text when nothing is.
std::string readOptions(const CommandArguments &arguments, std::span<const Option> options,
                        std::vector<std::string> &rest);

/// All of standard input. Nothing when it cannot be read.
std::optional<std::string> readStandardInput();

} // namespace velto
