#pragma once

#include "base/bytes.h"

#include <string>
#include <string_view>

namespace velto {

// A SECS-I message as the text that a host sees: in hexadecimal; with MSEC only the header so, and
// after it the data as characters of seven bits, whose eighth bit makes their parity even.

/// The text of a message.
std::string secsIText(ByteView message, bool msec);
/// The message of a text.
Bytes fromSecsIText(std::string_view text, bool msec);

} // namespace velto
