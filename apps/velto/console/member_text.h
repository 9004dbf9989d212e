#pragma once

#include "controls/component/member_table.h"

#include <string>

namespace velto {

/// A control's members as text: a heading, then properties, methods and events in columns.
std::string describe(const MemberTable &table);

/// The same as a section of the Markdown reference.
std::string describeMarkdown(const MemberTable &table);

} // namespace velto
