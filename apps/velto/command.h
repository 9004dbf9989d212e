#pragma once

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

/// One word of the program's command line, such as `velto sml`.
struct Command {
  std::string_view name;
  std::string_view summary; ///< one line for the list of commands
  int (*run)(const CommandArguments &arguments);
};

/// All commands, in the order of the help text.
std::span<const Command> commands();

int runContainerCommand(const CommandArguments &arguments);
int runDemoCommand(const CommandArguments &arguments);
int runDescribeCommand(const CommandArguments &arguments);
int runEquipmentCommand(const CommandArguments &arguments);
int runHostCommand(const CommandArguments &arguments);
int runModelCommand(const CommandArguments &arguments);
int runSetupCommand(const CommandArguments &arguments);
int runSmlCommand(const CommandArguments &arguments);

} // namespace velto
