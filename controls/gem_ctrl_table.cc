// The members of the Gem control.

#include "controls/enumerations.h"
#include "controls/gem_ctrl.h"
#include "controls/shared_members.h"
#include "gem/capabilities/capabilities.h"

namespace velto {

const MemberTable &CVeltoGemCtrl::table() {
  using C = CVeltoGemCtrl;
  using Text = const std::string &;
  constexpr auto kSetValue = static_cast<void (C::*)(int32_t, Text)>(&C::SetVIDValue);
  constexpr auto kTrySetValue = static_cast<bool (C::*)(int32_t, Text)>(&C::TrySetVIDValue);
  constexpr auto kSetReport = static_cast<bool (C::*)(int32_t, Text)>(&C::SetReportVIDs);
  static const MemberTable table =
      SharedMembers<C>("VeltoGem", "CVeltoGemCtrl",
                       "A GEM equipment, or a GEM host, on an HSMS link or over SECS-I.")
          .readOnly<&C::ALIDCount>(1, "ALIDCount", "Number of alarms.")
          .readOnly<&C::CEIDCount>(2, "CEIDCount", "Number of collection events.")
          .property<&C::ControlState, &C::SetControlState>(
              3, "ControlState", "Who is in charge; setting asks for the change.")
          .of(enumerations::controlStates())
          .property<&C::CommunicationState, &C::SetCommunicationState>(
              4, "CommunicationState", "Whether the partner is there; setting asks for the change.")
          .of(enumerations::communicationStates())
          .property<&C::ControlStateSwitch, &C::SetControlStateSwitch>(
              5, "ControlStateSwitch", "The operator's on-line switch; reads false.")
          .property<&C::DeviceID, &C::SetDeviceID>(6, "DeviceID", "Device ID.", 0)
          .sensible(0, kMaxInt16)
          .property<&C::DiscardDuplicatedBlock, &C::SetDiscardDuplicatedBlock>(
              7, "DiscardDuplicatedBlock", "Drops a message that equals the one before.", true)
          .property<&C::Function, &C::SetFunction>(8, "Function",
                                                   "Function of the current message.")
          .range(0, 0xFF)
          .property<&C::Msg, &C::SetMsg>(9, "Msg",
                                         "The current message, header and body in hexadecimal.")
          .property<&C::Host, &C::SetHost>(
              10, "Host",
              "This side is the host. An equipment with the model on stays an equipment.", false)
          .property<&C::IPAddress, &C::SetIPAddress>(
              11, "IPAddress", "Remote address of an active entity.", "localhost")
          .property<&C::IniFileName, &C::SetIniFileName>(
              12, "IniFileName", "Path of the INI file; empty: no change.", "./Velto.ini")
          .property<&C::MyPortNumber, &C::SetMyPortNumber>(
              13, "MyPortNumber",
              "Local port; a listener listens on it, or on PortNumber when it is 0.", 0)
          .sensible(0, kMaxWord)
          .log(14)
          .logBakCount(15)
          .property<&C::LogCommunication, &C::SetLogCommunication>(
              16, "LogCommunication", "The log holds the messages too.", true)
          .property<&C::LogFileName, &C::SetLogFileName>(
              17, "LogFileName", "Path of the log without its ending \".log\".")
          .logSize(18)
          .property<&C::DataFileName, &C::SetDataFileName>(19, "DataFileName",
                                                           "Path of the model data file.")
          .property<&C::Node, &C::SetNode>(20, "Node", "Node path of the current message.")
          .readOnly<&C::NodeCount>(21, "NodeCount", "Children or values of the current node.")
          .readOnly<&C::NodeType>(22, "NodeType", "Type of the current node.")
          .of(enumerations::itemTypes())
          .readOnly<&C::NodeValue>(23, "NodeValue", "Value of the current node, decimal.")
          .readOnly<&C::NodeValueHex>(24, "NodeValueHex", "The same in hexadecimal.")
          .property<&C::OnlineRequest, &C::SetOnlineRequest>(
              25, "OnlineRequest", "The host may bring the equipment on-line (S1F17).")
          .property<&C::OfflineRequest, &C::SetOfflineRequest>(
              26, "OfflineRequest", "The host may take the equipment off-line (S1F15).")
          .property<&C::PType, &C::SetPType>(27, "PType", "PType of the current message.")
          .range(0, 0xFF)
          .property<&C::Server, &C::SetServer>(28, "Server", "Passive entity.", false)
          .property<&C::PhysicalConnection, &C::SetPhysicalConnection>(
              29, "PhysicalConnection",
              "The link is open or asked to be; setting opens or closes it.")
          .property<&C::PortNumber, &C::SetPortNumber>(
              30, "PortNumber", "Remote port; of a passive entity the port it listens on.", 5001)
          .sensible(0, kMaxWord)
          .property<&C::Reply, &C::SetReply>(
              31, "Reply", "The current message is the reply to that of the work space.")
          .property<&C::SML, &C::SetSML>(
              32, "SML", "The current message as SML; a data message set gets the device ID.")
          .property<&C::SType, &C::SetSType>(33, "SType", "SType of the current message.")
          .range(0, 0xFF)
          .of(enumerations::sessionTypes())
          .property<&C::SessionID, &C::SetSessionID>(34, "SessionID",
                                                     "Session ID of the current message.")
          .range(0, kMaxWord)
          .property<&C::Stream, &C::SetStream>(35, "Stream", "Stream of the current message.")
          .range(0, 0x7F)
          .property<&C::SystemBytes, &C::SetSystemBytes>(36, "SystemBytes",
                                                         "System bytes of the current message.")
          .property<&C::T1, &C::SetT1>(
              37, "T1", "Inter-character time-out of SECS-I; with HSMS it is ignored and reads 0.",
              0)
          .unit("s")
          .range(0, kMaxSeconds)
          .property<&C::T2, &C::SetT2>(
              38, "T2", "Protocol time-out of SECS-I; with HSMS it is ignored and reads 0.", 0)
          .unit("s")
          .range(0, kMaxSeconds)
          .property<&C::T3, &C::SetT3>(
              39, "T3", "Reply time-out. A reply is seen when DefProc() handles it.", 45)
          .unit("s")
          .range(0, kMaxSeconds)
          .property<&C::T4, &C::SetT4>(
              40, "T4", "Inter-block time-out of SECS-I; with HSMS it is ignored and reads 0.", 0)
          .unit("s")
          .range(0, kMaxSeconds)
          .property<&C::T5, &C::SetT5>(41, "T5", "Connect separation time-out.", 10)
          .unit("s")
          .range(0, kMaxSeconds)
          .property<&C::T6, &C::SetT6>(42, "T6", "Control transaction time-out.", 5)
          .unit("s")
          .range(0, kMaxSeconds)
          .property<&C::T7, &C::SetT7>(43, "T7", "Not-selected time-out.", 10)
          .unit("s")
          .range(0, kMaxSeconds)
          .property<&C::T8, &C::SetT8>(44, "T8", "Inter-character time-out; 0: never.", 5)
          .unit("s")
          .range(0, kMaxSeconds)
          .property<&C::LinktestInterval, &C::SetLinktestInterval>(
              225, "LinktestInterval",
              "Silence after which the link is tested; T6 then closes it. 0: never.", 0)
          .unit("s")
          .range(0, kMaxSeconds)
          .keepAlive()
          .readOnly<&C::VIDCount>(45, "VIDCount", "Number of variables.")
          .property<&C::Verification, &C::SetVerification>(
              46, "Verification",
              "What verification found in the message of the work space; 2 without a model. "
              "Setting has no effect.")
          .of(enumerations::verifications())
          .property<&C::ViewStyle, &C::SetViewStyle>(47, "ViewStyle", "What the window shows.")
          .sensible(0, 3)
          .of(enumerations::viewStyles())
          .property<&C::Wbit, &C::SetWbit>(48, "Wbit", "W-bit of the current message.")
          .property<&C::WorkSpace, &C::SetWorkSpace>(
              49, "WorkSpace", "The slot of the current message; others are ignored.")
          .of(enumerations::workSpaces())
          .property<&C::LogicalConnection, &C::SetLogicalConnection>(
              50, "LogicalConnection",
              "Whether there is an equipment model. Setting makes a fresh one.")
          .of(enumerations::logicalConnections())
          .property<&C::DataBakCount, &C::SetDataBakCount>(80, "DataBakCount",
                                                           "Numbered backups of the data file.")
          .sensible(0, kMaxInt16)
          .property<&C::Edition, &C::SetEdition>(200, "Edition",
                                                 "Edition of SEMI E5; others are ignored.", 0)
          .of(enumerations::editions())
          .property<&C::Capabilities, &C::SetCapabilities>(202, "Capabilities",
                                                           "The capabilities that are on.", 0)
          .range(0, kAllCapabilities)
          .of(enumerations::capabilities())
          .property<&C::HCACK, &C::SetHCACK>(
              203, "HCACK", "Inside RemoteCommand the answer to the command, 0 at first.")
          .range(0, 0xFF)
          .of(enumerations::commandAnswers())
          .indexed<&C::CPACK, &C::SetCPACK>(
              204, "CPACK", {"lpszName"},
              "Inside RemoteCommand the objection to a parameter, 0 at first.")
          .range(0, 0xFF)
          .of(enumerations::parameterAnswers())
          .readOnlyIndexed<&C::CPVAL>(205, "CPVAL", {"lpszName"},
                                      "Inside RemoteCommand the value of a parameter as text; of a "
                                      "list the SML of its items.")
          .property<&C::ACKC10, &C::SetACKC10>(
              206, "ACKC10", "Inside TerminalText the answer to the text, 0 at first.")
          .range(0, 0xFF)
          .of(enumerations::terminalAnswers())
          .property<&C::MultiBlockTerminal, &C::SetMultiBlockTerminal>(
              209, "MultiBlockTerminal", "Texts of several lines (S10F5) are taken.", true)
          .property<&C::MaxReports, &C::SetMaxReports>(
              214, "MaxReports", "Reports that the host may define (S2F33).", GemLimits().reports)
          .range(0)
          .property<&C::MaxReportLinks, &C::SetMaxReportLinks>(
              215, "MaxReportLinks",
              "VIDs of all reports and RPTIDs of all events together (S2F33, S2F35).",
              GemLimits().references)
          .range(0)
          .property<&C::AutoReply, &C::SetAutoReply>(
              216, "AutoReply",
              "After Received the model answers, unless DefProc() was called or the reply sent.",
              false)
          .readOnly<&C::SpoolState>(230, "SpoolState", "Whether messages are spooled.")
          .of(enumerations::spoolStates())
          .readOnly<&C::SpoolCount>(231, "SpoolCount", "Messages in the spool.")
          .property<&C::MaxSpoolSize, &C::SetMaxSpoolSize>(
              232, "MaxSpoolSize", "Room of the spool.", CHGemSpool::kDefaultSize)
          .unit("KiB")
          .range(0, CHGemSpool::kGreatestSize)
          .property<&C::MaxSpoolMessages, &C::SetMaxSpoolMessages>(
              233, "MaxSpoolMessages", "Messages that the spool holds at the most.",
              CHGemSpool::kDefaultMessages)
          .range(0)
          .property<&C::RecipeFolder, &C::SetRecipeFolder>(
              240, "RecipeFolder", "Folder of the process programs; empty: beside the data file.",
              "")
          .property<&C::ACKC7, &C::SetACKC7>(241, "ACKC7",
                                             "Inside ProcessProgram the answer, 0 at first.")
          .range(0, 0xFF)
          .of(enumerations::programAnswers())
          .readOnly<&C::ProcessPrograms>(243, "ProcessPrograms",
                                         "The PPIDs of the process programs, a line each.")
          .indexed<&C::ProcessProgramBody, &C::SetProcessProgramBody>(
              244, "ProcessProgramBody", {"lpszPPID"},
              "Body of a process program as SML: the PPBODY, or the list of S7F23.")
          .property<&C::ProcessProgramErrors, &C::SetProcessProgramErrors>(
              248, "ProcessProgramErrors",
              "Inside ProcessProgram what verification finds, a line ACKC7A SEQNUM ERRW7 each.")
          .property<&C::MaxTraces, &C::SetMaxTraces>(
              234, "MaxTraces", "Traces that the host may run at once (S2F23).",
              CHGemTrace::kMostTraces)
          .sensible(0)
          .property<&C::TraceReplies, &C::SetTraceReplies>(
              235, "TraceReplies",
              "The host is to answer trace data (S6F1); in edition 0 it always is.", false)
          .readOnly<&C::ActiveTraces>(236, "ActiveTraces", "Traces that run now.")
          .readOnly<&C::VerificationText>(
              219, "VerificationText",
              "What verification objects to in the message of the work space.")
          .indexed<&C::CEIDDescription, &C::SetCEIDDescription>(68, "CEIDDescription", {"lCEID"},
                                                                "Description of an event.")
          .indexed<&C::ALCD, &C::SetALCD>(69, "ALCD", {"lALID"},
                                          "Category of an alarm; 65535: no such alarm.")
          .range(0, 0x7F)
          .indexed<&C::ALTX, &C::SetALTX>(70, "ALTX", {"lALID"}, "Text of an alarm.")
          .indexed<&C::VIDDefault, &C::SetVIDDefault>(71, "VIDDefault", {"lVID"},
                                                      "Default of a variable.")
          .indexed<&C::VIDDescription, &C::SetVIDDescription>(72, "VIDDescription", {"lVID"},
                                                              "Description of a variable.")
          .indexed<&C::VIDMax, &C::SetVIDMax>(73, "VIDMax", {"lVID"},
                                              "Upper bound of a variable; empty: none.")
          .indexed<&C::VIDMin, &C::SetVIDMin>(74, "VIDMin", {"lVID"},
                                              "Lower bound of a variable; empty: none.")
          .indexed<&C::VIDNodeType, &C::SetVIDNodeType>(75, "VIDNodeType", {"lVID"},
                                                        "Item type of a variable's value.")
          .sensible(SecsInvalid, SecsAscii2)
          .of(enumerations::itemTypes())
          .indexed<&C::VIDRawValue, &C::SetVIDRawValue>(76, "VIDRawValue", {"lVID"},
                                                        "Value of a variable as SML of one item.")
          .indexed<&C::VIDType, &C::SetVIDType>(77, "VIDType", {"lVID"}, "Kind of a variable.")
          .sensible(EquipmentConstant, DataVariable)
          .of(enumerations::variableKinds())
          .indexed<&C::VIDUnit, &C::SetVIDUnit>(78, "VIDUnit", {"lVID"}, "Unit of a variable.")
          .indexed<&C::VIDValue, kSetValue>(79, "VIDValue", {"lVID"},
                                            "Value of a variable as text.")
          .indexed<&C::ALIDEnable, &C::SetALIDEnable>(82, "ALIDEnable", {"lALID"},
                                                      "Changes of an alarm's state are reported.")
          .indexed<&C::ALIDSet, &C::SetALIDSet>(83, "ALIDSet", {"lALID"},
                                                "The alarm is set; setting reports nothing.")
          .indexed<&C::CEIDEnable, &C::SetCEIDEnable>(84, "CEIDEnable", {"lCEID"},
                                                      "An event is reported.")
          .property<&C::Transport, &C::SetTransport>(250, "Transport",
                                                     "How messages travel; others are ignored.", 0)
          .of(enumerations::transports())
          .property<&C::SerialPort, &C::SetSerialPort>(
              251, "SerialPort", "Of SECS-I: a device, or com1 and so on.", "com1")
          .property<&C::BaudRate, &C::SetBaudRate>(252, "BaudRate",
                                                   "Speed of SECS-I; below 1 becomes 9600.", 9600)
          .unit("bit/s")
          .range(1)
          .property<&C::SecsIT1, &C::SetSecsIT1>(
              253, "SecsIT1", "Inter-character time-out of SECS-I; below 1 becomes 500.", 500)
          .unit("ms")
          .range(1)
          .property<&C::SecsIT2, &C::SetSecsIT2>(
              254, "SecsIT2", "Protocol time-out of SECS-I; below 1 becomes 10000.", 10'000)
          .unit("ms")
          .range(1)
          .property<&C::SecsIT4, &C::SetSecsIT4>(
              255, "SecsIT4", "Inter-block time-out of SECS-I; below 0 becomes 45000.", 45'000)
          .unit("ms")
          .range(0)
          .property<&C::SecsIRetry, &C::SetSecsIRetry>(
              256, "SecsIRetry", "Further attempts for a block of SECS-I; below 0 becomes 3.", 3)
          .range(0, kMaxInt16)
          .property<&C::SecsIMaster, &C::SetSecsIMaster>(
              257, "SecsIMaster", "Who wins contention on the line; others are ignored.", -1)
          .of(enumerations::lineMasters())
          .statistics()
          .method<&C::DefProc>(
              51, "DefProc", {},
              "Handles the received message by the model and sends the prepared reply.")
          .method<&C::ToALID>(52, "ToALID", {"lIndex"},
                              "The ALID at a position; -1 beyond the end.")
          .method<&C::ToCEID>(53, "ToCEID", {"lIndex"},
                              "The CEID at a position; -1 beyond the end.")
          .method<&C::ToVID>(54, "ToVID", {"lIndex"}, "The VID at a position; -1 beyond the end.")
          .method<&C::InvokeAlarm>(
              55, "InvokeAlarm", {"lALID", "sALCD"},
              "Sets (bit 7 of sALCD) or clears an alarm and sends S5F1; only on-line.")
          .method<&C::InvokeEvent>(56, "InvokeEvent", {"lCEID"}, "Sends S6F11; only on-line.")
          .method<&C::IsValidVID>(57, "IsValidVID", {"lVID"}, "Whether a variable exists.")
          .method<&C::LoadIniFile>(58, "LoadIniFile", {}, "The same as LoadData().")
          .method<&C::RegisterALID>(59, "RegisterALID", {"lALID", "sALCD", "lpszALTX"},
                                    "Adds an alarm; false when it exists.")
          .method<&C::RegisterVID>(
              60, "RegisterVID",
              {"lVID", "SType", "sNodeType", "lpszMin", "lpszMax", "lpszDefault", "lpszUnit",
               "lpszDescription"},
              "Adds a variable; false when it exists or SType is not 1, 2 or 4.")
          .of("SType", enumerations::variableKinds())
          .of("sNodeType", enumerations::itemTypes())
          .method<&C::Send>(61, "Send", {}, "Sends the current message as the states allow.")
          .method<&C::UnregisterALID>(62, "UnregisterALID", {"lALID"},
                                      "Removes an alarm; false when there is none.")
          .method<&C::UnregisterVID>(63, "UnregisterVID", {"lVID"},
                                     "Removes a variable; false when there is none.")
          .method<&C::SaveData>(64, "SaveData", {}, "Saves the model data file.")
          .method<&C::WriteLogFile>(
              65, "WriteLogFile", {"lpszText"},
              "Appends a text to the communication log; false when it is off.")
          .method<&C::Setup>(66, "Setup", {"lpszCaption", "lOptionFlag"},
                             "Shows the setup sheet with the pages of the option bits.")
          .of("lOptionFlag", enumerations::setupPages())
          .method<&C::LoadData>(67, "LoadData", {},
                                "Reads settings and model; true whenever there is a model.")
          .method<&C::RegisterCEID>(81, "RegisterCEID",
                                    {"lCEID", "sPredefinedCEID", "lpszDescription"},
                                    "Adds an event with a role; false when it exists.")
          .of("sPredefinedCEID", enumerations::eventRoles())
          .method<&C::RegisterCommand>(
              249, "RegisterCommand", {"lpszName", "lpszParameters", "lpszRequired", "lCEID"},
              "Adds a remote command, its parameters as \"LOT:A,SLOT:U1\", those that must be "
              "given, and the event of its completion (0: none); false when it exists.")
          .method<&C::SetVIDRole>(
              210, "SetVIDRole", {"lVID", "sRole"},
              "Gives a variable a role, taking it from another; false when unknown.")
          .of("sRole", enumerations::variableRoles())
          .method<kSetReport>(211, "SetReportVIDs", {"lRPTID", "lpszVIDs"},
                              "Defines a report of variables with commas between their numbers; "
                              "without any it is deleted.")
          .method<&C::LinkReport>(
              212, "LinkReport", {"lCEID", "lRPTID"},
              "Adds a report to those of an event; false when unknown or there already.")
          .method<kTrySetValue>(
              213, "TrySetVIDValue", {"lVID", "lpszValue"},
              "Sets a value; false when unknown, no number, beyond its type or out of bounds.")
          .method<&C::LoadModel>(
              220, "LoadModel", {"lpszFileName"},
              "Takes the model of a text NAME.model or a model data file; false with a Problem.")
          .method<&C::RecognizeTerminalText>(
              207, "RecognizeTerminalText", {},
              "The operator has read a text: reports that event; false when there is none.")
          .method<&C::SendTerminalText>(
              208, "SendTerminalText", {"sTID", "lpszText"},
              "Sends S10F1, of a host S10F3; false when it may not go out.")
          .method<&C::SetProcessState>(
              226, "SetProcessState", {"lState"},
              "Sets the processing state's variables and reports the event of the change.")
          .of("lState", enumerations::processStates())
          .method<&C::SelectProcessProgram>(
              242, "SelectProcessProgram", {"lpszPPID"},
              "Makes a process program the one that is executed and reports that event.")
          .method<&C::DeleteProcessProgram>(245, "DeleteProcessProgram", {"lpszPPID"},
                                            "Deletes a process program; false when there is none.")
          .method<&C::SendProcessProgram>(
              246, "SendProcessProgram", {"lpszPPID"},
              "Sends a process program to the partner; ProcessProgram tells the end.")
          .method<&C::RequestProcessProgram>(
              247, "RequestProcessProgram", {"lpszPPID"},
              "Asks the partner for a process program, which is kept.")
          .event<int16_t, int16_t>(1, "CommunicationStateChanged", {"sNewState", "sPrevState"},
                                   "The communication state changed.")
          .of("sNewState", enumerations::communicationStates())
          .of("sPrevState", enumerations::communicationStates())
          .event<std::string, int32_t>(2, "Connected", {"lpszIPAddress", "lPortNumber"},
                                       "A connection was made.")
          .event<int16_t, int16_t>(3, "ConnectionStateChanged", {"sNewState", "sPrevState"},
                                   "The link's state changed.")
          .of("sNewState", enumerations::connectionStates())
          .of("sPrevState", enumerations::connectionStates())
          .event<int16_t, int16_t>(
              4, "ControlStateChanged", {"sNewState", "sPrevState"},
              "The control state changes (to off-line) or has changed (to on-line).")
          .of("sNewState", enumerations::controlStates())
          .of("sPrevState", enumerations::controlStates())
          .event<std::string, int32_t>(5, "Disconnected", {"lpszIPAddress", "lPortNumber"},
                                       "The remote end closed a connection, or it was given up.")
          .event<int16_t, std::string>(6, "Problem", {"sErrorCode", "lpszAdditionalInfo"},
                                       "The link or the model reports an error.")
          .of("sErrorCode", enumerations::gemErrors())
          .event<std::string, int32_t>(7, "Received", {"lpszIPAddress", "lPortNumber"},
                                       "A message stands in work space 0.")
          .event<>(8, "Sent", {}, "A message went out and stands in work space 1.")
          .event<int32_t>(9, "VIDChanged", {"lVID"}, "The host changed an equipment constant.")
          .event<std::string, std::string>(
              200, "RemoteCommand", {"lpszName", "lpszParameters"},
              "The host asks for a remote command; HCACK and CPACK answer it.")
          .event<int16_t, std::string>(201, "TerminalText", {"sTID", "lpszText"},
                                       "The partner sends a text for a terminal; ACKC10 answers.")
          .event<int16_t, std::string>(202, "ProcessProgram", {"sAction", "lpszPPID"},
                                       "Something is done with a process program; ACKC7 answers.")
          .of("sAction", enumerations::programActions())
          .build();
  return table;
}

} // namespace velto
