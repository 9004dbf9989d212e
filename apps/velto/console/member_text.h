#pragma once

#include "controls/component/member_table.h"

#include <span>
#include <string>

namespace velto {

/// A control's members as text: a heading, then properties, methods and events in columns, and the
/// enumerations of their numbers.
std::string describe(const MemberTable &table);

/// The members as a section of the Markdown reference.
std::string describeMarkdown(const MemberTable &table);

/// The enumerations of all controls as the last section of it.
std::string enumerationsMarkdown(std::span<const MemberTable *const> tables);

} // namespace velto
