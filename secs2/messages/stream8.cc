#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 8: control program transfer.

namespace {

using enum Side;

constexpr MessageRow kRows[] = {
    primary(8, 1, Both, "", "Boot Program Request"),
    reply(8, 2, Both, "", "Boot Program Data", "s8f2", now("s8f2<b>")),
    primary(8, 3, Both, "", "Executive Program Request"),
    reply(8, 4, Both, "", "Executive Program Data", "s8f4", now("s8f4<b>")),
};

} // namespace

const std::span<const MessageRow> kStream8 = kRows;

} // namespace velto::messages
