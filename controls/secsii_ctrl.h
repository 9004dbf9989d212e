#pragma once

#include "controls/component/control.h"
#include "secs2/verifier.h"

#include <string>

namespace velto {

/// `VeltoSecsII`: one SECS-II message (SEMI E5) without any transport. Builds it from SML or node
/// by node, gives and takes it as hexadecimal text, makes reply headers, and verifies what was
/// taken.
class CVeltoSecsIICtrl final : public Control {
public:
  explicit CVeltoSecsIICtrl(const ControlSite &site);

  static const MemberTable &table();
  const MemberTable &members() const override { return table(); }

  // Header fields. Setting one keeps the bits beside it.
  int32_t BlockNumber() const { return header().blockWord & 0x7FFF; }
  void SetBlockNumber(int32_t number);
  bool Ebit() const { return (header().blockWord & 0x8000) != 0; }
  void SetEbit(bool on);
  int16_t PType() const { return header().pType(); }
  void SetPType(int16_t type);
  int16_t SType() const { return header().sType(); }
  void SetSType(int16_t type);
  int32_t DeviceID() const { return header().idWord & 0x7FFF; }
  /// Kept for Reset() and for messages set from SML.
  void SetDeviceID(int32_t id);
  bool Rbit() const { return (header().idWord & 0x8000) != 0; }
  void SetRbit(bool on);
  int32_t SessionID() const { return header().idWord; }
  void SetSessionID(int32_t id);
  int16_t Stream() const { return header().stream(); }
  void SetStream(int16_t stream);
  int16_t Function() const { return header().function(); }
  void SetFunction(int16_t function);
  bool Wbit() const { return header().wbit(); }
  void SetWbit(bool on) { header().setWbit(on); }
  int32_t SystemBytes() const { return static_cast<int32_t>(header().systemBytes); }
  void SetSystemBytes(int32_t bytes);
  int32_t SourceID() const { return static_cast<int32_t>(header().systemBytes >> 16); }
  void SetSourceID(int32_t id);
  int32_t TransactionID() const { return header().transactionId(); }
  void SetTransactionID(int32_t id);

  /// Header and body in hexadecimal. Setting it verifies the message and leaves Node at the item
  /// that was compared last; fewer than 20 digits are ignored.
  std::string Msg() const { return slot_.message.GetMsg(); }
  void SetMsg(const std::string &hex);
  /// The message as SML. Setting it gives the message the device ID (but for control messages) and
  /// the next system bytes, also when the text does not parse.
  std::string SML() const;
  void SetSML(const std::string &sml);
  /// Always empty.
  std::string XML() const { return ""; }

  std::string Node() const { return slot_.message.node; }
  void SetNode(const std::string &path) { slot_.message.node = path; }
  int32_t NodeCount() const { return static_cast<int32_t>(slot_.message.GetNodeCount()); }
  int16_t NodeType() const { return slot_.message.GetNodeType(); }
  std::string NodeValue() const { return slot_.message.GetNodeValue(true); }
  std::string NodeValueHex() const { return slot_.message.GetNodeValue(false); }

  /// The reply suggested by the last verification, in hexadecimal; empty when there is none.
  std::string SuggestedReplyMsg() const;
  bool Host() const { return !slot_.isEquipmentSide; }
  void SetHost(bool host);
  bool HSMS() const { return header().hsms; }
  void SetHSMS(bool hsms);
  /// The edition of SEMI E5 by which messages are verified: 0 the early one, 1 the current one.
  /// Other numbers are ignored.
  int16_t Edition() const { return static_cast<int16_t>(slot_.edition); }
  void SetEdition(int16_t edition);
  bool ErrorDialog() const { return slot_.message.showMessageBoxes(); }
  void SetErrorDialog(bool show);
  bool Async() const { return async_; }
  void SetAsync(bool async);
  bool Error() const { return error_; }

  /// A fresh header with the device ID, and no body.
  void Reset();
  /// Makes the header the reply to a primary's header (20 hexadecimal digits); the body stays.
  void Reply(const std::string &messageHeader);
  /// What the last setting of Msg found: a VeltoSecsIIVerification.
  int16_t Verify() const { return static_cast<int16_t>(slot_.result); }
  /// What verification objects to in the message as it stands: the item and the rule that it
  /// breaks, "S1F13 1: MDLN longer than 6"; empty in a correct one.
  std::string VerificationText() const { return slot_.FindingText(HSMS()); }

  /// What the window shows: the message as a tree.
  TreeView view() const;
  std::string window() const override { return toText(view()); }
  std::optional<TreeView> windowTree() const override { return view(); }

  Event<> onReady{*this, 1};

private:
  /// The device ID that was set, whatever message stands here now.
  Variant persistedValue(const Member &member) override;

  const CHSecsHeader &header() const { return slot_.message.header; }
  /// To change it.
  CHSecsHeader &header() {
    viewChanged();
    return slot_.message.header;
  }

  CHSecsVerifier slot_;
  uint16_t deviceId_ = 0;
  uint32_t nextSystemBytes_ = 1;
  bool async_ = false;
  bool error_ = false;
};

} // namespace velto
