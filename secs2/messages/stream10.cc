#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 10: terminal services.

namespace {

using enum Side;

// TID and TEXT.
constexpr const char *kText = "{<b> <a'i*|u*|a|b|a2'>}";

constexpr MessageRow kRows[] = {
    primary(10, 1, Host, kText, "Terminal Request", {"0"}, kReplyOptional),
    reply(10, 2, Equipment, "<a'@ACK'>", "Terminal Request Acknowledge", "s10f2<b %u>"),
    primary(10, 3, Equipment, kText, "Terminal Display, Single", {"0"}, kReplyOptional),
    reply(10, 4, Host, "<a'@ACK'>", "Terminal Display, Single Acknowledge", "s10f4<b %u>"),
    primary(10, 5, Equipment, "{<b> {<a'i*|u*|a|b|a2'>...}}", "Terminal Display, Multi-Block",
            {"0"}, kReplyOptional),
    reply(10, 6, Host, "<a'@ACK'>", "Terminal Display, Multi-Block Acknowledge", "s10f6<b %u>"),
    notice(10, 7, Host, "", "Multi-Block Not Allowed"),
    primary(10, 9, Equipment, "", "Broadcast", {"0"}, kReplyOptional),
    reply(10, 10, Host, "", "Broadcast Acknowledge", "s10f10<b %u>"),
};

} // namespace

const std::span<const MessageRow> kStream10 = kRows;

} // namespace velto::messages
