#pragma once

#include "controls/component/control.h"

#include <memory>
#include <string_view>
#include <vector>

namespace velto {

/// The tables of all controls, in the order of the reference.
std::vector<const MemberTable *> controlTables();

/// A new control by its name ("VeltoHsms", without regard to letter case); null when the name is
/// unknown.
std::unique_ptr<Control> createControl(std::string_view name, const ControlSite &site);

} // namespace velto
