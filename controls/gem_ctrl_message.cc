// The current message of the Gem control.

#include "controls/gem_ctrl.h"

#include "controls/component/user_settings.h"
#include "gem/engine/engine.h"
#include "secs2/sml_printer.h"

namespace velto {

namespace {

bool fitsByte(int16_t number) { return number >= 0 && number <= 0xFF; }

// S0F0 is what text that is no SML leaves.
bool isMessage(const CHSecsHeader &header) {
  return header.sType() != 0 || header.stream() != 0 || header.function() != 0;
}

} // namespace

// System bytes that the last Send() gave a primary are not the host's: it gets new ones, or the
// partner would take it for the same message again.
bool CVeltoGemCtrl::Send() {
  CHSecsHeader &header = message().header;
  if (!isMessage(header) || header.misfits != 0 || !engine_->logical().deviceIdFits())
    return false;
  std::optional<uint32_t> &given = givenSystemBytes_[selection_.slot];
  const bool isPrimary = header.function() % 2 == 1 && !selection_.reply;
  if (isPrimary && given == header.systemBytes)
    header.systemBytes = 0;
  const bool hasNone = isPrimary && header.systemBytes == 0;
  const Lifetime::Watch alive(lifetime());
  const bool sent = engine_->Send(message());
  if (alive)
    given = hasNone && sent ? std::optional(message().header.systemBytes) : std::nullopt;
  return sent;
}

const CHSecsVerifier &CVeltoGemCtrl::slot() const {
  return engine_->gem() != nullptr ? engine_->gem()->slot(selection_.slot)
                                   : plainSlots_[selection_.slot];
}

const CHSecsMessage &CVeltoGemCtrl::message() const {
  return selection_.reply ? slot().partner()->message : slot().message;
}

const CHSecsHeader &CVeltoGemCtrl::header() const {
  const bool isSent = engine_->gem() != nullptr && selection_.slot == CHGem::kSent;
  return isSent && !selection_.reply ? engine_->gem()->sentHeader() : message().header;
}

int32_t CVeltoGemCtrl::WorkSpace() const {
  return engine_->gem() != nullptr ? selection_.slot : 65535;
}

void CVeltoGemCtrl::SetWorkSpace(int32_t slot) {
  if (slot < 0 || slot >= static_cast<int32_t>(CHGem::kSlots))
    return;
  selection_.slot = static_cast<uint8_t>(slot);
}

void CVeltoGemCtrl::SetReply(bool reply) { selection_.reply = reply; }

std::string CVeltoGemCtrl::Msg() const { return message().GetMsg(); }

bool CVeltoGemCtrl::MsgBytes(Bytes &bytes) const { return message().Encode(bytes); }

void CVeltoGemCtrl::SetMsg(const std::string &hex) {
  if (!message().SetMsg(hex) && showMessageBoxSetting(site().files))
    site().frontEnd.messageBox("Invalid string");
}

std::string CVeltoGemCtrl::SML() const { return RenderSml(message(), engine_->gem()); }

void CVeltoGemCtrl::SetSML(const std::string &sml) {
  CHSecsMessage &current = message();
  SmlError error;
  const bool parsed = current.SetFromSml(sml, &error);
  if (current.header.sType() == 0)
    current.header.idWord = engine_->logical().DeviceID();
  if (selection_.reply)
    current.header.systemBytes = slot().message.header.systemBytes;
  if (!parsed)
    site().frontEnd.remark(error.whatAndWhere());
}

int16_t CVeltoGemCtrl::Stream() const { return header().stream(); }

void CVeltoGemCtrl::SetStream(int16_t stream) {
  message().header.setStream(static_cast<uint8_t>(stream));
  message().header.noteFit(HeaderField::Stream, stream >= 0 && stream <= 0x7F);
}

int16_t CVeltoGemCtrl::Function() const { return header().function(); }

void CVeltoGemCtrl::SetFunction(int16_t function) {
  message().header.functionByte = static_cast<uint8_t>(function);
  message().header.noteFit(HeaderField::Function, fitsByte(function));
}

bool CVeltoGemCtrl::Wbit() const { return header().wbit(); }

void CVeltoGemCtrl::SetWbit(bool on) { message().header.setWbit(on); }

int16_t CVeltoGemCtrl::PType() const { return header().pType(); }

void CVeltoGemCtrl::SetPType(int16_t type) {
  CHSecsHeader &header = message().header;
  header.blockWord = static_cast<uint16_t>((static_cast<uint8_t>(type) << 8) | header.sType());
  header.noteFit(HeaderField::PType, fitsByte(type));
}

int16_t CVeltoGemCtrl::SType() const { return header().sType(); }

void CVeltoGemCtrl::SetSType(int16_t type) {
  CHSecsHeader &header = message().header;
  header.blockWord = static_cast<uint16_t>((header.pType() << 8) | static_cast<uint8_t>(type));
  header.noteFit(HeaderField::SType, fitsByte(type));
}

int32_t CVeltoGemCtrl::SessionID() const { return header().idWord; }

void CVeltoGemCtrl::SetSessionID(int32_t id) {
  message().header.idWord = static_cast<uint16_t>(id);
  message().header.noteFit(HeaderField::Id, id >= 0 && id <= 0xFFFF);
}

int32_t CVeltoGemCtrl::SystemBytes() const { return static_cast<int32_t>(header().systemBytes); }

void CVeltoGemCtrl::SetSystemBytes(int32_t bytes) {
  message().header.systemBytes = static_cast<uint32_t>(bytes);
}

int16_t CVeltoGemCtrl::Verification() const {
  return engine_->gem() == nullptr ? int16_t{VerificationIncorrect}
                                   : static_cast<int16_t>(slot().result);
}

std::string CVeltoGemCtrl::VerificationText() const {
  return engine_->gem() == nullptr ? "" : slot().FindingText(true);
}

std::string CVeltoGemCtrl::Node() const { return message().node; }

void CVeltoGemCtrl::SetNode(const std::string &path) { message().node = path; }

int32_t CVeltoGemCtrl::NodeCount() const { return static_cast<int32_t>(message().GetNodeCount()); }

int16_t CVeltoGemCtrl::NodeType() const { return message().GetNodeType(); }

std::string CVeltoGemCtrl::NodeValue() const { return message().GetNodeValue(true); }

std::string CVeltoGemCtrl::NodeValueHex() const { return message().GetNodeValue(false); }

} // namespace velto
