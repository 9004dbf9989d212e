#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 18: subsystem control and data.

namespace {

using enum Side;

constexpr MessageRow kRows[] = {
    primary(18, 1, Equipment, "", "Read Attribute Request"),
    reply(18, 2, Host, "", "Read Attribute Data", "s18f2", now("s18f2{<a><a'NO'>{}{}}")),
    primary(18, 3, Equipment, "", "Write Attribute Request"),
    reply(18, 4, Host, "", "Write Attribute Acknowledge", "s18f4", now("s18f4{<a><a'NO'>{}}")),
    primary(18, 5, Equipment, "", "Read Request"),
    reply(18, 6, Host, "", "Read Data", "s18f6", now("s18f6{<a><a'NO'><a>{}}")),
    primary(18, 7, Equipment, "", "Write Data Request"),
    reply(18, 8, Host, "", "Write Data Acknowledge", "s18f8", now("s18f8{<a><a'NO'>{}}")),
    primary(18, 9, Equipment, "", "Read ID Request"),
    reply(18, 10, Host, "", "Read ID Data", "s18f10", now("s18f10{<a><a'NO'><a>{}}")),
    primary(18, 11, Equipment, "", "Write ID Request"),
    reply(18, 12, Host, "", "Write ID Acknowledge", "s18f12", now("s18f12{<a><a'NO'>{}}")),
    primary(18, 13, Equipment, "", "Subsystem Command Request"),
    // Once built only: no Subsystem Command Acknowledge was accepted.
    reply(18, 14, Both, nullptr, "Subsystem Command Acknowledge", "s18f14",
          {.current = {.side = Host, .body = "", .text = "s18f14{<a><a'NO'>{}}"}}),
};

} // namespace

const std::span<const MessageRow> kStream18 = kRows;

} // namespace velto::messages
