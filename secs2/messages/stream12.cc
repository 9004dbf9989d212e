#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 12: wafer mapping.

namespace {

using enum Side;

constexpr MessageRow kRows[] = {
    primary(12, 1, Host, "", "Map Set-Up Data Send", {}, kReplyOptional),
    reply(12, 2, Equipment, "", "Map Set-Up Data Acknowledge", "s12f2", now("s12f2<b 0>")),
    primary(12, 3, Host, "", "Map Set-Up Data Request"),
    reply(12, 4, Equipment, "", "Map Set-Up Data", "s12f4", now("s12f4{}")),
    primary(12, 5, Host, "", "Map Transmit Inquire"),
    reply(12, 6, Equipment, "", "Map Transmit Grant", "s12f6", now("s12f6<b 0>")),
    primary(12, 7, Host, "", "Map Data Send Type 1", {}, kReplyOptional),
    reply(12, 8, Equipment, "", "Map Data Acknowledge Type 1", "s12f8", now("s12f8<b 0>")),
    primary(12, 9, Host, "", "Map Data Send Type 2", {}, kReplyOptional),
    reply(12, 10, Equipment, "", "Map Data Acknowledge Type 2", "s12f10", now("s12f10<b 0>")),
    primary(12, 11, Host, "", "Map Data Send Type 3", {}, kReplyOptional),
    reply(12, 12, Equipment, "", "Map Data Acknowledge Type 3", "s12f12", now("s12f12<b 0>")),
    primary(12, 13, Host, "", "Map Data Request Type 1"),
    reply(12, 14, Equipment, "", "Map Data Type 1", "s12f14", now("s12f14{}")),
    primary(12, 15, Host, "", "Map Data Request Type 2"),
    reply(12, 16, Equipment, "", "Map Data Type 2", "s12f16", now("s12f16{}")),
    primary(12, 17, Host, "", "Map Data Request Type 3"),
    reply(12, 18, Equipment, "", "Map Data Type 3", "s12f18", now("s12f18{}")),
    notice(12, 19, Equipment, "", "Map Error Report Send", {.current = {.side = Both}}),
    // An error report has no reply.
    reply(12, 20, Both, "!", "Map Error Report Acknowledge", "s12f20"),
};

} // namespace

const std::span<const MessageRow> kStream12 = kRows;

} // namespace velto::messages
