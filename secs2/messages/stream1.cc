#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 1: equipment status.

namespace {

using enum Side;

constexpr const char *kIdentification = "{2 <a'@MDLN'> <a'@SOFTREV'>}";

// clang-format off
constexpr MessageRow kRows[] = {
    // The host identifies itself with an empty list.
    primary(1, 1, Both, "-", "Are You There Request", {"Kel", "1.00"}, {.text = "s1f1w"}),
    reply(1, 2, Both, "{0}", "On Line Data", "s1f2{\t<a'%s'>\t<a'%s'>}",
          {.hostText = "s1f2{}", .hostBody = kIdentification}),
    primary(1, 3, Equipment, "{<a'i*|u*|a'>...} or <a'i*|u*'>",
            "Selected Equipment Status Request"),
    reply(1, 4, Host, "{}", "Selected Equipment Status Data", "s1f4{\t%s}"),
    primary(1, 5, Equipment, "<b 0>", "Formatted Status Request", {"<b>"}),
    reply(1, 6, Host, "", "Formatted Status Data", "s1f6%s"),
    primary(1, 7, Equipment, "<b 0>", "Fixed Form Request", {"", "<b>"}),
    reply(1, 8, Host, "{2 <a> <a'@NONE'>}", "Fixed Form Data", "s1f8{\t%s\t%s}",
          now("s1f8{\t<a>\t{\t}}")),
    primary(1, 9, Equipment, "-", "Material Transfer Status Request"),
    reply(1, 10, Host, "{0} or {2 <b> <b>}", "Material Transfer Status Data", "s1f10{\t%s\t%s}"),
    primary(1, 11, Equipment, "{<a'i*|u*|a'>...}", "Status Variable Namelist Request"),
    reply(1, 12, Host, "{{<a'i*|u*|a'> <a> <a>}...}", "Status Variable Namelist Reply",
          "s1f12{\t%s}"),
    primary(1, 13, Both, "{0}", "Establish Communications Request", {"0", "Kel   ", "1.00  "},
            {.text = "s1f13w{\t<a'%s'>\t<a'%s'>}", .hostText = "s1f13w{}",
             .hostBody = kIdentification}),
    // An equipment that denies need not identify itself.
    reply(1, 14, Both, "{<b 0> {0}}", "Establish Communications Request Acknowledge",
          "s1f14{\t<b %u>\t{\t\t<a'%s'>\t\t<a'%s'>\t}}",
          {.hostText = "s1f14{\t<b %u>\t{\t}}",
           .hostBody = "{<b 0> {2 <a'@MDLN'> <a'@SOFTREV'>}} or {<a'@NAK'> {}}"}),
    primary(1, 15, Equipment, "-", "Request Off-Line", {"0"}),
    reply(1, 16, Host, "<b>", "Off-Line Acknowledge", "s1f16<b %u>"),
    primary(1, 17, Equipment, "-", "Request On-Line", {"0"}),
    reply(1, 18, Host, "<b>", "On-Line Acknowledge", "s1f18<b %u>"),
    primary(1, 19, Both, "{3 <a'u*|a'> {<a'u*|a'>...} {<a'u*|a'>...}}", "Get Attribute"),
    reply(1, 20, Both, "{2 {} {{2 <a'u*'> <a'<81'>}...}}", "Attribute Data",
          "s1f20{\t{\t\t%s\t}\t{\t\t%s\t}}"),
    added(primary(1, 21, Equipment, "{<a'i*|u*|a'>...}", "Data Variable Namelist Request")),
    // VID, DVVALNAME, UNITS.
    added(reply(1, 22, Host, "{{<a'i*|u*|a'> <a> <a>}...}", "Data Variable Namelist",
                "s1f22{\t%s}")),
    added(primary(1, 23, Equipment, "{<a'i*|u*|a'>...}", "Collection Event Namelist Request")),
    // CEID, CENAME, the VIDs of the data that belong to the event.
    added(reply(1, 24, Host, "{{<a'i*|u*|a'> <a> {<a'i*|u*|a'>...}}...}",
                "Collection Event Namelist", "s1f24{\t%s}")),
};
// clang-format on

} // namespace

const std::span<const MessageRow> kStream1 = kRows;

} // namespace velto::messages
