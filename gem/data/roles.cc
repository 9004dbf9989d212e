#include "gem/data/roles.h"

#include <algorithm>
#include <array>

namespace velto {

namespace {

constexpr auto kVariableRoles = std::to_array<std::string_view>({
    "AlarmID",
    "EventLimit",
    "LimitVariable",
    "PPChangeName",
    "PPChangeStatus",
    "PPError",
    "RcpChangeName",
    "RcpChangeStatus",
    "TransitionType",
    "EstablishCommunicationsTimeout",
    "MaxSpoolTransmit",
    "OverWriteSpool",
    "TimeFormat",
    "AlarmsEnabled",
    "AlarmsSet",
    "Clock",
    "ControlState",
    "EventsEnabled",
    "PPExecName",
    "PPFormat",
    "PreviousProcessState",
    "ProcessState",
    "RcpExecName",
    "SpoolCountActual",
    "SpoolCountTotal",
    "SpoolFullTime",
    "SpoolStartTime",
});

// The spelling of the two boundary events is part of their names.
constexpr auto kEventRoles = std::to_array<std::string_view>({
    "OnlineToOffline",
    "GoToLocal",
    "GoToRemote",
    "OperatorCommand",
    "ProcessStarted",
    "ProcessCompleted",
    "ProcessStopped",
    "ProcessStateChanged",
    "AlarmSet",
    "AlarmCleared",
    "OperatorChangedECID",
    "AccrossedHigherLimitBoundary",
    "AccrossedLowerLimitBoundary",
    "ProcessProgramChanged",
    "ProcessProgramSelected",
    "MaterialInput",
    "MaterialOutput",
    "StartSpooling",
    "EndSpooling",
    "SpoolTransferFailure",
    "OperatorRecognizedMessage",
    "NewRunningRecipe",
    "RunningRecipeChanged",
    "RecipeUploadCompleted",
    "RecipeUploadFailed",
});

static_assert(kVariableRoles[RoleTransitionType] == "TransitionType");
static_assert(kVariableRoles[RoleControlState] == "ControlState");
static_assert(kVariableRoles[RoleTimeFormat] == "TimeFormat");
static_assert(kVariableRoles[RoleAlarmsSet] == "AlarmsSet");
static_assert(kVariableRoles[RoleProcessState] == "ProcessState");
static_assert(kVariableRoles[RolePPError] == "PPError");
static_assert(kVariableRoles[RolePPExecName] == "PPExecName");
static_assert(kEventRoles[RoleAlarmCleared] == "AlarmCleared");
static_assert(kEventRoles[RoleProcessProgramSelected] == "ProcessProgramSelected");
static_assert(kEventRoles[RoleLimitCrossedDownwards] == "AccrossedLowerLimitBoundary");
static_assert(kEventRoles[RoleOperatorRecognizedMessage] == "OperatorRecognizedMessage");
static_assert(kVariableRoles[RoleSpoolStartTime] == "SpoolStartTime");
static_assert(kEventRoles[RoleGoToRemote] == "GoToRemote");
static_assert(kEventRoles[RoleSpoolTransferFailure] == "SpoolTransferFailure");

} // namespace

std::span<const std::string_view> variableRoleNames() { return kVariableRoles; }

std::span<const std::string_view> eventRoleNames() { return kEventRoles; }

std::optional<uint8_t> findRole(std::span<const std::string_view> names, std::string_view name) {
  const auto found = std::ranges::find(names, name);
  if (found == names.end())
    return std::nullopt;
  return static_cast<uint8_t>(found - names.begin());
}

} // namespace velto
