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

struct Row {
  const MemberTable &(*table)();
  std::unique_ptr<Control> (*make)(const ControlSite &);
};

template <typename C> constexpr Row row() {
  return {&C::table, [](const ControlSite &site) -> std::unique_ptr<Control> {
            return std::make_unique<C>(site);
          }};
}

constexpr std::array kControls{row<CVeltoSecsIICtrl>(), row<CVeltoHsmsCtrl>(),
                               row<CVeltoSecsICtrl>(),  row<CVeltoSecsISocketCtrl>(),
                               row<CVeltoSocketCtrl>(), row<CVeltoCommCtrl>(),
                               row<CVeltoLogCtrl>(),    row<CVeltoGemCtrl>()};

} // namespace

std::vector<const MemberTable *> controlTables() {
  std::vector<const MemberTable *> tables;
  for (const Row &control : kControls)
    tables.push_back(&control.table());
  return tables;
}

std::unique_ptr<Control> createControl(std::string_view name, const ControlSite &site) {
  for (const Row &control : kControls)
    if (equalsIgnoreCase(control.table().controlName, name))
      return control.make(site);
  return nullptr;
}

} // namespace velto
