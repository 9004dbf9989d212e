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
  RoleTransitionType = 8,
  RoleEstablishCommunicationsTimeout = 9, ///< seconds
  RoleTimeFormat = 12,
  RoleAlarmsEnabled = 13,
  RoleAlarmsSet = 14,
  RoleClock = 15,
  RoleControlState = 16,
  RoleEventsEnabled = 17,
  RolePreviousProcessState = 20,
  RoleProcessState = 21,
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
  RoleOperatorRecognizedMessage = 20,
};

/// The names of all roles; a role's number is its index.
std::span<const std::string_view> variableRoleNames();
std::span<const std::string_view> eventRoleNames();

/// The number of a role by its exact name; nothing when there is none.
std::optional<uint8_t> findRole(std::span<const std::string_view> names, std::string_view name);

} // namespace velto
