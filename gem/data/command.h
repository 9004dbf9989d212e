#pragma once

#include "gem/data/archive.h"
#include "gem/states.h"
#include "secs2/format.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// A parameter that a remote command takes (SEMI E5, CPNAME and CPVAL).
struct CHGemCommandParameter {
  std::string name;
  uint8_t nodeType = SecsAscii; ///< VeltoSecsIIType of the value
  bool required = false;

  bool operator==(const CHGemCommandParameter &) const = default;
};

/// A remote command that the equipment knows (SEMI E30 4.4).
struct CHGemCommand {
  static constexpr uint8_t stateBit(uint8_t state) { return static_cast<uint8_t>(1U << state); }

  std::string name; ///< RCMD; a number as its decimal text
  std::vector<CHGemCommandParameter> parameters = {};
  uint8_t states = stateBit(ControlState::OnlineRemote); ///< bits by number of the control state
  uint32_t event = 0;                                    ///< CEID of its completion; 0: none
  std::string description = {};

  const CHGemCommandParameter *find(std::string_view parameter) const;

  bool operator==(const CHGemCommand &) const = default;
};

/// The command of that name; null when there is none.
const CHGemCommand *findCommand(const std::vector<CHGemCommand> &commands, std::string_view name);

/// The name of the commands' part in the companion of the data file, and that part.
inline constexpr std::string_view kCommandsPart = "Commands";
void storeCommands(ArchiveWriter &archive, const std::vector<CHGemCommand> &commands);
void loadCommands(ArchiveReader &archive, std::vector<CHGemCommand> &commands);

} // namespace velto
