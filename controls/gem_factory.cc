#include "controls/gem_factory.h"

#include "controls/link_address.h"
#include "gem/capabilities/capability.h"
#include "gem/data/own_model.h"
#include "gem/engine/engine.h"

namespace velto {

namespace {

constexpr int32_t kLinktestInterval = 30; // s

std::unique_ptr<CVeltoGemCtrl> ready(const ControlSite &site, bool host, const std::string &address,
                                     std::string &problem) {
  std::optional<LinkAddress> partner;
  problem = takeLinkAddress(address, partner);
  if (!partner)
    return nullptr;
  auto control = std::make_unique<CVeltoGemCtrl>(site);
  partner->apply(*control);
  control->engine().logical().SetHost(host);
  control->SetEdition(1);
  control->SetCapabilities(kAllCapabilities);
  control->SetLinktestInterval(kLinktestInterval);
  control->SetAutoReply(true);
  control->SetPhysicalConnection(true);
  return control;
}

} // namespace

std::unique_ptr<CVeltoGemCtrl> VeltoGem::Equipment(const ControlSite &site,
                                                   const std::string &model,
                                                   const std::string &address,
                                                   std::string *problem) {
  std::string reason;
  auto control = ready(site, false, address, reason);
  if (control != nullptr && model.empty()) {
    GemData bare;
    bare.communication.initialState = CommunicationState::NotCommunicating;
    control->engine().SetModel(std::move(bare));
  } else if (control != nullptr) {
    control->onProblem = [&reason](int16_t, const std::string &text) { reason = text; };
    if (!control->LoadModel(model))
      control = nullptr;
    else
      control->onProblem = nullptr;
  }
  if (problem != nullptr)
    *problem = reason;
  return control;
}

std::unique_ptr<CVeltoGemCtrl> VeltoGem::Host(const ControlSite &site, const std::string &address,
                                              std::string *problem) {
  std::string reason;
  auto control = ready(site, true, address, reason);
  if (control != nullptr)
    control->engine().SetModel(knownToHost({}));
  if (problem != nullptr)
    *problem = reason;
  return control;
}

} // namespace velto
