#include "apps/velto/console/command_line.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace velto {

bool asksForHelp(const CommandArguments &arguments) {
  return !arguments.empty() && (arguments[0] == "--help" || arguments[0] == "-h");
}

std::string readOptions(const CommandArguments &arguments, std::span<const Option> options,
                        std::vector<std::string> &rest) {
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string &argument = arguments[i];
    if (argument == "--") {
      rest.insert(rest.end(), arguments.begin() + static_cast<ptrdiff_t>(i) + 1, arguments.end());
      break;
    }
    if (argument.size() < 2 || argument[0] != '-') {
      rest.push_back(argument);
      continue;
    }
    const auto option = std::ranges::find(options, argument, &Option::name);
    if (option == options.end())
      return "there is no option " + argument;
    if (option->given != nullptr)
      *option->given = true;
    else if (i + 1 == arguments.size() || arguments[i + 1].empty())
      return argument + " needs a value";
    else
      *option->value = arguments[++i];
  }
  return "";
}

std::optional<std::string> readStandardInput() {
  std::string text;
  std::array<char, 65536> chunk{};
  while (const size_t count = std::fread(chunk.data(), 1, chunk.size(), stdin))
    text.append(chunk.data(), count);
  return std::ferror(stdin) == 0 ? std::optional(std::move(text)) : std::nullopt;
}

} // namespace velto
