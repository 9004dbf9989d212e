#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace velto {

/// The role byte of a variable or collection event without a role.
inline constexpr uint8_t kNoRole = 255;

/// Variables that the equipment itself reads or that SEMI E30 names. A role follows its variable,
/// whatever that one's number.
enum VariableRole : uint8_t {
  RoleAlarmID = 0,
  RoleEventLimit = 1,
  RoleLimitVariable = 2,
  RolePPChangeName = 3,
  RolePPChangeStatus = 4,
  RolePPError = 5,
  RoleTransitionType = 8,
  RoleEstablishCommunicationsTimeout = 9, ///< seconds
  RoleMaxSpoolTransmit = 10,              ///< messages at a time; 0: all
  RoleOverWriteSpool = 11, ///< other than 0: what is new takes the place of the oldest
  RoleTimeFormat = 12,
  RoleAlarmsEnabled = 13,
  RoleAlarmsSet = 14,
  RoleClock = 15,
  RoleControlState = 16,
  RoleEventsEnabled = 17,
  RolePPExecName = 18,
  RolePreviousProcessState = 20,
  RoleProcessState = 21,
  RoleSpoolCountActual = 23,
  RoleSpoolCountTotal = 24,
  RoleSpoolFullTime = 25,
  RoleSpoolStartTime = 26,
};

/// Collection events that the equipment itself raises.
enum EventRole : uint8_t {
  RoleOnlineToOffline = 0,
  RoleGoToLocal = 1,
  RoleGoToRemote = 2,
  RoleProcessStateChanged = 7,
  RoleAlarmSet = 8,
  RoleAlarmCleared = 9,
  RoleOperatorChangedConstant = 10,
  RoleLimitCrossedUpwards = 11,
  RoleLimitCrossedDownwards = 12,
  RoleProcessProgramChanged = 13,
  RoleProcessProgramSelected = 14,
  RoleStartSpooling = 17,
  RoleEndSpooling = 18,
  RoleSpoolTransferFailure = 19,
  RoleOperatorRecognizedMessage = 20,
};

/// The names of all roles; a role's number is its index.
std::span<const std::string_view> variableRoleNames();
std::span<const std::string_view> eventRoleNames();

/// The number of a role by its exact name; nothing when there is none.
std::optional<uint8_t> findRole(std::span<const std::string_view> names, std::string_view name);

} // namespace velto
