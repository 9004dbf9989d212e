// The enumerations of a GEM equipment and its host.

#include "controls/enumerations.h"
#include "controls/pages/gem_setup.h"
#include "gem/capabilities/process_programs.h"
#include "gem/capabilities/remote_control.h"
#include "gem/capabilities/spool.h"
#include "gem/data/roles.h"
#include "gem/data/variable.h"
#include "gem/gem_problem.h"
#include "gem/states.h"
#include "transport/message_links.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

namespace velto::enumerations {

namespace {

EnumerationValue gemError(VeltoGemError number, const char *name) {
  std::string text = gemErrorText(number);
  if (text.ends_with(':')) // which message it was stands behind it
    text.back() = '.';
  return {number, name, std::move(text)};
}

EnumerationValue transport(LinkProtocol protocol, const char *name, const char *help) {
  return {static_cast<int32_t>(protocol), name, help};
}

EnumerationValue connectionState(LinkState state, const char *name, const char *help) {
  return {static_cast<int32_t>(state), name, help};
}

// A role's number is the index of its name.
Enumeration roles(const char *name, const char *help, std::span<const std::string_view> names) {
  Enumeration roles{name, help, {}};
  for (const std::string_view role : names)
    roles.values.push_back({static_cast<int32_t>(roles.values.size()), std::string(role), ""});
  roles.values.push_back({kNoRole, "NoRole", "Without a role."});
  return roles;
}

// "Predefined VID" as programs name it.
std::string identifier(std::string name) {
  std::erase(name, ' ');
  return name;
}

} // namespace

const Enumeration &gemErrors() {
  static const Enumeration errors{
      "VeltoGemError",
      "The problems of VeltoGem; others are the platform's (VeltoSocketError).",
      {{0, "ErrorGemNoNumber", "What has no number; the text says it."},
       gemError(ErrorGemHsmsLengthTooShort, "ErrorGemHsmsLengthTooShort"),
       gemError(ErrorGemHsmsExceedMaxLength, "ErrorGemHsmsExceedMaxLength"),
       gemError(ErrorGemHsmsT8Timeout, "ErrorGemHsmsT8Timeout"),
       gemError(ErrorGemHsmsT6Timeout, "ErrorGemHsmsT6Timeout"),
       gemError(ErrorGemHsmsT7Timeout, "ErrorGemHsmsT7Timeout"),
       gemError(ErrorGemHsmsInvalidSessionID, "ErrorGemHsmsInvalidSessionID"),
       gemError(ErrorGemHsmsInvalidPType, "ErrorGemHsmsInvalidPType"),
       gemError(ErrorGemHsmsControlMessageTooLong, "ErrorGemHsmsControlMessageTooLong"),
       gemError(ErrorGemHsmsInvalidSType, "ErrorGemHsmsInvalidSType"),
       gemError(ErrorGemHsmsInvalidFunction, "ErrorGemHsmsInvalidFunction"),
       gemError(ErrorGemHsmsInvalidRejectReason, "ErrorGemHsmsInvalidRejectReason"),
       gemError(ErrorGemHsmsT3Timeout, "ErrorGemHsmsT3Timeout"),
       gemError(ErrorGemHsmsT5Timeout, "ErrorGemHsmsT5Timeout"),
       gemError(ErrorGemSecsIUnexpectedChar, "ErrorGemSecsIUnexpectedChar"),
       gemError(ErrorGemSecsIBadLength, "ErrorGemSecsIBadLength"),
       gemError(ErrorGemSecsIBadSum, "ErrorGemSecsIBadSum"),
       gemError(ErrorGemSecsIBadMultiBlockNumber, "ErrorGemSecsIBadMultiBlockNumber"),
       gemError(ErrorGemSecsIBadBlockNumber, "ErrorGemSecsIBadBlockNumber"),
       gemError(ErrorGemSecsINak, "ErrorGemSecsINak"),
       gemError(ErrorGemSecsIRetry, "ErrorGemSecsIRetry"),
       gemError(ErrorGemSecsIT4Timeout, "ErrorGemSecsIT4Timeout"),
       gemError(ErrorGemSecsIT2Timeout, "ErrorGemSecsIT2Timeout"),
       gemError(ErrorGemSecsIT1Timeout, "ErrorGemSecsIT1Timeout"),
       gemError(ErrorGemSerialPort, "ErrorGemSerialPort")}};
  return errors;
}

const Enumeration &communicationStates() {
  static const Enumeration states{
      "VeltoGemCommunicationState",
      "Whether equipment and host have established communications (SEMI E30 3.2).",
      {{CommunicationState::Disabled, "Disabled", "Switched off."},
       {CommunicationState::NotCommunicating, "NotCommunicating", "Not established."},
       {CommunicationState::Communicating, "Communicating", "Established."}}};
  return states;
}

const Enumeration &controlStates() {
  static const Enumeration states{
      "VeltoGemControlState",
      "Who is in charge of the equipment (SEMI E30 3.3).",
      {{ControlState::EquipmentOffline, "EquipmentOffline", "Off-line by the operator."},
       {ControlState::AttemptOnline, "AttemptOnline", "On the way to on-line."},
       {ControlState::HostOffline, "HostOffline", "Off-line by the host."},
       {ControlState::OnlineLocal, "OnlineLocal", "On-line, the operator in charge."},
       {ControlState::OnlineRemote, "OnlineRemote", "On-line, the host in charge."}}};
  return states;
}

const Enumeration &processStates() {
  static const Enumeration states{
      "VeltoGemProcessState",
      "What the equipment is doing (SEMI E30 3.4); an equipment may have others.",
      {{ProcessingState::Idle, "Idle", "Waits for work."},
       {ProcessingState::Setup, "Setup", "Makes ready for it."},
       {ProcessingState::Ready, "Ready", "Waits for the start."},
       {ProcessingState::Executing, "Executing", "Works."},
       {ProcessingState::Pause, "Pause", "Is held up."}}};
  return states;
}

const Enumeration &connectionStates() {
  static const Enumeration states{
      "VeltoGemConnectionState",
      "The state of the link (SEMI E37).",
      {connectionState(LinkState::Down, "NotConnected", "No connection."),
       connectionState(LinkState::Up, "NotSelected", "Connected; messages do not go yet."),
       connectionState(LinkState::Ready, "Selected", "Messages go both ways.")}};
  return states;
}

const Enumeration &spoolStates() {
  static const Enumeration states{
      "VeltoGemSpoolState",
      "The state of spooling (SEMI E30 4.11).",
      {{CHGemSpool::Inactive, "SpoolInactive", "Nothing is kept."},
       {CHGemSpool::Active, "SpoolActive", "Messages are kept."},
       {CHGemSpool::Full, "SpoolFull", "Messages are kept, and there is no room for more."},
       {CHGemSpool::Transmitting, "SpoolTransmitting", "The host takes them."}}};
  return states;
}

const Enumeration &transports() {
  static const Enumeration transports{
      "VeltoGemTransport",
      "How messages travel.",
      {transport(LinkProtocol::Hsms, "HSMS", "HSMS on TCP (SEMI E37)."),
       transport(LinkProtocol::SecsISerial, "SecsISerial", "SECS-I on a serial port (SEMI E4)."),
       transport(LinkProtocol::SecsITcp, "SecsITcp", "SECS-I over TCP.")}};
  return transports;
}

const Enumeration &lineMasters() {
  static const Enumeration masters{"VeltoGemSecsIMaster",
                                   "Who wins contention on a line of SECS-I (SEMI E4).",
                                   {{SecsILine::MasterByRole, "MasterByRole", "The equipment."},
                                    {SecsILine::Slave, "Slave", "The other side."},
                                    {SecsILine::AlwaysMaster, "AlwaysMaster", "This side."}}};
  return masters;
}

const Enumeration &logicalConnections() {
  static const Enumeration connections{
      "VeltoGemLogicalConnection",
      "What stands behind the link.",
      {{0, "PlainConnection", "Messages alone."}, {1, "ObjectModel", "The equipment model."}}};
  return connections;
}

const Enumeration &workSpaces() {
  static const Enumeration spaces{"VeltoGemWorkSpace",
                                  "The slots of messages, of which one is the current message.",
                                  {{0, "ReceivedMessage", "What arrived."},
                                   {1, "SentMessage", "What went out."},
                                   {2, "FreeMessage", "The host's own."},
                                   {65535, "NoWorkSpace", "Read without a model."}}};
  return spaces;
}

const Enumeration &viewStyles() {
  static const Enumeration styles{"VeltoGemViewStyle",
                                  "What the window shows.",
                                  {{0, "EmptyView", "Nothing."},
                                   {1, "LinkView", "The link."},
                                   {2, "LogicalView", "The logical connection."},
                                   {3, "FullView", "Both."}}};
  return styles;
}

const Enumeration &setupPages() {
  static const Enumeration pages = [] {
    Enumeration bits{"VeltoGemSetupPage", "The pages of the setup sheet.", {}, true};
    for (const GemSetup::PageInfo &page : GemSetup::allPages())
      bits.values.push_back({page.bit, identifier(page.title) + "Page", ""});
    std::ranges::sort(bits.values, {}, &EnumerationValue::number);
    return bits;
  }();
  return pages;
}

const Enumeration &capabilities() {
  static const Enumeration capabilities = [] {
    Enumeration bits{
        "VeltoGemCapability", "The optional parts of an equipment (SEMI E30 4).", {}, true};
    for (const GemCapabilityName &capability : kCapabilityNames)
      bits.values.push_back({static_cast<int32_t>(capability.bit), capability.key,
                             std::string(capability.name) + '.'});
    return bits;
  }();
  return capabilities;
}

const Enumeration &variableKinds() {
  static const Enumeration kinds{
      "VeltoGemVariableType",
      "The kinds of variables (SEMI E30).",
      {{EquipmentConstant, "EquipmentConstant", "Set by host and operator."},
       {StatusVariable, "StatusVariable", "Valid at any time."},
       {DataVariable, "DataVariable", "Valid with the event that it belongs to."}}};
  return kinds;
}

const Enumeration &variableRoles() {
  static const Enumeration all = roles(
      "VeltoGemVariableRole",
      "The variables that the equipment itself reads or that SEMI E30 names.", variableRoleNames());
  return all;
}

const Enumeration &eventRoles() {
  static const Enumeration all =
      roles("VeltoGemEventRole",
            "The collection events that the equipment itself raises or that SEMI E30 names.",
            eventRoleNames());
  return all;
}

const Enumeration &programActions() {
  using Programs = CHGemProcessPrograms;
  static const Enumeration actions{
      "VeltoGemProgramAction",
      "What the event ProcessProgram tells of.",
      {{Programs::Created, "ProgramCreated", "The partner sends one that is new."},
       {Programs::Edited, "ProgramEdited",
        "The partner sends one in place of the one that is there."},
       {Programs::Deleted, "ProgramDeleted", "The partner deletes one; without a PPID all."},
       {Programs::Requested, "ProgramRequested", "The partner asks for one."},
       {Programs::Selected, "ProgramSelected", "One is to be executed."},
       {Programs::Inquired, "ProgramInquired", "The partner asks whether it may send one."},
       {Programs::Verified, "ProgramToVerify", "The partner wants one verified."},
       {Programs::Ended, "ProgramTransferEnded", "A transfer has ended; ACKC7 tells how."}}};
  return actions;
}

const Enumeration &commandAnswers() {
  using Remote = CHGemRemoteControl;
  static const Enumeration answers{
      "VeltoGemHCACK",
      "The answer to a remote command (SEMI E5, HCACK).",
      {{Remote::Done, "CommandDone", "It has been carried out."},
       {Remote::NoSuchCommand, "NoSuchCommand", "There is none of that name."},
       {Remote::NotNow, "CommandNotNow", "It cannot be carried out now."},
       {Remote::BadParameter, "BadParameter", "A parameter is wrong; CPACK says which."},
       {Remote::DoneLater, "CommandDoneLater", "It is under way; an event tells the end."},
       {Remote::Rejected, "CommandRejected", "Already in the desired condition."},
       {Remote::NoSuchObject, "NoSuchObject", "There is no such object."}}};
  return answers;
}

const Enumeration &parameterAnswers() {
  using Remote = CHGemRemoteControl;
  static const Enumeration answers{
      "VeltoGemCPACK",
      "The objection to a parameter of a remote command (SEMI E5, CPACK).",
      {{0, "NoObjection", "None."},
       {Remote::UnknownName, "UnknownParameter", "The command has none of that name."},
       {Remote::BadValue, "BadParameterValue", "The value is not allowed."},
       {Remote::WrongFormat, "WrongParameterFormat", "The item is of another type."}}};
  return answers;
}

const Enumeration &programAnswers() {
  using Programs = CHGemProcessPrograms;
  static const Enumeration answers{
      "VeltoGemACKC7",
      "The answer to what is asked of process programs (SEMI E5, ACKC7).",
      {{Programs::Accepted, "ProgramAccepted", "Accepted."},
       {Programs::NotPermitted, "ProgramNotPermitted", "Permission not granted."},
       {Programs::LengthError, "ProgramLengthError", "Of another length than was announced."},
       {Programs::MatrixOverflow, "ProgramMatrixOverflow", "No room."},
       {Programs::NotFound, "ProgramNotFound", "There is none of that PPID."},
       {Programs::ModeUnsupported, "ProgramModeUnsupported", "Mode unsupported."},
       {Programs::Later, "ProgramLater", "It will be done; an event tells the end."},
       {Programs::OtherError, "ProgramOtherError", "Another error."}}};
  return answers;
}

const Enumeration &terminalAnswers() {
  static const Enumeration answers{"VeltoGemACKC10",
                                   "The answer to a text for a terminal (SEMI E5, ACKC10).",
                                   {{0, "TextAccepted", "Accepted for display."},
                                    {1, "TextNotDisplayed", "It will not be displayed."},
                                    {2, "NoSuchTerminal", "There is no such terminal."}}};
  return answers;
}

} // namespace velto::enumerations
