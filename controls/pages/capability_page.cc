#include "controls/pages/capability_page.h"

#include "gem/capabilities/spool.h"

namespace velto {

namespace {

std::vector<PageField> settingFields() {
  return {{"MaxTraces", "Traces at Once", 0, kMaxInt32},
          {"TraceReplies", "Trace Data Want Replies"},
          {"MultiBlockTerminal", "Terminal Takes Several Lines"},
          {"MaxSpoolSize", "Spool Size (KiB)", 0, CHGemSpool::kGreatestSize},
          {"MaxSpoolMessages", "Spooled Messages", 0, kMaxInt32},
          {"RecipeFolder", "Recipe Folder"}};
}

} // namespace

CPropCapabilities::CPropCapabilities(SetupDesk &desk) : PropertyFieldsPage(desk, settingFields()) {}

// A capability has a check that is called by its name.
void CPropCapabilities::fill(CVeltoGemCtrl &control) {
  const auto enabled = static_cast<uint32_t>(control.Capabilities());
  for (const GemCapabilityName &capability : kCapabilityNames)
    page().check(capability.key, capability.name, (enabled & capability.bit) != 0);
  PropertyFieldsPage::fill(control);
}

void CPropCapabilities::apply(CVeltoGemCtrl &control, SetupChanges &changes) const {
  const auto before = static_cast<uint32_t>(control.Capabilities());
  uint32_t enabled = before;
  for (const GemCapabilityName &capability : kCapabilityNames) {
    const Field &field = page().field(capability.key);
    if (field.changed())
      enabled = field.value == "true" ? enabled | capability.bit : enabled & ~capability.bit;
  }
  if (enabled != before) {
    control.SetCapabilities(static_cast<int32_t>(enabled));
    changes.settings = true;
  }
  PropertyFieldsPage::apply(control, changes);
}

} // namespace velto
