#include "controls/registry.h"

#include "base/text.h"
#include "controls/comm_ctrl.h"
#include "controls/gem_ctrl.h"
#include "controls/hsms_ctrl.h"
#include "controls/log_ctrl.h"
#include "controls/secsi_ctrl.h"
#include "controls/secsi_socket_ctrl.h"
#include "controls/secsii_ctrl.h"
#include "controls/socket_ctrl.h"

#include <array>

namespace velto {

namespace {

struct ControlRow {
  const MemberTable &(*table)();
  std::unique_ptr<Control> (*make)(const ControlSite &);
};

template <typename C> constexpr ControlRow controlRow() {
  return {&C::table, [](const ControlSite &site) -> std::unique_ptr<Control> {
            return std::make_unique<C>(site);
          }};
}

constexpr std::array kControls{controlRow<CVeltoSecsIICtrl>(), controlRow<CVeltoHsmsCtrl>(),
                               controlRow<CVeltoSecsICtrl>(),  controlRow<CVeltoSecsISocketCtrl>(),
                               controlRow<CVeltoSocketCtrl>(), controlRow<CVeltoCommCtrl>(),
                               controlRow<CVeltoLogCtrl>(),    controlRow<CVeltoGemCtrl>()};

} // namespace

std::vector<const MemberTable *> controlTables() {
  std::vector<const MemberTable *> tables;
  tables.reserve(kControls.size());
  for (const ControlRow &control : kControls)
    tables.push_back(&control.table());
  return tables;
}

std::unique_ptr<Control> createControl(std::string_view name, const ControlSite &site) {
  for (const ControlRow &control : kControls)
    if (equalsIgnoreCase(control.table().controlName, name))
      return control.make(site);
  return nullptr;
}

} // namespace velto
