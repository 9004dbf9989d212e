#pragma once

#include "controls/component/control.h"
#include "controls/statistics_property.h"
#include "gem/engine/engine.h"

#include <array>
#include <concepts>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace velto {

/// The numbers that a variable is set to: any but truth values and characters.
template <typename T>
concept VariableNumber = std::same_as<T, float> || std::same_as<T, double> ||
    (std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char>);

/// `VeltoGem`: a GEM equipment, or a GEM host, on an HSMS link (SEMI E30, E5, E37). Holds the
/// equipment model and one message at a time, the current message, through which the host reads
/// what arrived and composes what it sends.
///
/// Nothing is answered by itself: in Received the host calls DefProc(), or sends a reply of its
/// own.
class CVeltoGemCtrl final : public Control, public StatisticsProperty, private CHGemEventSink {
public:
  explicit CVeltoGemCtrl(const ControlSite &site);

  static const MemberTable &table();
  const MemberTable &members() const override { return table(); }

  // Link. Settings count from the next open on.
  std::string IPAddress() const { return engine_->physical().settings().ipAddress; }
  void SetIPAddress(const std::string &address);
  int32_t PortNumber() const { return engine_->physical().settings().portNumber; }
  void SetPortNumber(int32_t port);
  int32_t MyPortNumber() const { return engine_->physical().settings().myPortNumber; }
  void SetMyPortNumber(int32_t port);
  bool Server() const { return engine_->physical().settings().server; }
  void SetServer(bool server);
  bool DiscardDuplicatedBlock() const { return engine_->physical().settings().discardDuplicates; }
  void SetDiscardDuplicatedBlock(bool discard);
  /// The link is open or an open is requested.
  bool PhysicalConnection() const { return engine_->physical().OpenRequested(); }
  void SetPhysicalConnection(bool open);
  /// Always 0; SECS-I times are accepted and ignored.
  int32_t UnusedTime() const { return 0; }
  void SetUnusedTime(int32_t seconds);
  // Times in seconds, 0 to 2,147,483.
  int32_t T3() const;
  void SetT3(int32_t seconds);
  int32_t T5() const { return engine_->physical().t5 / 1000; }
  void SetT5(int32_t seconds) { setTime(engine_->physical().t5, seconds); }
  int32_t T6() const { return engine_->physical().settings().t6 / 1000; }
  void SetT6(int32_t seconds) { setTime(engine_->physical().settings().t6, seconds); }
  int32_t T7() const { return engine_->physical().settings().t7 / 1000; }
  void SetT7(int32_t seconds) { setTime(engine_->physical().settings().t7, seconds); }
  int32_t T8() const { return engine_->physical().settings().t8 / 1000; }
  void SetT8(int32_t seconds) { setTime(engine_->physical().settings().t8, seconds); }
  /// Silence on the selected link after which it is tested (SEMI E37 7.8); 0: never. While it is
  /// on, a control message that is not answered within T6 closes the link, and a second Select.req
  /// has the selected partner tested.
  int32_t LinktestInterval() const;
  void SetLinktestInterval(int32_t seconds) {
    setTime(engine_->physical().settings().linktestInterval, seconds);
  }
  // How a partner that is gone without a word is noticed, from the next opening on; in seconds, 0:
  // as the system is set, negative ones become 0.
  int32_t KeepAliveIdle() const { return keepAlive().idle; }
  void SetKeepAliveIdle(int32_t seconds) { setKeepAlive(&KeepAlive::idle, seconds); }
  int32_t KeepAliveInterval() const { return keepAlive().interval; }
  void SetKeepAliveInterval(int32_t seconds) { setKeepAlive(&KeepAlive::interval, seconds); }
  int32_t KeepAliveCount() const { return keepAlive().count; }
  void SetKeepAliveCount(int32_t count) { setKeepAlive(&KeepAlive::count, count); }
  int32_t SendTimeout() const { return keepAlive().sendTimeout; }
  void SetSendTimeout(int32_t seconds) { setKeepAlive(&KeepAlive::sendTimeout, seconds); }

  // Logical connection and states.
  int32_t DeviceID() const { return engine_->logical().DeviceID(); }
  void SetDeviceID(int32_t id);
  bool Host() const { return engine_->logical().Host(); }
  /// An equipment with the model on stays an equipment.
  void SetHost(bool host);
  /// The edition of SEMI E5 by which messages are verified and answered: 0 the early one, 1 the
  /// current one. Other numbers are ignored.
  int16_t Edition() const { return static_cast<int16_t>(engine_->logical().Edition()); }
  void SetEdition(int16_t edition);
  // What the partner may define by S2F33 and S2F35; beyond that it gets "no space". Without a model
  // the defaults.
  int32_t MaxReports() const { return limit(&GemLimits::reports); }
  void SetMaxReports(int32_t count) { setLimit(&GemLimits::reports, count); }
  /// VIDs of all reports and RPTIDs of all events together.
  int32_t MaxReportLinks() const { return limit(&GemLimits::references); }
  void SetMaxReportLinks(int32_t count) { setLimit(&GemLimits::references, count); }
  /// 1: the equipment model is on; 0: a plain connection. Setting it makes a fresh one.
  int16_t LogicalConnection() const { return engine_->gem() != nullptr ? 1 : 0; }
  void SetLogicalConnection(int16_t model);
  int16_t CommunicationState() const { return engine_->GetCommunicationState(); }
  void SetCommunicationState(int16_t state);
  int16_t ControlState() const { return engine_->GetControlState(); }
  void SetControlState(int16_t state);
  /// The operator's on-line switch; it has no position to read.
  bool ControlStateSwitch() const { return false; }
  void SetControlStateSwitch(bool on);
  bool OnlineRequest() const;
  void SetOnlineRequest(bool accept);
  bool OfflineRequest() const;
  void SetOfflineRequest(bool accept);

  // Files and log.
  std::string IniFileName() const { return engine_->IniFileName(); }
  void SetIniFileName(const std::string &name);
  std::string DataFileName() const { return dataFileName_; }
  void SetDataFileName(const std::string &name);
  int16_t DataBakCount() const { return static_cast<int16_t>(dataBackups_); }
  void SetDataBakCount(int16_t count);
  bool Log() const { return engine_->logEnabled; }
  void SetLog(bool log);
  bool LogCommunication() const { return engine_->logCommunication; }
  void SetLogCommunication(bool log);
  std::string LogFileName() const { return engine_->logFileName; }
  void SetLogFileName(const std::string &name);
  int32_t LogSize() const { return engine_->logSize; }
  void SetLogSize(int32_t kib);
  int16_t LogBakCount() const { return static_cast<int16_t>(engine_->logBackups); }
  void SetLogBakCount(int16_t count);

  // The current message: that of slot WorkSpace (0 received, 1 sent, 2 free), or its reply.
  int32_t WorkSpace() const { return engine_->gem() != nullptr ? selection_.slot : 65535; }
  void SetWorkSpace(int32_t slot);
  bool Reply() const { return selection_.reply; }
  void SetReply(bool reply);
  std::string Msg() const { return message().GetMsg(); }
  /// Fewer than 20 digits are refused, with a message box when the user wants to see errors.
  void SetMsg(const std::string &hex);
  std::string SML() const;
  /// A data message gets the device ID; a reply the system bytes of the slot's message.
  void SetSML(const std::string &sml);
  int16_t Stream() const { return header().stream(); }
  void SetStream(int16_t stream);
  int16_t Function() const { return header().function(); }
  void SetFunction(int16_t function);
  bool Wbit() const { return header().wbit(); }
  void SetWbit(bool on);
  int16_t PType() const { return header().pType(); }
  void SetPType(int16_t type);
  int16_t SType() const { return header().sType(); }
  void SetSType(int16_t type);
  int32_t SessionID() const { return header().idWord; }
  void SetSessionID(int32_t id);
  int32_t SystemBytes() const { return static_cast<int32_t>(header().systemBytes); }
  void SetSystemBytes(int32_t bytes);
  std::string Node() const { return message().node; }
  void SetNode(const std::string &path) { message().node = path; }
  int32_t NodeCount() const { return static_cast<int32_t>(message().GetNodeCount()); }
  int16_t NodeType() const { return message().GetNodeType(); }
  std::string NodeValue() const { return message().GetNodeValue(true); }
  std::string NodeValueHex() const { return message().GetNodeValue(false); }
  /// What verification found in the slot's message; 2 without a model.
  int16_t Verification() const;
  void SetVerification(int16_t) {}
  /// What verification objects to in the slot's message: the item and the rule that it breaks,
  /// "S1F13 1: MDLN longer than 6"; empty in a correct one, and without a model.
  std::string VerificationText() const;

  // Variables, events and alarms. Without a model, or for an unknown number: 0, empty or false.
  int32_t VIDCount() const;
  int32_t CEIDCount() const;
  int32_t ALIDCount() const;
  std::string VIDValue(int32_t vid) const;
  void SetVIDValue(int32_t vid, const std::string &value);
  template <VariableNumber Number> void SetVIDValue(int32_t vid, Number value) {
    SetVIDValue(vid, numberText(value));
  }
  /// The value as a number. False, and nothing is set, for an unknown variable, and for a value
  /// that is not one number or not one of that type.
  bool GetVIDValue(int32_t vid, int64_t &value) const;
  bool GetVIDValue(int32_t vid, double &value) const;
  std::string VIDRawValue(int32_t vid) const;
  /// SML of one item; line ends are dropped.
  void SetVIDRawValue(int32_t vid, const std::string &sml);
  std::string VIDMin(int32_t vid) const { return vidText(vid, &CHGemEventVid::minimum); }
  void SetVIDMin(int32_t vid, const std::string &v) {
    setVidText(vid, &CHGemEventVid::setMinimum, v);
  }
  std::string VIDMax(int32_t vid) const { return vidText(vid, &CHGemEventVid::maximum); }
  void SetVIDMax(int32_t vid, const std::string &v) {
    setVidText(vid, &CHGemEventVid::setMaximum, v);
  }
  std::string VIDDefault(int32_t vid) const { return vidText(vid, &CHGemEventVid::defaultValue); }
  void SetVIDDefault(int32_t vid, const std::string &v) {
    setVidText(vid, &CHGemEventVid::setDefaultValue, v);
  }
  std::string VIDUnit(int32_t vid) const { return vidText(vid, &CHGemEventVid::unit); }
  void SetVIDUnit(int32_t vid, const std::string &v) {
    setVidText(vid, &CHGemEventVid::setUnit, v);
  }
  std::string VIDDescription(int32_t vid) const {
    return vidText(vid, &CHGemEventVid::description);
  }
  void SetVIDDescription(int32_t vid, const std::string &v) {
    setVidText(vid, &CHGemEventVid::setDescription, v);
  }
  int16_t VIDType(int32_t vid) const;
  void SetVIDType(int32_t vid, int16_t kind);
  int16_t VIDNodeType(int32_t vid) const;
  void SetVIDNodeType(int32_t vid, int16_t type);
  std::string CEIDDescription(int32_t ceid) const;
  void SetCEIDDescription(int32_t ceid, const std::string &description);
  bool CEIDEnable(int32_t ceid) const;
  void SetCEIDEnable(int32_t ceid, bool enable);
  /// The category, 0 to 127; 65535 for an unknown alarm.
  int32_t ALCD(int32_t alid) const;
  void SetALCD(int32_t alid, int32_t category);
  std::string ALTX(int32_t alid) const;
  void SetALTX(int32_t alid, const std::string &text);
  bool ALIDEnable(int32_t alid) const;
  void SetALIDEnable(int32_t alid, bool enable);
  /// The alarm's state; setting it reports nothing. It is saved on the next tick.
  bool ALIDSet(int32_t alid) const;
  void SetALIDSet(int32_t alid, bool set);

  /// After Received, DefProc() is called by itself unless the host has called it, or has sent the
  /// reply.
  bool AutoReply() const { return autoReply_; }
  void SetAutoReply(bool on);

  // Capabilities, of which none is on at first (GemCapabilityBit).
  int32_t Capabilities() const;
  void SetCapabilities(int32_t bits);
  // Inside RemoteCommand: the answer, 0 at first (SEMI E5, HCACK), the objection to a parameter,
  // 0 when there is none (CPACK), and the value of one as text; empty when it was not given.
  int16_t HCACK() const;
  void SetHCACK(int16_t answer);
  int16_t CPACK(const std::string &name) const;
  void SetCPACK(const std::string &name, int16_t fault);
  std::string CPVAL(const std::string &name) const;
  // Traces that the host may run at once (S2F23), below 0 none, and whether it is to answer their
  // data (S6F1), as it always is in the early edition; those that run now.
  int32_t MaxTraces() const;
  void SetMaxTraces(int32_t count);
  bool TraceReplies() const;
  void SetTraceReplies(bool wanted);
  int32_t ActiveTraces() const;
  // Inside TerminalText the answer, 0 at first (SEMI E5, ACKC10).
  int16_t ACKC10() const;
  void SetACKC10(int16_t answer);
  /// Texts of several lines (S10F5) are taken.
  bool MultiBlockTerminal() const;
  void SetMultiBlockTerminal(bool takes);
  // Spooling: 0 inactive, 1 active, 2 full, 3 transmitting; the messages that wait; and what there
  // is room for, in KiB (0 to 102,400) and messages (from 0 on).
  int16_t SpoolState() const;
  int32_t SpoolCount() const;
  int32_t MaxSpoolSize() const;
  void SetMaxSpoolSize(int32_t kib);
  int32_t MaxSpoolMessages() const;
  void SetMaxSpoolMessages(int32_t count);
  /// The folder of the process programs; empty: beside the data file, its name and ".recipes".
  std::string RecipeFolder() const;
  void SetRecipeFolder(const std::string &folder);
  // Inside ProcessProgram: the answer (SEMI E5, ACKC7), 0 at first, and what verification finds, a
  // line "ACKC7A SEQNUM ERRW7" each.
  int16_t ACKC7() const;
  void SetACKC7(int16_t answer);
  std::string ProcessProgramErrors() const;
  void SetProcessProgramErrors(const std::string &lines);
  /// The PPIDs of the process programs, a line each; a line end inside one reads as a blank.
  std::string ProcessPrograms() const;
  /// The body as SML: the PPBODY, or the list of S7F23; empty when there is none. One that is no
  /// such body, or cannot be kept, changes nothing.
  std::string ProcessProgramBody(const std::string &ppid) const;
  void SetProcessProgramBody(const std::string &ppid, const std::string &sml);

  int16_t ViewStyle() const { return viewStyle_; }
  void SetViewStyle(int16_t style);

  /// Handles the received message by the model and sends the prepared reply; false without a model.
  bool DefProc();
  /// Sends the current message through the gate of the states; false with a plain connection. A
  /// message that is nothing (S0F0), or of which a number was set that its field cannot hold, is
  /// refused.
  bool Send();
  bool InvokeEvent(int32_t ceid);
  bool InvokeAlarm(int32_t alid, int16_t alcd);
  bool IsValidVID(int32_t vid) const;
  int32_t ToVID(int32_t index) const;
  int32_t ToCEID(int32_t index) const;
  int32_t ToALID(int32_t index) const;
  bool RegisterVID(int32_t vid, int16_t kind, int16_t nodeType, const std::string &minimum,
                   const std::string &maximum, const std::string &defaultValue,
                   const std::string &unit, const std::string &description);
  bool UnregisterVID(int32_t vid);
  /// Gives a variable a role (VariableRole; 255: none), taking it from another one. False for an
  /// unknown variable or role.
  bool SetVIDRole(int32_t vid, int16_t role);
  /// Defines a report, or defines it anew with its links staying; without variables it is deleted.
  /// As text: numbers with commas or blanks between them. False for an unknown variable, what is no
  /// number, and a report to delete that is not there.
  bool SetReportVIDs(int32_t rptid, const std::string &vids);
  bool SetReportVIDs(int32_t rptid, std::vector<uint32_t> vids);
  bool SetReportVIDs(int32_t rptid, std::initializer_list<uint32_t> vids) {
    return SetReportVIDs(rptid, std::vector(vids));
  }
  /// Adds a report to those that an event carries. False when either is unknown, or it has it.
  bool LinkReport(int32_t ceid, int32_t rptid);
  /// Sets a value only when the variable takes it. False, and nothing changes, for an unknown
  /// variable, for what is no number where its type is one or is beyond the type, and outside the
  /// variable's bounds.
  bool TrySetVIDValue(int32_t vid, const std::string &value);
  template <VariableNumber Number> bool TrySetVIDValue(int32_t vid, Number value) {
    return TrySetVIDValue(vid, numberText(value));
  }
  bool RegisterCEID(int32_t ceid, int16_t role, const std::string &description);
  /// The operator has read the text of a terminal: reports the event of that role. False when there
  /// is no such text, and when the event is not sent.
  bool RecognizeTerminalText();
  /// Sends S10F1, or S10F3 when this side is the host. False when it may not go out.
  bool SendTerminalText(int16_t tid, const std::string &text);
  /// Sets the variables of the processing state and reports the event of its change. False when the
  /// state is the same, or no variable has that role.
  bool SetProcessState(int32_t state);
  /// Makes a process program the one that is executed: sets its variable and reports the event.
  /// False when there is none, and when ProcessProgram was answered other than 0.
  bool SelectProcessProgram(const std::string &ppid);
  /// False when there is none.
  bool DeleteProcessProgram(const std::string &ppid);
  /// Sends a process program to the partner (S7F1, then S7F3 or S7F23), or asks it for one (S7F5,
  /// then S7F25), which is kept. ProcessProgram tells the end. False when the first message may not
  /// go out, when one is under way, and when there is none to send.
  bool SendProcessProgram(const std::string &ppid);
  bool RequestProcessProgram(const std::string &ppid);
  bool RegisterALID(int32_t alid, int16_t alcd, const std::string &text);
  bool UnregisterALID(int32_t alid);
  /// Reads the settings and the model; true whenever a model exists, whatever the data file held.
  bool LoadData();
  bool LoadIniFile() { return LoadData(); }
  bool SaveData();
  /// Appends a text to the communication log; false when the log is off.
  bool WriteLogFile(const std::string &text);
  /// Shows the setup sheet with the pages of the option bits (0x001 to 0x800; without a model those
  /// of link and log alone). True when the operator accepted it, and what he changed was applied
  /// and written; when a file could not be written, a box says so. False also without any page,
  /// and while another sheet of this control is open.
  bool Setup(const std::string &caption, int32_t options);

  /// The status tree: view style 0 empty, 1 the link, 2 the logical connection, 3 both. The
  /// statistics go with the link.
  TreeView view() const;
  std::string window() const override { return toText(view()); }
  /// What the link has carried since the control was made, over all its connections.
  LinkCounters counters() const { return engine_->physical().counters(); }
  /// What each connection that a listener now has, has carried.
  std::vector<ConnectionCounters> connectionCounters() const {
    return engine_->physical().connectionCounters();
  }
  /// The engine, for what no property reaches.
  CHGemEngine &engine() { return *engine_; }

  Event<int16_t, int16_t> onCommunicationStateChanged{*this, 1};
  Event<std::string, int32_t> onConnected{*this, 2};
  Event<int16_t, int16_t> onConnectionStateChanged{*this, 3};
  Event<int16_t, int16_t> onControlStateChanged{*this, 4};
  Event<std::string, int32_t> onDisconnected{*this, 5};
  Event<int16_t, std::string> onProblem{*this, 6};
  Event<std::string, int32_t> onReceived{*this, 7};
  Event<> onSent{*this, 8};
  Event<int32_t> onVIDChanged{*this, 9};
  Event<std::string, std::string> onRemoteCommand{*this, 200};
  Event<int16_t, std::string> onTerminalText{*this, 201};
  Event<int16_t, std::string> onProcessProgram{*this, 202};

private:
  struct Handling;
  struct Selection {
    uint8_t slot = 0;
    bool reply = false;
  };

  void loadExtras(const PropertyBag &bag) override;

  void OnConnected(const std::string &ipAddress, int32_t portNumber) override;
  void OnDisconnected(const std::string &ipAddress, int32_t portNumber) override;
  void OnConnectionStateChanged(int16_t next, int16_t previous) override;
  void OnProblem(const Problem &problem) override;
  void OnFailure(int16_t code, const std::string &text) override;
  void OnReceived(const std::string &ipAddress, int32_t portNumber) override;
  void OnSent() override;
  void OnCommunicationStateChanged(int16_t next, int16_t previous) override;
  void OnControlStateChanged(int16_t next, int16_t previous) override;
  void OnVariableChanged(int32_t vid) override;
  void OnTerminalText(uint8_t tid, const std::string &text) override;
  void OnProcessProgram(int16_t action, const std::string &ppid) override;
  void OnRemoteCommand(const std::string &name, const std::string &parameters) override;

  void onModified() override { engine_->changed(); }
  void statisticsChanged() override { viewChanged(); }
  template <typename Raise> void selected(uint8_t slot, Raise raise);
  template <typename Tell> void answerBehind(Tell tell);
  void setTime(int32_t &milliseconds, int32_t seconds);
  const KeepAlive &keepAlive() const { return engine_->physical().settings().keepAlive; }
  void setKeepAlive(int32_t KeepAlive::*part, int32_t value);

  int32_t limit(int32_t GemLimits::*part) const;
  void setLimit(int32_t GemLimits::*part, int32_t count);

  const CHSecsVerifier &slot() const;
  CHSecsVerifier &slot() { return const_cast<CHSecsVerifier &>(std::as_const(*this).slot()); }
  const CHSecsMessage &message() const;
  const CHSecsHeader &header() const; // of that message, whose body may still be undecoded
  CHSecsMessage &message() { return const_cast<CHSecsMessage &>(std::as_const(*this).message()); }

  // The model's objects by number; null without a model or an object of that number.
  CHGemEventVid *variable(int32_t vid) const;
  CHGemEventCeid *event(int32_t ceid) const;
  CHGemAlarmAlid *alarm(int32_t alid) const;
  std::string vidText(int32_t vid, std::string_view (CHGemEventVid::*getter)() const) const;
  void setVidText(int32_t vid, void (CHGemEventVid::*setter)(std::string_view),
                  std::string_view text);
  // The value texts of numbers.
  static std::string numberText(std::signed_integral auto value) {
    return std::to_string(int64_t{value});
  }
  static std::string numberText(std::unsigned_integral auto value) {
    return std::to_string(uint64_t{value});
  }
  static std::string numberText(double value);
  // The operator changed constants: the last thing to be done.
  void constantsChanged();
  /// The capabilities; null without a model.
  GemCapabilities *capabilities() const;
  /// Does something with the process programs; false while they are off.
  template <typename Work> bool withPrograms(Work work);
  /// Null also while the one of that bit is off.
  GemCapabilities *capabilitiesWith(uint32_t bit) const;
  // After a change of a value: the last thing to be done.
  void valueChanged(int32_t vid);
  // After a change of the lists: marks the model modified and saves it.
  bool saved(bool changed);

  Handle<CHGemEngine> engine_;
  std::array<CHSecsVerifier, CHGem::kSlots> plainSlots_; // while there is no model
  Selection selection_;
  std::array<std::optional<uint32_t>, CHGem::kSlots> givenSystemBytes_; // by Send(), a work space
  std::string dataFileName_ = "./VeltoGem.kel";
  int32_t dataBackups_ = 0;
  int16_t viewStyle_ = 3;
  bool autoReply_ = false;
  Handling *handling_ = nullptr; // the innermost message that the model is to answer
};

} // namespace velto
