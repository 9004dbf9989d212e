#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 17: equipment control and diagnostics.

namespace {

using enum Side;

constexpr MessageRow kRows[] = {
    primary(17, 1, Equipment, "", "Data Report Create Request"),
    reply(17, 2, Host, "", "Data Report Create Acknowledge", "s17f2", now("s17f2{<u4 0><u1 0>}")),
    primary(17, 3, Equipment, "", "Data Report Delete Request"),
    reply(17, 4, Host, "", "Data Report Delete Acknowledge", "s17f4", now("s17f4{<bool 1>{}}")),
    primary(17, 5, Equipment, "", "Trace Create Request"),
    reply(17, 6, Host, "", "Trace Create Acknowledge", "s17f6", now("s17f6{<u4 0><u1 0>}")),
    primary(17, 7, Equipment, "", "Trace Delete Request"),
    reply(17, 8, Host, "", "Trace Delete Acknowledge", "s17f8", now("s17f8{<bool 1>{}}")),
    primary(17, 9, Equipment, "", "Collection Event Link Request"),
    reply(17, 10, Host, "", "Collection Event Link Acknowledge", "s17f10",
          now("s17f10{<a><u4 0><u1 0>}")),
    primary(17, 11, Equipment, "", "Collection Event Unlink Request"),
    reply(17, 12, Host, "", "Collection Event Unlink Acknowledge", "s17f12",
          now("s17f12{<a><u4 0><u4 0><u1 0>}")),
    primary(17, 13, Equipment, "", "Trace Reset Request"),
    reply(17, 14, Host, "", "Trace Reset Acknowledge", "s17f14", now("s17f14{<bool 1>{}}")),
};

} // namespace

const std::span<const MessageRow> kStream17 = kRows;

} // namespace velto::messages
