#pragma once

#include "controls/gem_pair.h"
#include "gem/capabilities/capabilities.h"

namespace velto {

constexpr const char *kCapabilityTables = "controls/gem_capabilities.txt";

/// A pair whose equipment has all capabilities on, and knows some remote commands.
class GemCapabilitiesTest : public GemPair {
protected:
  GemCapabilitiesTest() {
    equipment.control->SetCapabilities(kAllCapabilities);
    equipment.model().data().commands = {
        {.name = "START",
         .parameters = {{"LOT", SecsAscii, true}, {"SLOT", SecsByte, false}},
         .event = 7},
        {.name = "LOCAL", .states = CHGemCommand::stateBit(ControlState::OnlineLocal)},
        {.name = "5"},
    };
  }
  void addVariable(uint32_t vid, uint8_t type, uint8_t role) {
    CHGemEventVid variable;
    variable.vid = vid;
    variable.nodeType = type;
    variable.role = role;
    variable.SetValue(type == SecsAscii || type == SecsList ? "" : "0");
    equipment.model().data().variables.Add(std::move(variable));
  }
};

} // namespace velto
