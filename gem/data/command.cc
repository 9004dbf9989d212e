#include "gem/data/command.h"

#include <algorithm>

namespace velto {

namespace {

constexpr ArchiveClass kCommand{"CHGemCommand", 1};
constexpr ArchiveClass kParameter{"CHGemCommandParameter", 1};
constexpr size_t kSmallestCommand = 10; // bytes
constexpr size_t kSmallestParameter = 5;

auto findByName(auto &list, std::string_view name) {
  const auto found = std::ranges::find_if(list, [name](const auto &it) { return it.name == name; });
  return found == list.end() ? nullptr : &*found;
}

} // namespace

const CHGemCommandParameter *CHGemCommand::find(std::string_view parameter) const {
  return findByName(parameters, parameter);
}

const CHGemCommand *findCommand(const std::vector<CHGemCommand> &commands, std::string_view name) {
  return findByName(commands, name);
}

void storeCommands(ArchiveWriter &archive, const std::vector<CHGemCommand> &commands) {
  archive.count(commands.size());
  for (const CHGemCommand &command : commands) {
    archive.object(kCommand);
    archive.fields(std::string_view(command.name), command.states, command.event,
                   std::string_view(command.description));
    archive.count(command.parameters.size());
    for (const CHGemCommandParameter &parameter : command.parameters) {
      archive.object(kParameter);
      archive.fields(std::string_view(parameter.name), parameter.nodeType, parameter.required);
    }
  }
}

void loadCommands(ArchiveReader &archive, std::vector<CHGemCommand> &commands) {
  commands.clear();
  for (uint32_t left = archive.count(kSmallestCommand); left > 0 && !archive.failed(); --left) {
    archive.object(kCommand.name);
    CHGemCommand &command = commands.emplace_back();
    archive.fields(command.name, command.states, command.event, command.description);
    for (uint32_t count = archive.count(kSmallestParameter); count > 0 && !archive.failed();
         --count) {
      archive.object(kParameter.name);
      CHGemCommandParameter &parameter = command.parameters.emplace_back();
      archive.fields(parameter.name, parameter.nodeType, parameter.required);
    }
  }
}

} // namespace velto
