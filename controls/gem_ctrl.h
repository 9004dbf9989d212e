#pragma once

#include "base/handle.h"
#include "controls/component/control.h"
#include "controls/gem_ctrl_capabilities.h"
#include "controls/gem_ctrl_line.h"
#include "controls/gem_ctrl_requests.h"
#include "controls/statistics_property.h"
#include "controls/variable_number.h"
#include "secs2/verifier.h"

#include <array>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velto {

class CHGemAlarmAlid;
class CHGemEventCeid;
class CHGemEventVid;
struct GemLimits;
struct KeepAlive;
struct Problem;

/// `VeltoGem`: a GEM equipment, or a GEM host (SEMI E30, E5), on an HSMS link (E37) or over SECS-I
/// (E4). Holds the equipment model and one message at a time, the current message, through which
/// the host reads what arrived and composes what it sends.
///
/// Nothing is answered by itself: in Received the host calls DefProc(), or sends a reply of its
/// own.
class CVeltoGemCtrl final : public Control,
                            public StatisticsProperty,
                            public GemCtrlLine,
                            public GemCtrlCapabilities,
                            public GemCtrlRequests {
public:
  explicit CVeltoGemCtrl(const ControlSite &site);
  ~CVeltoGemCtrl() override;

  static const MemberTable &table();
  const MemberTable &members() const override { return table(); }

  // Link. Settings count from the next open on.
  std::string IPAddress() const;
  void SetIPAddress(const std::string &address);
  int32_t PortNumber() const;
  void SetPortNumber(int32_t port);
  int32_t MyPortNumber() const;
  void SetMyPortNumber(int32_t port);
  bool Server() const;
  void SetServer(bool server);
  bool DiscardDuplicatedBlock() const;
  void SetDiscardDuplicatedBlock(bool discard);
  /// The link is open or an open is requested.
  bool PhysicalConnection() const;
  void SetPhysicalConnection(bool open);
  // Times in seconds, 0 to 2,147,483.
  int32_t T3() const;
  void SetT3(int32_t seconds);
  int32_t T5() const;
  void SetT5(int32_t seconds);
  int32_t T6() const;
  void SetT6(int32_t seconds);
  int32_t T7() const;
  void SetT7(int32_t seconds);
  int32_t T8() const;
  void SetT8(int32_t seconds);
  /// Silence on the selected link after which it is tested (SEMI E37 7.8); 0: never. While it is
  /// on, a control message that is not answered within T6 closes the link, and a second Select.req
  /// has the selected partner tested.
  int32_t LinktestInterval() const;
  void SetLinktestInterval(int32_t seconds);
  // How a partner that is gone without a word is noticed, from the next opening on; in seconds, 0:
  // as the system is set, negative ones become 0.
  int32_t KeepAliveIdle() const;
  void SetKeepAliveIdle(int32_t seconds);
  int32_t KeepAliveInterval() const;
  void SetKeepAliveInterval(int32_t seconds);
  int32_t KeepAliveCount() const;
  void SetKeepAliveCount(int32_t count);
  int32_t SendTimeout() const;
  void SetSendTimeout(int32_t seconds);

  // Logical connection and states.
  int32_t DeviceID() const;
  void SetDeviceID(int32_t id);
  bool Host() const;
  /// An equipment with the model on stays an equipment.
  void SetHost(bool host);
  /// The edition of SEMI E5 by which messages are verified and answered: 0 the early one, 1 the
  /// current one. Other numbers are ignored.
  int16_t Edition() const;
  void SetEdition(int16_t edition);
  // What the partner may define by S2F33 and S2F35; beyond that it gets "no space". Without a model
  // the defaults.
  int32_t MaxReports() const;
  void SetMaxReports(int32_t count);
  /// VIDs of all reports and RPTIDs of all events together.
  int32_t MaxReportLinks() const;
  void SetMaxReportLinks(int32_t count);
  /// 1: the equipment model is on; 0: a plain connection. Setting it makes a fresh one.
  int16_t LogicalConnection() const;
  void SetLogicalConnection(int16_t model);
  int16_t CommunicationState() const;
  void SetCommunicationState(int16_t state);
  int16_t ControlState() const;
  void SetControlState(int16_t state);
  /// The operator's on-line switch; it has no position to read.
  bool ControlStateSwitch() const { return false; }
  void SetControlStateSwitch(bool on);
  bool OnlineRequest() const;
  void SetOnlineRequest(bool accept);
  bool OfflineRequest() const;
  void SetOfflineRequest(bool accept);

  // Files and log.
  std::string IniFileName() const;
  void SetIniFileName(const std::string &name);
  std::string DataFileName() const { return dataFileName_; }
  void SetDataFileName(const std::string &name);
  int16_t DataBakCount() const { return static_cast<int16_t>(dataBackups_); }
  void SetDataBakCount(int16_t count);
  bool Log() const;
  void SetLog(bool log);
  bool LogCommunication() const;
  void SetLogCommunication(bool log);
  std::string LogFileName() const;
  void SetLogFileName(const std::string &name);
  int32_t LogSize() const;
  void SetLogSize(int32_t kib);
  int16_t LogBakCount() const;
  void SetLogBakCount(int16_t count);

  // The current message: that of slot WorkSpace (0 received, 1 sent, 2 free), or its reply.
  int32_t WorkSpace() const;
  void SetWorkSpace(int32_t slot);
  bool Reply() const { return selection_.reply; }
  void SetReply(bool reply);
  std::string Msg() const;
  /// The same as bytes: header and body. False, and `bytes` empty, above 10 MiB.
  bool MsgBytes(Bytes &bytes) const;
  /// Fewer than 20 digits are refused, with a message box when the user wants to see errors.
  void SetMsg(const std::string &hex);
  std::string SML() const;
  /// A data message gets the device ID; a reply the system bytes of the slot's message.
  void SetSML(const std::string &sml);
  int16_t Stream() const;
  void SetStream(int16_t stream);
  int16_t Function() const;
  void SetFunction(int16_t function);
  bool Wbit() const;
  void SetWbit(bool on);
  int16_t PType() const;
  void SetPType(int16_t type);
  int16_t SType() const;
  void SetSType(int16_t type);
  int32_t SessionID() const;
  void SetSessionID(int32_t id);
  int32_t SystemBytes() const;
  void SetSystemBytes(int32_t bytes);
  std::string Node() const;
  void SetNode(const std::string &path);
  int32_t NodeCount() const;
  int16_t NodeType() const;
  std::string NodeValue() const;
  std::string NodeValueHex() const;
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
    SetVIDValue(vid, variableText(value));
  }
  /// The value as a number. False, and nothing is set, for an unknown variable, and for a value
  /// that is not one number or not one of that type.
  bool GetVIDValue(int32_t vid, int64_t &value) const;
  bool GetVIDValue(int32_t vid, double &value) const;
  std::string VIDRawValue(int32_t vid) const;
  /// SML of one item; line ends are dropped.
  void SetVIDRawValue(int32_t vid, const std::string &sml);
  std::string VIDMin(int32_t vid) const;
  void SetVIDMin(int32_t vid, const std::string &v);
  std::string VIDMax(int32_t vid) const;
  void SetVIDMax(int32_t vid, const std::string &v);
  std::string VIDDefault(int32_t vid) const;
  void SetVIDDefault(int32_t vid, const std::string &v);
  std::string VIDUnit(int32_t vid) const;
  void SetVIDUnit(int32_t vid, const std::string &v);
  std::string VIDDescription(int32_t vid) const;
  void SetVIDDescription(int32_t vid, const std::string &v);
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
    return TrySetVIDValue(vid, variableText(value));
  }
  bool RegisterCEID(int32_t ceid, int16_t role, const std::string &description);
  bool RegisterALID(int32_t alid, int16_t alcd, const std::string &text);
  bool UnregisterALID(int32_t alid);
  /// Reads the settings and the model; true whenever a model exists, whatever the data file held.
  bool LoadData();
  bool LoadIniFile() { return LoadData(); }
  /// Takes the model of a file, the settings staying: a model data file, or a text NAME.model that
  /// people write. An equipment keeps the model of a text as NAME.kel, with all that the host
  /// changes in it, and makes it anew when the text has changed; a host knows by the file the names
  /// of an equipment's variables, events and alarms, and writes none. A model without a variable
  /// for the control state gets one. False when there is no model, and when the file cannot be
  /// read: Problem (0) then says why, and what was there stays.
  bool LoadModel(const std::string &fileName);
  bool SaveData();
  /// Appends a text to the communication log; false when the log is off.
  bool WriteLogFile(const std::string &text);
  /// Shows the setup sheet with the pages of the option bits (0x001 to 0x800, 0x10000; without a
  /// model those of link and log alone). True when the operator accepted it, and what he changed
  /// was applied and written; when a file could not be written, a box says so. False also without
  /// any page, and while another sheet of this control is open.
  bool Setup(const std::string &caption, int32_t options);

  /// The status tree: view style 0 empty, 1 the link, 2 the logical connection, 3 both. The
  /// statistics go with the link.
  TreeView view() const;
  std::string window() const override { return toText(view()); }
  std::optional<TreeView> windowTree() const override { return view(); }
  /// What the link has carried since the control was made, over all its connections.
  LinkCounters counters() const;
  /// What each connection that a listener now has, has carried.
  std::vector<ConnectionCounters> connectionCounters() const;
  /// The engine, for what no property reaches.
  CHGemEngine &engine();

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
  class Reports;
  struct Selection {
    uint8_t slot = 0;
    bool reply = false;
  };

  void loadExtras(const PropertyBag &bag) override;

  void onModified() override;
  void statisticsChanged() override { viewChanged(); }
  CHGemEngine &gemEngine() const override { return *engine_; }
  void lineSet() override { setModified(); }
  void capabilitySet() override { setModified(); }
  bool showsMessage() const override;
  void setTime(int32_t &milliseconds, int32_t seconds);
  const KeepAlive &keepAlive() const;
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
  // After a change of a value: the last thing to be done.
  void valueChanged(int32_t vid);
  bool loadOwn(const std::string &fileName, std::string &problem);
  bool loadKnown(const std::string &fileName, std::string &problem);
  // After a change of the lists: marks the model modified and saves it.
  bool saved(bool changed) override;

  static constexpr size_t kSlots = 3; // received, sent, free

  std::unique_ptr<Reports> reports_;
  Handle<CHGemEngine> engine_;
  std::array<CHSecsVerifier, kSlots> plainSlots_; // while there is no model
  Selection selection_;
  std::array<std::optional<uint32_t>, kSlots> givenSystemBytes_; // by Send(), a work space
  std::string dataFileName_ = "./VeltoGem.kel";
  int32_t dataBackups_ = 0;
  int16_t viewStyle_ = 3;
  bool autoReply_ = false;
};

} // namespace velto
