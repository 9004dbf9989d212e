#include "gem/compliance.h"

#include "gem/capabilities/capability.h"

namespace velto {

namespace {

using M = MessageNumber;

constexpr M kEstablish[] = {{1, 13}};
constexpr M kEvents[] = {{6, 11}};
constexpr M kIdentification[] = {{1, 1}};
constexpr M kErrors[] = {{9, 1}, {9, 3}, {9, 5}, {9, 7}, {9, 9}};
constexpr M kReports[] = {{2, 33}, {2, 35}, {2, 37}};
constexpr M kVariableData[] = {{6, 15}, {6, 19}};
constexpr M kTrace[] = {{2, 23}, {6, 1}};
constexpr M kStatus[] = {{1, 3}, {1, 11}};
constexpr M kAlarms[] = {{5, 1}, {5, 3}, {5, 5}, {5, 7}};
constexpr M kRemote[] = {{2, 41}, {2, 49}, {2, 21}};
constexpr M kConstants[] = {{2, 13}, {2, 15}, {2, 29}};
constexpr M kPrograms[] = {{7, 1}, {7, 3}, {7, 5}, {7, 17}, {7, 19}, {7, 23}, {7, 25}, {7, 27}};
constexpr M kTerminal[] = {{10, 1}, {10, 3}, {10, 5}, {10, 7}};
constexpr M kClock[] = {{2, 17}, {2, 31}};
constexpr M kLimits[] = {{2, 45}, {2, 47}};
constexpr M kSpooling[] = {{2, 43}, {6, 23}};
constexpr M kHostControl[] = {{1, 15}, {1, 17}};

constexpr ComplianceRow kFundamental[] = {
    {"State Models", 0, {}, "communication and control, by the model"},
    {"Equipment Processing States",
     CapabilityVariables,
     {},
     "`SetProcessState()`, or the variables and events with these roles"},
    {"Host-Initiated S1,F13/F14 Scenario", 0, kEstablish, "by the model"},
    {"Event Notification", 0, kEvents, "`InvokeEvent()`; by the model for what it knows of itself"},
    {"On-Line Identification", 0, kIdentification, "by the model"},
    {"Error Messages", 0, kErrors, "by the model; S9F11 and S9F13 are never sent"},
    {"Documentation", 0, {}, "this page, `velto model export`, `velto describe messages`"},
    {"Control (Operator-Initiated)", 0, {}, "`ControlStateSwitch`, `ControlState`"},
};

constexpr ComplianceRow kAdditional[] = {
    {"Establish Communications", 0, kEstablish, "by the model, in both directions"},
    {"Dynamic Event Report Configuration", 0, kReports, "by the model"},
    {"Variable Data Collection", 0, kVariableData, "by the model"},
    {"Trace Data Collection", CapabilityTrace, kTrace, "by the model"},
    {"Status Data Collection", 0, kStatus, "by the model"},
    {"Alarm Management", 0, kAlarms, "`InvokeAlarm()`; by the model"},
    {"Remote Control", CapabilityRemoteControl, kRemote,
     "checked by the model, done by the application: `RemoteCommand`"},
    {"Equipment Constants", 0, kConstants, "by the model; `VIDChanged` tells the application"},
    {"Process Program Management", CapabilityProcessPrograms, kPrograms,
     "kept by the model; `ProcessProgram` asks the application"},
    {"Material Movement", 0, {}, "by the application: the events with these roles"},
    {"Equipment Terminal Services", CapabilityTerminal, kTerminal,
     "`TerminalText`, `SendTerminalText()`, `RecognizeTerminalText()`"},
    {"Clock", 0, kClock, "by the model; S2F18 counts as the answer to S2F17 alone"},
    {"Limits Monitoring", CapabilityLimits, kLimits, "by the model"},
    {"Spooling", CapabilitySpooling, kSpooling, "by the model"},
    {"Control (Host-Initiated)", 0, kHostControl, "by the model"},
};

} // namespace

std::span<const ComplianceRow> fundamentalRequirements() { return kFundamental; }

std::span<const ComplianceRow> additionalCapabilities() { return kAdditional; }

} // namespace velto
