// The capabilities of the Gem control: what can be switched on beside the model.

#include "controls/gem_ctrl.h"

#include "gem/capabilities/capabilities.h"

#include <algorithm>

namespace velto {

int32_t CVeltoGemCtrl::Capabilities() const {
  return engine_->gem() == nullptr ? 0
                                   : static_cast<int32_t>(engine_->gem()->capabilities().enabled());
}

void CVeltoGemCtrl::SetCapabilities(int32_t bits) {
  if (engine_->gem() != nullptr)
    engine_->gem()->capabilities().enable(static_cast<uint32_t>(bits));
  setModified();
}

int16_t CVeltoGemCtrl::HCACK() const {
  return engine_->gem() == nullptr ? int16_t{0} : engine_->gem()->capabilities().remote().answer();
}

void CVeltoGemCtrl::SetHCACK(int16_t answer) {
  if (engine_->gem() != nullptr && std::in_range<uint8_t>(answer))
    engine_->gem()->capabilities().remote().setAnswer(static_cast<uint8_t>(answer));
}

int16_t CVeltoGemCtrl::CPACK(const std::string &name) const {
  return engine_->gem() == nullptr ? int16_t{0}
                                   : engine_->gem()->capabilities().remote().parameterFault(name);
}

void CVeltoGemCtrl::SetCPACK(const std::string &name, int16_t fault) {
  if (engine_->gem() != nullptr && std::in_range<uint8_t>(fault))
    engine_->gem()->capabilities().remote().setParameterFault(name, static_cast<uint8_t>(fault));
}

std::string CVeltoGemCtrl::CPVAL(const std::string &name) const {
  return engine_->gem() == nullptr ? ""
                                   : engine_->gem()->capabilities().remote().parameterValue(name);
}

void CVeltoGemCtrl::OnRemoteCommand(const std::string &name, const std::string &parameters) {
  onRemoteCommand.raise(std::string(name), std::string(parameters));
}

int16_t CVeltoGemCtrl::SpoolState() const {
  return engine_->gem() == nullptr ? int16_t{0}
                                   : int16_t{engine_->gem()->capabilities().spool().state()};
}

int32_t CVeltoGemCtrl::SpoolCount() const {
  return engine_->gem() == nullptr
             ? 0
             : static_cast<int32_t>(engine_->gem()->capabilities().spool().count());
}

int32_t CVeltoGemCtrl::MaxSpoolSize() const {
  return engine_->gem() == nullptr ? 0 : engine_->gem()->capabilities().spool().maxSize();
}

void CVeltoGemCtrl::SetMaxSpoolSize(int32_t kib) {
  if (engine_->gem() != nullptr)
    engine_->gem()->capabilities().spool().setMaxSize(
        std::clamp(kib, 0, CHGemSpool::kGreatestSize));
  setModified();
}

int32_t CVeltoGemCtrl::MaxSpoolMessages() const {
  return engine_->gem() == nullptr ? 0 : engine_->gem()->capabilities().spool().maxMessages();
}

void CVeltoGemCtrl::SetMaxSpoolMessages(int32_t count) {
  if (engine_->gem() != nullptr)
    engine_->gem()->capabilities().spool().setMaxMessages(std::max(count, 0));
  setModified();
}

} // namespace velto
