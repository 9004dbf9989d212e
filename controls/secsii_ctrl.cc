#include "controls/secsii_ctrl.h"

#include "base/text.h"
#include "controls/component/page_field.h"
#include "controls/component/user_settings.h"
#include "controls/enumerations.h"
#include "secs2/sml_printer.h"
#include "secs2/sml_tree.h"

namespace velto {

namespace {

constexpr size_t kHeaderDigits = 2 * CHSecsHeader::kSize;
constexpr uint16_t kRBit = 0x8000;
constexpr uint16_t kEBitOfHeader = 0x8000;
constexpr uint16_t kSingleBlock = 0x8001; // E-bit, block 1

// `word` with the bits of `mask` taken from `value`.
uint16_t withBits(uint16_t word, uint16_t mask, int32_t value) {
  return static_cast<uint16_t>((word & ~mask) | (value & mask));
}

} // namespace

const MemberTable &CVeltoSecsIICtrl::table() {
  using C = CVeltoSecsIICtrl;
  static const MemberTable table =
      Members<C>("VeltoSecsII", "CVeltoSecsIICtrl",
                 "One SECS-II message: build, print, inspect and verify it.")
          .property<&C::BlockNumber, &C::SetBlockNumber>(1, "BlockNumber", "SECS-I block number.")
          .range(0, kMaxInt16)
          .property<&C::Msg, &C::SetMsg>(
              2, "Msg",
              "Header and body in hexadecimal; setting it verifies the message, and Node is then "
              "what was compared last.")
          .property<&C::DeviceID, &C::SetDeviceID>(3, "DeviceID",
                                                   "Device ID; given to messages set from SML.", 0)
          .range(0, kMaxInt16)
          .property<&C::Ebit, &C::SetEbit>(4, "Ebit", "SECS-I: the last block of the message.")
          .property<&C::Function, &C::SetFunction>(5, "Function", "Function of the message.")
          .range(0, 0xFF)
          .property<&C::Node, &C::SetNode>(6, "Node", "Path of the current node; empty: the root.")
          .readOnly<&C::NodeCount>(7, "NodeCount", "Children or values of the current node.")
          .readOnly<&C::NodeType>(8, "NodeType", "Type of the current node.")
          .of(enumerations::itemTypes())
          .readOnly<&C::NodeValue>(9, "NodeValue", "Value of the current node, decimal.")
          .readOnly<&C::NodeValueHex>(10, "NodeValueHex", "The same in hexadecimal.")
          .property<&C::PType, &C::SetPType>(11, "PType", "HSMS presentation type; 0: SECS-II.")
          .range(0, 0xFF)
          .property<&C::Rbit, &C::SetRbit>(12, "Rbit", "SECS-I: the message goes to the host.")
          .property<&C::SType, &C::SetSType>(13, "SType", "HSMS session type.")
          .range(0, 0xFF)
          .of(enumerations::sessionTypes())
          .property<&C::SessionID, &C::SetSessionID>(14, "SessionID", "HSMS session ID.")
          .range(0, kMaxWord)
          .property<&C::SML, &C::SetSML>(15, "SML", "The message as SML.")
          .property<&C::SourceID, &C::SetSourceID>(16, "SourceID", "High half of the system bytes.")
          .range(0, kMaxWord)
          .property<&C::Stream, &C::SetStream>(17, "Stream", "Stream of the message.")
          .range(0, 0x7F)
          .property<&C::SystemBytes, &C::SetSystemBytes>(18, "SystemBytes",
                                                         "Transaction identifier, 32 bits.")
          .property<&C::TransactionID, &C::SetTransactionID>(19, "TransactionID",
                                                             "Low half of the system bytes.")
          .range(0, kMaxWord)
          .property<&C::Wbit, &C::SetWbit>(20, "Wbit", "A reply is expected.")
          .readOnly<&C::XML>(21, "XML", "Always empty.")
          .readOnly<&C::SuggestedReplyMsg>(
              22, "SuggestedReplyMsg", "The suggested reply in hexadecimal; empty: none is due.")
          .property<&C::Host, &C::SetHost>(23, "Host", "The local side is the host.", false)
          .property<&C::HSMS, &C::SetHSMS>(24, "HSMS", "The header is that of HSMS, not SECS-I.",
                                           true)
          .property<&C::ErrorDialog, &C::SetErrorDialog>(25, "ErrorDialog",
                                                         "Shows errors in message boxes.", false)
          .property<&C::Async, &C::SetAsync>(26, "Async", "Kept for the host.", false)
          .readOnly<&C::Error>(27, "Error", "The last setting of SML failed.")
          .property<&C::Edition, &C::SetEdition>(200, "Edition",
                                                 "Edition of SEMI E5; others are ignored.", 0)
          .of(enumerations::editions())
          .readOnly<&C::VerificationText>(219, "VerificationText",
                                          "What verification objects to: the item and the rule.")
          .method<&C::Reset>(28, "Reset", {}, "Clears the message; the device ID stays.")
          .method<&C::Reply>(29, "Reply", {"lpszMsgHeader"},
                             "Makes the header the reply to a primary's, given in hexadecimal.")
          .method<&C::Verify>(30, "Verify", {}, "What the last setting of Msg found.")
          .of(enumerations::verifications())
          .event<>(1, "Ready", {}, "Not raised.")
          .build();
  return table;
}

CVeltoSecsIICtrl::CVeltoSecsIICtrl(const ControlSite &site) : Control(site) {
  slot_.message.messageBox = [&frontEnd = site.frontEnd](const std::string &text) {
    frontEnd.messageBox(text);
  };
  slot_.message.setShowMessageBoxes(showMessageBoxSetting(site.files));
  Reset();
}

Variant CVeltoSecsIICtrl::persistedValue(const Member &member) {
  return member.name == "DeviceID" ? Variant(int32_t{deviceId_}) : Control::persistedValue(member);
}

TreeView CVeltoSecsIICtrl::view() const {
  TreeView view;
  view.roots.push_back(MessageTree(slot_.message));
  return view;
}

void CVeltoSecsIICtrl::SetMsg(const std::string &hex) {
  if (hex.size() < kHeaderDigits)
    return;
  slot_.message.SetMsg(hex);
  slot_.Verify(HSMS());
  viewChanged();
}

std::string CVeltoSecsIICtrl::SML() const { return RenderSml(slot_.message); }

void CVeltoSecsIICtrl::SetSML(const std::string &sml) {
  const Lifetime::Watch alive(lifetime());
  SmlError error;
  const bool parsed = slot_.message.SetFromSml(sml, &error);
  if (!alive)
    return;
  error_ = !parsed;
  if (!header().hsms || header().sType() == 0)
    header().idWord = deviceId_;
  header().systemBytes = nextSystemBytes_;
  if (++nextSystemBytes_ == 0)
    nextSystemBytes_ = 1;
  if (!parsed)
    site().frontEnd.remark(error.whatAndWhere());
}

std::string CVeltoSecsIICtrl::SuggestedReplyMsg() const {
  return slot_.partner()->replyValid ? slot_.partner()->message.GetMsg() : "";
}

void CVeltoSecsIICtrl::Reset() {
  slot_.message.Reset(deviceId_);
  viewChanged();
}

void CVeltoSecsIICtrl::Reply(const std::string &messageHeader) {
  if (messageHeader.size() < kHeaderDigits)
    return;
  CHSecsHeader primary;
  primary.hsms = HSMS();
  const Bytes bytes = fromHex(messageHeader);
  DecodeHeader(primary, ByteView(bytes).first<CHSecsHeader::kSize>(), CHSecsHeader::kUnknownLength);
  if (primary.idWord == 0xFFFF && primary.isControl())
    slot_.message.Reset(0);

  CHSecsHeader &reply = header();
  const bool control = primary.hsms && primary.sType() != 0;
  reply.streamByte = primary.stream();
  reply.functionByte = static_cast<uint8_t>(primary.function() + (control ? 0 : 1));
  reply.systemBytes = primary.systemBytes;
  if (primary.hsms) {
    reply.idWord = primary.idWord;
    reply.blockWord = control ? static_cast<uint8_t>(primary.sType() + 1) : 0;
  } else {
    reply.idWord = primary.idWord ^ kRBit;
    reply.blockWord = kSingleBlock;
  }
}

void CVeltoSecsIICtrl::SetBlockNumber(int32_t number) {
  header().blockWord = withBits(header().blockWord, 0x7FFF, number);
}

void CVeltoSecsIICtrl::SetEbit(bool on) {
  header().blockWord = withBits(header().blockWord, kEBitOfHeader, on ? kEBitOfHeader : 0);
}

void CVeltoSecsIICtrl::SetPType(int16_t type) {
  header().blockWord = withBits(header().blockWord, 0xFF00, type << 8);
}

void CVeltoSecsIICtrl::SetSType(int16_t type) {
  header().blockWord = withBits(header().blockWord, 0x00FF, type);
}

void CVeltoSecsIICtrl::SetDeviceID(int32_t id) {
  deviceId_ = static_cast<uint16_t>(id);
  header().idWord = withBits(header().idWord, 0x7FFF, id);
  setModified();
}

void CVeltoSecsIICtrl::SetRbit(bool on) {
  header().idWord = withBits(header().idWord, kRBit, on ? kRBit : 0);
}

void CVeltoSecsIICtrl::SetSessionID(int32_t id) { header().idWord = static_cast<uint16_t>(id); }

void CVeltoSecsIICtrl::SetStream(int16_t stream) {
  header().setStream(static_cast<uint8_t>(stream));
}

void CVeltoSecsIICtrl::SetFunction(int16_t function) {
  header().functionByte = static_cast<uint8_t>(function);
}

void CVeltoSecsIICtrl::SetSystemBytes(int32_t bytes) {
  header().systemBytes = static_cast<uint32_t>(bytes);
}

void CVeltoSecsIICtrl::SetSourceID(int32_t id) {
  header().systemBytes = (static_cast<uint32_t>(id) << 16) | header().transactionId();
}

void CVeltoSecsIICtrl::SetTransactionID(int32_t id) {
  header().systemBytes = (header().systemBytes & 0xFFFF0000) | static_cast<uint16_t>(id);
}

void CVeltoSecsIICtrl::SetHost(bool host) {
  slot_.isEquipmentSide = !host;
  setModified();
}

void CVeltoSecsIICtrl::SetEdition(int16_t edition) {
  if (!isE5Edition(edition))
    return;
  slot_.edition = static_cast<E5Edition>(edition);
  setModified();
}

void CVeltoSecsIICtrl::SetHSMS(bool hsms) {
  header().hsms = hsms;
  setModified();
}

void CVeltoSecsIICtrl::SetErrorDialog(bool show) {
  slot_.message.setShowMessageBoxes(show);
  setModified();
}

void CVeltoSecsIICtrl::SetAsync(bool async) {
  async_ = async;
  setModified();
}

} // namespace velto
