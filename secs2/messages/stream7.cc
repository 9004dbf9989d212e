#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 7: process programs.

namespace {

using enum Side;

constexpr const char *kPpid = "<a'@PPID'>";
constexpr const char *kPpids = "{<a'@PPID'>...}";
// PPID, MDLN, SOFTREV and the process commands: CCODE and its PPARMs.
constexpr const char *kFormatted =
    "{<a'@PPID'> <a'@MDLN'> <a'@SOFTREV'> {{<a'i*|u*|a'> {<a'i*|u*|a|bool|f*'>...}}...}}";
// An empty list when there is no such program. It comes first: the node path is left where the last
// alternative failed.
constexpr const char *kFormattedOrNone =
    "{0} or {<a'@PPID'> <a'@MDLN'> <a'@SOFTREV'> {{<a'i*|u*|a'> {<a'i*|u*|a|bool|f*'>...}}...}}";

constexpr MessageRow kRows[] = {
    primary(7, 1, Both, "{<a'@PPID'> <a'i*|u*'>}", "Process Program Load Inquire"),
    reply(7, 2, Both, "", "Process Program Load Grant", "s7f2", now("s7f2<b 0>")),
    primary(7, 3, Both, "{<a'@PPID'> <a'i*|u*|a|b'>}", "Process Program Send", {"0"}),
    reply(7, 4, Both, "", "Process Program Acknowledge", "s7f4<b %u>"),
    primary(7, 5, Both, kPpid, "Process Program Request"),
    reply(7, 6, Both, "{<a'@PPID'> <a'i*|u*|a|b'>} or {0}", "Process Program Data", "s7f6",
          now("s7f6{}")),
    primary(7, 7, Host, "", "Process Program ID Request"),
    reply(7, 8, Equipment, "", "Process Program ID Data", "s7f8", now("s7f8{}")),
    primary(7, 9, Both, "", "Material/Process Matrix Request"),
    reply(7, 10, Both, "", "Material/Process Matrix Data", "s7f10", now("s7f10{}")),
    primary(7, 11, Equipment, "", "Material/Process Matrix Update Send", {"0"}),
    reply(7, 12, Host, "", "Material/Process Matrix Update Acknowledge", "s7f12<b %u>"),
    primary(7, 13, Equipment, "", "Delete Material/Process Matrix Entry Send", {"0"}),
    reply(7, 14, Host, "", "Delete Material/Process Matrix Entry Acknowledge", "s7f14<b %u>"),
    primary(7, 15, Equipment, "", "Matrix Mode Select Send", {"0"}),
    reply(7, 16, Host, "", "Matrix Mode Select Acknowledge", "s7f16<b %u>"),
    primary(7, 17, Equipment, kPpids, "Delete Process Program Send", {"0"}),
    reply(7, 18, Host, "", "Delete Process Program Acknowledge", "s7f18<b %u>"),
    primary(7, 19, Equipment, "-", "Current EPPD Request"),
    reply(7, 20, Host, kPpids, "Current EPPD Data", "s7f20", now("s7f20{}")),
    primary(7, 21, Equipment, "", "Equipment Process Capabilities Request"),
    reply(7, 22, Host, "", "Equipment Process Capabilities Data", "s7f22",
          now("s7f22{<a><a><u4 0><u4 0>{}}")),
    primary(7, 23, Both, kFormatted, "Formatted Process Program Send", {"0"}),
    reply(7, 24, Both, "", "Formatted Process Program Acknowledge", "s7f24<b %u>"),
    primary(7, 25, Both, kPpid, "Formatted Process Program Request"),
    reply(7, 26, Both, kFormattedOrNone, "Formatted Process Program Data", "s7f26", now("s7f26{}")),
    primary(7, 27, Host, "", "Process Program Verification Send"),
    reply(7, 28, Equipment, "-", "Process Program Verification Acknowledge", "s7f28"),
    primary(7, 29, Host, "", "Process Program Verification Inquire"),
    reply(7, 30, Equipment, "", "Process Program Verification Grant", "s7f30", now("s7f30<b 0>")),
    primary(7, 31, Equipment, "", "Process Program Verification Request", {"0"}),
    reply(7, 32, Host, "", "Process Program Verification Acknowledge", "s7f32<b %u>"),
    primary(7, 33, Both, "", "Process Program Available Request"),
    reply(7, 34, Both, "", "Process Program Availability Data", "s7f34",
          now("s7f34{<a><u4 0><u4 0>}")),
    primary(7, 35, Both, "", "Process Program for MID Request"),
    reply(7, 36, Both, "", "Process Program for MID Data", "s7f36", now("s7f36{}")),
};

} // namespace

const std::span<const MessageRow> kStream7 = kRows;

} // namespace velto::messages
