#include "controls/gem_factory.h"

#include "base/text.h"
#include "gem/capabilities/capability.h"
#include "gem/data/own_model.h"
#include "gem/engine/engine.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace velto {

namespace {

constexpr std::string_view kListen = "listen:";
constexpr int32_t kDefaultPort = 5001;
constexpr int32_t kLinktestInterval = 30; // s

// False when the text is no address.
bool setAddress(CVeltoGemCtrl &control, std::string_view address) {
  const bool listens = address.starts_with(kListen);
  if (listens)
    address.remove_prefix(kListen.size());
  const size_t colon = address.rfind(':');
  const std::string_view name =
      listens ? std::string_view() : address.substr(0, std::min(colon, address.size()));
  const auto port =
      listens || colon != std::string_view::npos
          ? wholeNumber(address.substr(listens ? 0 : colon + 1), listens ? 0 : 1, 0xFFFF)
          : std::optional(kDefaultPort);
  if (!port || (!listens && name.empty()))
    return false;
  control.SetServer(listens);
  control.SetIPAddress(std::string(name));
  control.SetPortNumber(*port);
  return true;
}

std::unique_ptr<CVeltoGemCtrl> ready(const ControlSite &site, bool host, const std::string &address,
                                     std::string &problem) {
  auto control = std::make_unique<CVeltoGemCtrl>(site);
  if (!setAddress(*control, address)) {
    problem = address + " is no address: HOST, HOST:PORT or listen:PORT";
    return nullptr;
  }
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
