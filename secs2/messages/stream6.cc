#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 6: data collection.

namespace {

using enum Side;

// DATAID, CEID and the reports, each an RPTID and its values.
constexpr const char *kEventReport = "{<a'@DATAID'> <a'@CEID'> {{<a'@RPTID'> {}}...}}";
// An empty list when there is no such event.
constexpr const char *kEventReportOrNone = "{0} or {<a'@DATAID'> <a'@CEID'> {{<a'@RPTID'> {}}...}}";

// clang-format off
constexpr MessageRow kRows[] = {
    primary(6, 1, Host, "{<a'@TRID'> <a'i*|u*'> <a> {}}", "Trace Data Send",
            {"0"}, kReplyOptional),
    reply(6, 2, Equipment, "<a'@ACK'>", "Trace Data Acknowledge", "s6f2<b %u>"),
    primary(6, 3, Host, "", "Discrete Variable Data Send", {"0"}, kReplyOptional),
    reply(6, 4, Equipment, "<a'@ACK'>", "Discrete Variable Data Acknowledge", "s6f4<b %u>"),
    primary(6, 5, Host, "{<a'@DATAID'> <a'i*|u*'>}", "Multi-Block Data Send Inquire",
            {"0"}, kReplyOptional),
    reply(6, 6, Equipment, "<a'@ACK'>", "Multi-Block Grant", "s6f6<b %u>"),
    primary(6, 7, Equipment, "", "Data Transfer Request"),
    reply(6, 8, Host, "", "Data Transfer Data", "s6f8", now("s6f8{<u4 0><u4 0>{}}")),
    primary(6, 9, Host, "", "Formatted Variable Send", {"0"}, kReplyOptional),
    reply(6, 10, Equipment, "<a'@ACK'>", "Formatted Variable Acknowledge", "s6f10<b %u>"),
    primary(6, 11, Host, kEventReport, "Event Report Send", {"0"}, kReplyOptional),
    reply(6, 12, Equipment, "<a'@ACK'>", "Event Report Acknowledge", "s6f12<b %u>"),
    primary(6, 13, Host, "", "Annotated Event Report Send", {"0"}, kReplyOptional),
    reply(6, 14, Equipment, "<a'@ACK'>", "Annotated Event Report Acknowledge", "s6f14<b %u>"),
    primary(6, 15, Equipment, "<a'@CEID'>", "Event Report Request"),
    reply(6, 16, Host, kEventReport, "Event Report Data", "s6f16{%s}",
          {.current = {.body = kEventReportOrNone}}),
    primary(6, 17, Equipment, "", "Annotated Event Report Request"),
    reply(6, 18, Host, "", "Annotated Event Report Data", "s6f18",
          now("s6f18{<u4 0><u4 0>{}}")),
    primary(6, 19, Equipment, "<a'@RPTID'>", "Individual Report Request"),
    reply(6, 20, Host, "{}", "Individual Report Data", "s6f20{%s}"),
    primary(6, 21, Equipment, "", "Annotated Individual Report Request"),
    reply(6, 22, Host, "", "Annotated Individual Report Data", "s6f22", now("s6f22{}")),
    primary(6, 23, Equipment, "<a'@ITEM'>", "Request Spooled Data"),
    // Nothing is spooled here (RSDA 2).
    reply(6, 24, Host, "<b>", "Request Spooled Data Acknowledgement Send", "s6f24",
          now("s6f24<b 2>")),
    primary(6, 25, Both, "", "Notification Report Send", {"0"}, kReplyOptional),
    reply(6, 26, Both, "", "Notification Report Send Acknowledge", "s6f26<b %u>"),
    primary(6, 27, Host, "", "Trace Report Send", {}, kReplyOptional),
    reply(6, 28, Equipment, "", "Trace Report Send Acknowledge", "s6f28",
          now("s6f28<u4 0>")),
    primary(6, 29, Equipment, "", "Trace Report Request"),
    reply(6, 30, Host, "", "Trace Report Data", "s6f30", now("s6f30{<u4 0>{}<u4 0>}")),
};
// clang-format on

} // namespace

const std::span<const MessageRow> kStream6 = kRows;

} // namespace velto::messages
