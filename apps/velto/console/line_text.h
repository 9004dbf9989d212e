#pragma once

#include "base/local_time.h"

#include <string>
#include <string_view>

namespace velto {

/// What stands in front of a line: "09:41:07.115  ".
std::string timeStamp(const LocalTime &time);
/// The time in a line of JSON: "2026-03-01T09:41:07.115".
std::string isoTime(const LocalTime &time);
/// Indents all lines but the first, so that they begin below the text behind the time. Indented,
/// short lines may take more than a screen is given (kMostOnScreen); they are cut short then.
std::string indented(std::string_view lines);

} // namespace velto
