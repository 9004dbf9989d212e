#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 5: exceptions (alarms).

namespace {

using enum Side;

// How a recovery went: ACKA and, when it failed, ERRCODE and ERRTEXT.
constexpr const char *kRecovery = "{2 <a> {2 <bool 0> {}}}";
constexpr const char *kRecoveryNotice = "{3 <a'@TIMESTAMP'> <a> {2 <bool 0> {}}}";

// clang-format off
constexpr MessageRow kRows[] = {
    primary(5, 1, Host, "{<b 0> <a'i*|u*'> <a>}", "Alarm Report Send", {"0"},
            {.text = "s5f1w{\t<b %u>\t<u4 %u>\t<a'%s'>}", .current = {.wbit = WBit::Optional}}),
    reply(5, 2, Equipment, "<a'@ACK'>", "Alarm Report Acknowledge", "s5f2<b %u>"),
    // An ALID without values means all alarms.
    primary(5, 3, Equipment, "{<b 0> <a'i*|u*'>}", "Enable/Disable Alarm Send",
            {"0"}, kReplyOptional),
    reply(5, 4, Host, "<a'@ACK'>", "Enable/Disable Alarm Acknowledge", "s5f4<b %u>"),
    primary(5, 5, Equipment, "<a'i*|u*'> or {<a'i*|u*'>...}", "List Alarms Request"),
    // An unknown alarm has an ALCD without a value.
    reply(5, 6, Host, "{{<b> <a'i*|u*'> <a>}...}", "List Alarm Data", "s5f6{\t%s}"),
    primary(5, 7, Equipment, "", "List Enabled Alarm Request"),
    reply(5, 8, Host, "{}", "List Enabled Alarm Data", "s5f8{\t%s}"),
    primary(5, 9, Host, "{<a'@TIMESTAMP'> <a> <a> <a> {}}", "Exception Post Notify",
            {}, kReplyOptional),
    reply(5, 10, Equipment, "-", "Exception Post Confirm", "s5f10"),
    primary(5, 11, Host, "{<a'@TIMESTAMP'> <a> <a> <a>}", "Exception Clear Notify",
            {}, kReplyOptional),
    reply(5, 12, Equipment, "-", "Exception Clear Confirm", "s5f12"),
    primary(5, 13, Host, "{<a> <a'<41'>}", "Exception Recover Request", {},
            {.current = {.side = Equipment, .body = "{2 <a> <a'<41'>}"}}),
    reply(5, 14, Equipment, "!", "Exception Recover Acknowledge", "s5f14",
          {.current = {.side = Host, .body = kRecovery, .text = "s5f14{<a>{<bool 1>{}}}"}}),
    detail::row(5, 15, WBit::Any, Host, "!", "Exception Recovery Complete Notify", {},
                {.current = {.wbit = WBit::Optional, .body = kRecoveryNotice}}),
    reply(5, 16, Equipment, "-", "Exception Recovery Complete Confirm", "s5f16"),
    detail::row(5, 17, WBit::Any, Equipment, "!", "Exception Recovery Abort Request", {},
                {.current = {.wbit = WBit::Required, .body = "<a>"}}),
    reply(5, 18, Host, "!", "Exception Recovery Abort Acknowledge", "s5f18",
          {.current = {.body = kRecovery, .text = "s5f18{<a>{<bool 1>{}}}"}}),
};
// clang-format on

} // namespace

const std::span<const MessageRow> kStream5 = kRows;

} // namespace velto::messages
