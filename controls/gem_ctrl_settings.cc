// The settings of the Gem control: link, logical connection and states.

#include "controls/gem_ctrl.h"

#include "controls/component/page_field.h"
#include "gem/engine/engine.h"

#include <algorithm>

namespace velto {

namespace {

// The model refuses what is no state of its own.
bool isByte(int16_t state) { return state >= 0 && state <= 0xFF; }

int32_t secondsToMs(int32_t seconds) {
  constexpr auto kMost = static_cast<int32_t>(kMaxSeconds);
  return std::clamp(seconds, 0, kMost) * 1000;
}

} // namespace

// Link settings ----------------------------------------------------------------------------------

std::string CVeltoGemCtrl::IPAddress() const { return engine_->physical().settings().ipAddress; }

void CVeltoGemCtrl::SetIPAddress(const std::string &address) {
  engine_->physical().settings().ipAddress = address;
  setModified();
}

int32_t CVeltoGemCtrl::PortNumber() const { return engine_->physical().settings().portNumber; }

void CVeltoGemCtrl::SetPortNumber(int32_t port) {
  engine_->physical().settings().portNumber = port;
  setModified();
}

int32_t CVeltoGemCtrl::MyPortNumber() const { return engine_->physical().settings().myPortNumber; }

void CVeltoGemCtrl::SetMyPortNumber(int32_t port) {
  engine_->physical().settings().myPortNumber = port;
  setModified();
}

bool CVeltoGemCtrl::Server() const { return engine_->physical().settings().server; }

void CVeltoGemCtrl::SetServer(bool server) {
  engine_->physical().settings().server = server;
  setModified();
}

bool CVeltoGemCtrl::DiscardDuplicatedBlock() const {
  return engine_->physical().settings().discardDuplicates;
}

void CVeltoGemCtrl::SetDiscardDuplicatedBlock(bool discard) {
  engine_->physical().settings().discardDuplicates = discard;
  setModified();
}

bool CVeltoGemCtrl::PhysicalConnection() const { return engine_->physical().OpenRequested(); }

void CVeltoGemCtrl::SetPhysicalConnection(bool open) {
  if (open)
    engine_->OpenConnection();
  else
    engine_->CloseConnection();
  setModified();
}

void CVeltoGemCtrl::setKeepAlive(int32_t KeepAlive::*part, int32_t value) {
  engine_->physical().settings().keepAlive.*part = std::max(value, 0);
  setModified();
}

// Less than a second is not off.
int32_t CVeltoGemCtrl::LinktestInterval() const {
  const int32_t interval = engine_->physical().settings().linktestInterval;
  return interval / 1000 + (interval > 0 && interval % 1000 != 0 ? 1 : 0);
}

void CVeltoGemCtrl::setTime(int32_t &milliseconds, int32_t seconds) {
  milliseconds = secondsToMs(seconds);
  setModified();
}

int32_t CVeltoGemCtrl::T3() const {
  return engine_->gem() == nullptr ? 45 : static_cast<int32_t>(engine_->gem()->T3() / 1000);
}

void CVeltoGemCtrl::SetT3(int32_t seconds) {
  if (engine_->gem() != nullptr)
    engine_->gem()->SetT3(static_cast<uint32_t>(secondsToMs(seconds)));
  setModified();
}

int32_t CVeltoGemCtrl::T5() const { return engine_->physical().t5 / 1000; }

void CVeltoGemCtrl::SetT5(int32_t seconds) { setTime(engine_->physical().t5, seconds); }

int32_t CVeltoGemCtrl::T6() const { return engine_->physical().settings().t6 / 1000; }

void CVeltoGemCtrl::SetT6(int32_t seconds) { setTime(engine_->physical().settings().t6, seconds); }

int32_t CVeltoGemCtrl::T7() const { return engine_->physical().settings().t7 / 1000; }

void CVeltoGemCtrl::SetT7(int32_t seconds) { setTime(engine_->physical().settings().t7, seconds); }

int32_t CVeltoGemCtrl::T8() const { return engine_->physical().settings().t8 / 1000; }

void CVeltoGemCtrl::SetT8(int32_t seconds) { setTime(engine_->physical().settings().t8, seconds); }

void CVeltoGemCtrl::SetLinktestInterval(int32_t seconds) {
  setTime(engine_->physical().settings().linktestInterval, seconds);
}

int32_t CVeltoGemCtrl::KeepAliveIdle() const { return keepAlive().idle; }

void CVeltoGemCtrl::SetKeepAliveIdle(int32_t seconds) { setKeepAlive(&KeepAlive::idle, seconds); }

int32_t CVeltoGemCtrl::KeepAliveInterval() const { return keepAlive().interval; }

void CVeltoGemCtrl::SetKeepAliveInterval(int32_t seconds) {
  setKeepAlive(&KeepAlive::interval, seconds);
}

int32_t CVeltoGemCtrl::KeepAliveCount() const { return keepAlive().count; }

void CVeltoGemCtrl::SetKeepAliveCount(int32_t count) { setKeepAlive(&KeepAlive::count, count); }

int32_t CVeltoGemCtrl::SendTimeout() const { return keepAlive().sendTimeout; }

void CVeltoGemCtrl::SetSendTimeout(int32_t seconds) {
  setKeepAlive(&KeepAlive::sendTimeout, seconds);
}

const KeepAlive &CVeltoGemCtrl::keepAlive() const {
  return engine_->physical().settings().keepAlive;
}

// Logical connection and states ------------------------------------------------------------------

int32_t CVeltoGemCtrl::DeviceID() const { return engine_->logical().DeviceID(); }

void CVeltoGemCtrl::SetDeviceID(int32_t id) {
  engine_->logical().SetDeviceID(id);
  setModified();
}

bool CVeltoGemCtrl::Host() const { return engine_->logical().Host(); }

void CVeltoGemCtrl::SetHost(bool host) {
  if (engine_->gem() != nullptr && !Host())
    return;
  engine_->logical().SetHost(host);
  setModified();
}

// The role that was kept comes back, though an equipment with its model on refuses the property.
void CVeltoGemCtrl::loadExtras(const PropertyBag &bag) {
  const Variant *kept = bag.find("Host");
  if (const auto host = kept != nullptr ? kept->as(ValueType::Bool) : std::nullopt)
    engine_->logical().SetHost(host->toBool());
}

int16_t CVeltoGemCtrl::Edition() const {
  return static_cast<int16_t>(engine_->logical().Edition());
}

void CVeltoGemCtrl::SetEdition(int16_t edition) {
  if (!isE5Edition(edition))
    return;
  engine_->logical().SetEdition(static_cast<E5Edition>(edition));
  setModified();
}

int32_t CVeltoGemCtrl::limit(int32_t GemLimits::*part) const {
  return engine_->gem() != nullptr ? engine_->gem()->data().limits.*part : GemLimits().*part;
}

void CVeltoGemCtrl::setLimit(int32_t GemLimits::*part, int32_t count) {
  if (engine_->gem() != nullptr)
    engine_->gem()->data().limits.*part = std::max(count, 0);
  setModified();
}

int16_t CVeltoGemCtrl::LogicalConnection() const { return engine_->gem() != nullptr ? 1 : 0; }

void CVeltoGemCtrl::SetLogicalConnection(int16_t model) {
  engine_->SetObjectModel(model == 1);
  engine_->logical().SetHost(false);
  engine_->logical().SetDataBakCount(dataBackups_);
  setModified();
}

int16_t CVeltoGemCtrl::CommunicationState() const { return engine_->GetCommunicationState(); }

void CVeltoGemCtrl::SetCommunicationState(int16_t state) {
  if (isByte(state))
    engine_->SetCommunicationState(static_cast<uint8_t>(state));
}

int16_t CVeltoGemCtrl::ControlState() const { return engine_->GetControlState(); }

void CVeltoGemCtrl::SetControlState(int16_t state) {
  if (isByte(state))
    engine_->SetControlState(static_cast<uint8_t>(state));
}

void CVeltoGemCtrl::SetControlStateSwitch(bool on) { engine_->SetOnlineSwitch(on); }

bool CVeltoGemCtrl::OnlineRequest() const {
  return engine_->gem() != nullptr && engine_->gem()->data().control.acceptOnlineRequest;
}

void CVeltoGemCtrl::SetOnlineRequest(bool accept) {
  if (engine_->gem() != nullptr)
    engine_->gem()->data().control.acceptOnlineRequest = accept;
  setModified();
}

bool CVeltoGemCtrl::OfflineRequest() const {
  return engine_->gem() != nullptr && engine_->gem()->data().control.acceptOfflineRequest;
}

void CVeltoGemCtrl::SetOfflineRequest(bool accept) {
  if (engine_->gem() != nullptr)
    engine_->gem()->data().control.acceptOfflineRequest = accept;
  setModified();
}

int32_t CVeltoGemCtrl::MaxReports() const { return limit(&GemLimits::reports); }

void CVeltoGemCtrl::SetMaxReports(int32_t count) { setLimit(&GemLimits::reports, count); }

int32_t CVeltoGemCtrl::MaxReportLinks() const { return limit(&GemLimits::references); }

void CVeltoGemCtrl::SetMaxReportLinks(int32_t count) { setLimit(&GemLimits::references, count); }

} // namespace velto
