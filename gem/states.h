#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace velto {

// The states of the equipment, with their numbers and the names by which operators know them.
// Settings, variables and files may hold any number, so that a state is kept as a number.

/// Whether the equipment and the host have established communications (SEMI E30 3.2).
struct CommunicationState {
  enum Number : uint8_t { Disabled = 0, NotCommunicating = 1, Communicating = 2 };
  static constexpr std::array kNames{"Disabled", "Not Communicating", "Communicating"};
};

/// Who is in charge of the equipment (SEMI E30 3.3).
struct ControlState {
  enum Number : uint8_t {
    EquipmentOffline = 0,
    AttemptOnline = 1,
    HostOffline = 2,
    OnlineLocal = 3,
    OnlineRemote = 4,
  };
  static constexpr std::array kNames{"Equipment Off Line", "Attempt On Line", "Host Off Line",
                                     "On Line Local", "On Line Remote"};
};

/// What the equipment is doing (SEMI E30 3.4).
struct ProcessingState {
  enum Number : uint8_t { Idle = 0, Setup = 1, Ready = 2, Executing = 3, Pause = 4 };
  static constexpr std::array kNames{"IDLE", "SETUP", "READY", "EXECUTING", "PAUSE"};
};

/// Whether there is a state of that number: isState<ControlState>(4).
template <typename States> constexpr bool isState(size_t number) {
  return number < States::kNames.size();
}

/// The name of a state; `unknown` when there is none of that number.
template <typename States>
constexpr const char *stateName(size_t number, const char *unknown = "Unknown State") {
  return isState<States>(number) ? States::kNames[number] : unknown;
}

constexpr bool isOnline(uint8_t controlState) {
  return controlState == ControlState::OnlineLocal || controlState == ControlState::OnlineRemote;
}

} // namespace velto
