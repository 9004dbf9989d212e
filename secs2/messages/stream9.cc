#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 9: system errors.

namespace {

using enum Side;

constexpr MessageRow kRows[] = {
    notice(9, 1, Host, "<a'@MHEAD'>", "Unrecognized Device ID"),
    notice(9, 3, Host, "<a'@MHEAD'>", "Unrecognized Stream Type"),
    notice(9, 5, Host, "<a'@MHEAD'>", "Unrecognized Function Type"),
    notice(9, 7, Host, "<a'@MHEAD'>", "Illegal Data"),
    notice(9, 9, Host, "<a'@SHEAD'>", "Transaction Timer Timeout"),
    notice(9, 11, Host, "<a'@MHEAD'>", "Data Too Long"),
    notice(9, 13, Host, "{2 <a> <a'i*|u*|a|b'>}", "Conversation Timeout"),
};

} // namespace

const std::span<const MessageRow> kStream9 = kRows;

} // namespace velto::messages
