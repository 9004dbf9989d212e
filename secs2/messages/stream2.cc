#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 2: equipment control and diagnostics.

namespace {

using enum Side;

// DSPER comes as hhmmss or hhmmsscc, the SVIDs as a list or as the values of one item.
constexpr const char *kTrace = "{<a'@TRID'> <a'=6'> <a'i*|u*|a'> <a'i*|u*|a'> {}} or "
                               "{<a'@TRID'> <a'=6'> <a'i*|u*|a'> <a'i*|u*|a'> <a'i*|u*|a'>} or "
                               "{<a'@TRID'> <a'=8'> <a'i*|u*|a'> <a'i*|u*|a'> {}} or "
                               "{<a'@TRID'> <a'=8'> <a'i*|u*|a'> <a'i*|u*|a'> <a'i*|u*|a'>}";

// ECID, ECNAME, ECMIN, ECMAX, ECDEF, UNITS.
constexpr const char *kConstantNames =
    "{{6 <a'@ECID'> <a> <a'i*|u*|a|b|bool|f*|jis'> <a'i*|u*|a|b|bool|f*|jis'>"
    " <a'i*|u*|a|b|bool|f*|jis'> <a>}...}";

// For each variable its limits, each with no deadband or an upper and a lower one.
constexpr const char *kLimits =
    "{<a'@DATAID'> {{<a'@VID'> {{<a'@ACK'> {<a'i*|u*|a|bool|f*'>...}}...}}...}}";

// For each variable UNITS, LIMITMIN, LIMITMAX and its limits (LIMITID, UPPERDB, LOWERDB); an empty
// list for one that has no limits.
constexpr const char *kLimitData =
    "{{<a'@VID'> ({0} or {<a> <a'i*|u*|a|bool|f*'> <a'i*|u*|a|bool|f*'>"
    " {{<a'@ACK'> <a'i*|u*|a|bool|f*'> <a'i*|u*|a|bool|f*'>}...}})}...}";

// clang-format off
constexpr MessageRow kRows[] = {
    primary(2, 1, Both, "{<a'=6'> <a'i*|u*'>}", "Service Program Load Inquire", {"0"}),
    reply(2, 2, Both, "<b 0>", "Service Program Load Grant", "s2f2<b %u>"),
    primary(2, 3, Both, "<b>", "Service Program Send", {"0"}),
    reply(2, 4, Both, "<b 0>", "Service Program Send Acknowledge", "s2f4<b %u>"),
    primary(2, 5, Both, "<a'=6'>", "Service Program Load Request"),
    reply(2, 6, Both, "<b>", "Service Program Load Data", "s2f6<b %s>"),
    primary(2, 7, Equipment, "<a'=6'>", "Service Program Run Send", {"0"}),
    reply(2, 8, Host, "<b 0>", "Service Program Run Acknowledge", "s2f8<b %u>"),
    primary(2, 9, Equipment, "<a'=6'>", "Service Program Results Request"),
    reply(2, 10, Host, "", "Service Program Results Data", "s2f10 %s",
          now("s2f10<a>")),
    primary(2, 11, Both, "-", "Service Program Directory Request"),
    reply(2, 12, Both, "{<a'=6'>...}", "Service Program Directory Data", "s2f12{\t%s}"),
    primary(2, 13, Equipment, "{<a'@ECID'>...} or <a'i*|u*'>", "Equipment Constant Request",
            {"{}"}),
    reply(2, 14, Host, "{}", "Equipment Constant Data", "s2f14{%s}"),
    primary(2, 15, Equipment, "{{2 <a'@ECID'> <a'@ITEM'>}...}", "New Equipment Constant Send",
            {"0"}),
    reply(2, 16, Host, "<b 0>", "New Equipment Constant Acknowledge", "s2f16<b %u>"),
    primary(2, 17, Both, "-", "Date and Time Request"),
    reply(2, 18, Both, "<a'=0'> or <a'@TIME'>", "Date and Time Data", "s2f18<a'%s'>"),
    primary(2, 19, Equipment, "<a'i1|u1#1'>", "Reset/Initialize Send", {"<u1 0>"}),
    reply(2, 20, Host, "<a'i1|u1#1'>", "Reset Acknowledge", "s2f20 %s"),
    primary(2, 21, Equipment, "<a'i1|u1|a'>", "Remote Command Send", {"<u1 0>"}, kReplyOptional),
    reply(2, 22, Host, "<a'i1|u1'>", "Remote Command Acknowledge", "s2f22 %s"),
    primary(2, 23, Equipment, kTrace, "Trace Initialize Send", {"0"}),
    reply(2, 24, Host, "<b>", "Trace Initialize Acknowledge", "s2f24<b %u>"),
    primary(2, 25, Both, "<a'@ABS'>", "Loopback Diagnostic Request", {},
            {.current = {.echoes = true}}),
    reply(2, 26, Both, "<a'@ABS'>", "Loopback Diagnostic Data", "s2f26<b %s>"),
    primary(2, 27, Equipment, "{<b> <a'b|a'> {}}", "Initiate Processing Request", {"<u1 0>"}),
    reply(2, 28, Host, "<a'i1|u1'>", "Initiate Processing Acknowledge", "s2f28 %s"),
    primary(2, 29, Equipment, "{<a'@ECID'>...} or <a'i*|u*'>",
            "Equipment Constant Namelist Request"),
    reply(2, 30, Host, kConstantNames, "Equipment Constant Namelist", "s2f30{%s}"),
    primary(2, 31, Equipment, "<a'@TIME'>", "Date and Time Set Request", {"0"}),
    reply(2, 32, Host, "<a'@ACK'>", "Date and Time Set Acknowledge", "s2f32<b %u>"),
    // A body that does not define or link reports is denied as of invalid format.
    primary(2, 33, Equipment, "{<a'@DATAID'> {{<a'@RPTID'> {<a'@VID'>...}}...}}", "Define Report",
            {"0"}, {.refusal = {"2"}}),
    reply(2, 34, Host, "<a'@ACK'>", "Define Report Acknowledge", "s2f34<b %u>"),
    primary(2, 35, Equipment, "{<a'@DATAID'> {{<a'@CEID'> {<a'@RPTID'>...}}...}}",
            "Link Event Report", {"0"}, {.refusal = {"2"}}),
    reply(2, 36, Host, "<a'@ACK'>", "Link Event Report Acknowledge", "s2f36<b %u>"),
    primary(2, 37, Equipment, "{<bool 0> {<a'@CEID'>...}}", "Enable/Disable Event Report", {"0"}),
    reply(2, 38, Host, "<a'@ACK'>", "Enable/Disable Event Report Acknowledge", "s2f38<b %u>"),
    primary(2, 39, Equipment, "{<a'@DATAID'> <a'i*|u*'>}", "Multi-Block Inquire", {"0"}),
    reply(2, 40, Host, "<b>", "Multi-Block Grant", "s2f40<b %u>"),
    primary(2, 41, Equipment, "{<a'i1|u1|a'> {{2 <a'@CPNAME'> <a'i*|u*|a|b|bool|jis'>}...}}",
            "Host Command Send", {"<b 0>{}"}),
    reply(2, 42, Host, "{<a'@ACK'> {{<a'@CPNAME'> <a'@ACK'>}...}}", "Host Command Acknowledge",
          "s2f42{\t%s}"),
    primary(2, 43, Equipment, "", "Reset Spooling Streams and Functions", {"<b 0>{}"}),
    reply(2, 44, Host, "{<a'@ACK'> {{<u1> <a'@ACK'> {<u1>...}}...}}", "Reset Spooling Acknowledge",
          "s2f44{\t%s}"),
    primary(2, 45, Equipment, kLimits, "Define Variable Limit Attributes", {"<b 0>{}"}),
    reply(2, 46, Host, "{<a'@ACK'> {{<a'@VID'> <a'@ACK'> {<a'@ACK'>...}}...}}",
          "Variable Limit Attribute Acknowledge", "s2f46{\t%s}"),
    primary(2, 47, Equipment, "{<a'@VID'>...}", "Variable Limit Attribute Request"),
    reply(2, 48, Host, kLimitData, "Variable Limit Attributes Send", "s2f48", now("s2f48{}")),
    primary(2, 49, Equipment,
            "{<a'@DATAID'> <a> <a'i1|u1|a'> {{<a'@CPNAME'> <a'@ITEM'>}...}}",
            "Enhanced Remote Command", {"<b 0>{}"}),
    reply(2, 50, Host, "{<a'@ACK'> {{<a'@CPNAME'> <a'@ITEM'>}...}}",
          "Enhanced Remote Command Acknowledge", "s2f50{\t%s}"),
};
// clang-format on

} // namespace

const std::span<const MessageRow> kStream2 = kRows;

} // namespace velto::messages
