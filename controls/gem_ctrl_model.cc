// Variables, events and alarms of the Gem control.

#include "controls/gem_ctrl.h"

#include "base/text.h"
#include "gem/data/number_text.h"
#include "gem/engine/engine.h"

#include <algorithm>

namespace velto {

namespace {

constexpr int32_t kUnknownCategory = 0xFFFF;

uint32_t number(int32_t id) { return static_cast<uint32_t>(id); }

} // namespace

// Of any kind, also a number that is none: VIDType may set it, and another one afterwards.
CHGemEventVid *CVeltoGemCtrl::variable(int32_t vid) const {
  return engine_->gem() == nullptr ? nullptr : engine_->gem()->data().variables.find(number(vid));
}

CHGemEventCeid *CVeltoGemCtrl::event(int32_t ceid) const {
  return engine_->gem() == nullptr ? nullptr : engine_->gem()->data().events.FindCeid(number(ceid));
}

CHGemAlarmAlid *CVeltoGemCtrl::alarm(int32_t alid) const {
  return engine_->gem() == nullptr ? nullptr : engine_->gem()->data().alarms.FindAlid(number(alid));
}

int32_t CVeltoGemCtrl::VIDCount() const {
  return engine_->gem() == nullptr ? 0
                                   : static_cast<int32_t>(engine_->gem()->data().variables.Count());
}

int32_t CVeltoGemCtrl::CEIDCount() const {
  return engine_->gem() == nullptr ? 0
                                   : static_cast<int32_t>(engine_->gem()->data().events.Count());
}

int32_t CVeltoGemCtrl::ALIDCount() const {
  return engine_->gem() == nullptr ? 0
                                   : static_cast<int32_t>(engine_->gem()->data().alarms.Count());
}

int32_t CVeltoGemCtrl::ToVID(int32_t index) const {
  return engine_->gem() == nullptr ? -1 : engine_->gem()->data().variables.numberAt(index);
}

int32_t CVeltoGemCtrl::ToCEID(int32_t index) const {
  return engine_->gem() == nullptr ? -1 : engine_->gem()->data().events.numberAt(index);
}

int32_t CVeltoGemCtrl::ToALID(int32_t index) const {
  return engine_->gem() == nullptr ? -1 : engine_->gem()->data().alarms.numberAt(index);
}

bool CVeltoGemCtrl::IsValidVID(int32_t vid) const { return variable(vid) != nullptr; }

std::string CVeltoGemCtrl::VIDValue(int32_t vid) const {
  const CHGemEventVid *found = variable(vid);
  return found == nullptr ? "" : found->GetValue();
}

void CVeltoGemCtrl::SetVIDValue(int32_t vid, const std::string &value) {
  if (CHGemEventVid *found = variable(vid))
    found->SetValue(value);
  valueChanged(vid);
}

bool CVeltoGemCtrl::TrySetVIDValue(int32_t vid, const std::string &value) {
  CHGemEventVid *found = variable(vid);
  if (found == nullptr || (found->isNumeric() && trim(value).empty()) || !found->CanHold(value) ||
      !found->IsInRange(value))
    return false;
  found->SetValue(value);
  valueChanged(vid);
  return true;
}

bool CVeltoGemCtrl::GetVIDValue(int32_t vid, int64_t &value) const {
  const std::string text = VIDValue(vid);
  if (!isDecimalNumber(text) || !isInIntegerType(SecsLong8, text))
    return false;
  value = parseDecimal(text).value_or(0);
  return true;
}

bool CVeltoGemCtrl::GetVIDValue(int32_t vid, double &value) const {
  const std::string text = VIDValue(vid);
  if (!isDecimalNumber(text))
    return false;
  value = parseReal(text);
  return true;
}

std::string variableText(double value) {
  std::string text;
  appendFixed(text, value);
  return text;
}

std::string CVeltoGemCtrl::VIDRawValue(int32_t vid) const {
  return vidText(vid, &CHGemEventVid::rawValue);
}

void CVeltoGemCtrl::SetVIDRawValue(int32_t vid, const std::string &sml) {
  std::string line = sml;
  std::erase_if(line, [](char c) { return c == '\r' || c == '\n'; });
  setVidText(vid, &CHGemEventVid::setRawValue, line);
  valueChanged(vid);
}

// A capability may report an event of it, in which the host may do anything.
void CVeltoGemCtrl::valueChanged(int32_t vid) {
  setModified();
  engine_->variableChanged(number(vid));
}

std::string CVeltoGemCtrl::vidText(int32_t vid,
                                   std::string_view (CHGemEventVid::*getter)() const) const {
  const CHGemEventVid *found = variable(vid);
  return std::string(found == nullptr ? "" : (found->*getter)());
}

void CVeltoGemCtrl::setVidText(int32_t vid, void (CHGemEventVid::*setter)(std::string_view),
                               std::string_view text) {
  if (CHGemEventVid *found = variable(vid))
    (found->*setter)(text);
  setModified();
}

std::string CVeltoGemCtrl::VIDMin(int32_t vid) const {
  return vidText(vid, &CHGemEventVid::minimum);
}

void CVeltoGemCtrl::SetVIDMin(int32_t vid, const std::string &v) {
  setVidText(vid, &CHGemEventVid::setMinimum, v);
}

std::string CVeltoGemCtrl::VIDMax(int32_t vid) const {
  return vidText(vid, &CHGemEventVid::maximum);
}

void CVeltoGemCtrl::SetVIDMax(int32_t vid, const std::string &v) {
  setVidText(vid, &CHGemEventVid::setMaximum, v);
}

std::string CVeltoGemCtrl::VIDDefault(int32_t vid) const {
  return vidText(vid, &CHGemEventVid::defaultValue);
}

void CVeltoGemCtrl::SetVIDDefault(int32_t vid, const std::string &v) {
  setVidText(vid, &CHGemEventVid::setDefaultValue, v);
}

std::string CVeltoGemCtrl::VIDUnit(int32_t vid) const { return vidText(vid, &CHGemEventVid::unit); }

void CVeltoGemCtrl::SetVIDUnit(int32_t vid, const std::string &v) {
  setVidText(vid, &CHGemEventVid::setUnit, v);
}

std::string CVeltoGemCtrl::VIDDescription(int32_t vid) const {
  return vidText(vid, &CHGemEventVid::description);
}

void CVeltoGemCtrl::SetVIDDescription(int32_t vid, const std::string &v) {
  setVidText(vid, &CHGemEventVid::setDescription, v);
}

int16_t CVeltoGemCtrl::VIDType(int32_t vid) const {
  const CHGemEventVid *found = variable(vid);
  return found == nullptr ? int16_t{0} : int16_t{found->kind};
}

void CVeltoGemCtrl::SetVIDType(int32_t vid, int16_t kind) {
  if (CHGemEventVid *found = variable(vid))
    found->kind = static_cast<uint8_t>(kind);
  setModified();
}

int16_t CVeltoGemCtrl::VIDNodeType(int32_t vid) const {
  const CHGemEventVid *found = variable(vid);
  return found == nullptr ? int16_t{0} : int16_t{found->nodeType};
}

void CVeltoGemCtrl::SetVIDNodeType(int32_t vid, int16_t type) {
  if (CHGemEventVid *found = variable(vid))
    found->nodeType = static_cast<uint8_t>(type);
  setModified();
}

std::string CVeltoGemCtrl::CEIDDescription(int32_t ceid) const {
  const CHGemEventCeid *found = event(ceid);
  return found == nullptr ? "" : found->description;
}

void CVeltoGemCtrl::SetCEIDDescription(int32_t ceid, const std::string &description) {
  if (CHGemEventCeid *found = event(ceid))
    found->description = description;
  setModified();
}

bool CVeltoGemCtrl::CEIDEnable(int32_t ceid) const {
  const CHGemEventCeid *found = event(ceid);
  return found != nullptr && found->enable;
}

void CVeltoGemCtrl::SetCEIDEnable(int32_t ceid, bool enable) {
  if (CHGemEventCeid *found = event(ceid))
    found->enable = enable;
  setModified();
}

int32_t CVeltoGemCtrl::ALCD(int32_t alid) const {
  const CHGemAlarmAlid *found = alarm(alid);
  return found == nullptr ? kUnknownCategory : int32_t{found->category()};
}

void CVeltoGemCtrl::SetALCD(int32_t alid, int32_t category) {
  if (CHGemAlarmAlid *found = alarm(alid))
    found->alcd = static_cast<uint8_t>((found->alcd & CHGemAlarmAlid::kSet) | (category & 0x7F));
  setModified();
}

std::string CVeltoGemCtrl::ALTX(int32_t alid) const {
  const CHGemAlarmAlid *found = alarm(alid);
  return found == nullptr ? "" : found->altx;
}

void CVeltoGemCtrl::SetALTX(int32_t alid, const std::string &text) {
  if (CHGemAlarmAlid *found = alarm(alid))
    found->altx = text;
  setModified();
}

bool CVeltoGemCtrl::ALIDEnable(int32_t alid) const {
  const CHGemAlarmAlid *found = alarm(alid);
  return found != nullptr && found->enable;
}

void CVeltoGemCtrl::SetALIDEnable(int32_t alid, bool enable) {
  CHGemAlarmAlid *found = alarm(alid);
  if (found == nullptr || found->enable == enable)
    return;
  found->enable = enable;
  setModified();
}

bool CVeltoGemCtrl::ALIDSet(int32_t alid) const {
  const CHGemAlarmAlid *found = alarm(alid);
  return found != nullptr && found->isSet();
}

void CVeltoGemCtrl::SetALIDSet(int32_t alid, bool set) {
  CHGemAlarmAlid *found = alarm(alid);
  if (found == nullptr || found->isSet() == set)
    return;
  found->alcd ^= CHGemAlarmAlid::kSet;
  engine_->gem()->alarms().setModified(); // saved on the next tick
  setModified();
}

// The registration stands whether or not its file could be written: a tick tries again then.
bool CVeltoGemCtrl::saved(bool changed) {
  if (changed) {
    SaveData();
    engine_->changed();
    viewChanged();
  }
  return changed;
}

bool CVeltoGemCtrl::RegisterVID(int32_t vid, int16_t kind, int16_t nodeType,
                                const std::string &minimum, const std::string &maximum,
                                const std::string &defaultValue, const std::string &unit,
                                const std::string &description) {
  if (engine_->gem() == nullptr || kind < 0 || kind > 0xFF)
    return false;
  CHGemEventVid fresh;
  fresh.vid = number(vid);
  fresh.kind = static_cast<uint8_t>(kind);
  fresh.nodeType = static_cast<uint8_t>(nodeType);
  fresh.setMinimum(minimum);
  fresh.setMaximum(maximum);
  fresh.setDefaultValue(defaultValue);
  fresh.setUnit(unit);
  fresh.setDescription(description);
  return saved(engine_->gem()->events().RegisterVID(std::move(fresh)));
}

bool CVeltoGemCtrl::UnregisterVID(int32_t vid) {
  return engine_->gem() != nullptr && saved(engine_->gem()->events().UnregisterVID(number(vid)));
}

bool CVeltoGemCtrl::SetVIDRole(int32_t vid, int16_t role) {
  return engine_->gem() != nullptr && std::in_range<uint8_t>(role) &&
         saved(engine_->gem()->events().SetVIDRole(number(vid), static_cast<uint8_t>(role)));
}

bool CVeltoGemCtrl::SetReportVIDs(int32_t rptid, const std::string &vids) {
  std::string words = vids;
  std::ranges::replace(words, ',', ' ');
  std::vector<uint32_t> numbers;
  const bool allRead = allNumbers(words, [&numbers](std::string_view word) {
    numbers.push_back(static_cast<uint32_t>(parseUnsigned(word).value_or(0)));
    return isDecimalNumber(word) && isInIntegerType(SecsDWord, word);
  });
  return allRead && SetReportVIDs(rptid, std::move(numbers));
}

bool CVeltoGemCtrl::SetReportVIDs(int32_t rptid, std::vector<uint32_t> vids) {
  return engine_->gem() != nullptr &&
         saved(engine_->gem()->events().SetReport(number(rptid), std::move(vids)));
}

bool CVeltoGemCtrl::LinkReport(int32_t ceid, int32_t rptid) {
  return engine_->gem() != nullptr &&
         saved(engine_->gem()->events().LinkReport(number(ceid), number(rptid)));
}

bool CVeltoGemCtrl::RegisterCEID(int32_t ceid, int16_t role, const std::string &description) {
  return engine_->gem() != nullptr && saved(engine_->gem()->events().RegisterCEID(
                                          number(ceid), static_cast<uint8_t>(role), description));
}

bool CVeltoGemCtrl::RegisterALID(int32_t alid, int16_t alcd, const std::string &text) {
  return engine_->gem() != nullptr && saved(engine_->gem()->alarms().RegisterALID(
                                          number(alid), static_cast<uint8_t>(alcd), text));
}

bool CVeltoGemCtrl::UnregisterALID(int32_t alid) {
  return engine_->gem() != nullptr && saved(engine_->gem()->alarms().UnregisterALID(number(alid)));
}

} // namespace velto
