#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 4: material control.

namespace {

using enum Side;

// PTN and MID.
constexpr const char *kMaterialAtPort = "{<a'@PTN'> <a'b|a'>}";
// TRACK and the errors.
constexpr const char *kTransferAnswer = "{<bool> {}}";
// TRLINK and the acknowledge code.
constexpr const char *kHandoffAnswer = "{<a'u*'> <a'@ACK'>}";
// EQNAME, then TRLINK, TRPORT, TROBJNAME, TROBJTYPE, TRROLE, TRPTNR, TRPTPORT, TRDIR, TRTYPE and
// TRLOCATION.
constexpr const char *kHandoff =
    "{<a> {<a'u*'> <a'u*'> <a> <a'u*'> <u1> <a> <a'u*'> <u1> <u1> <a'u*'>}}";

constexpr MessageRow kRows[] = {
    primary(4, 1, Both, kMaterialAtPort, "Ready to Send Materials"),
    reply(4, 2, Both, "<a'@ACK'>", "Ready to Send Acknowledge", "s4f2", now("s4f2<b 0>")),
    notice(4, 3, Both, kMaterialAtPort, "Send Material"),
    notice(4, 5, Both, kMaterialAtPort, "Handshake Complete"),
    notice(4, 7, Both, kMaterialAtPort, "Not Ready to Send"),
    notice(4, 9, Host, kMaterialAtPort, "Stuck in Sender"),
    notice(4, 11, Host, kMaterialAtPort, "Stuck in Receiver"),
    notice(4, 13, Host, kMaterialAtPort, "Send Incomplete Timeout"),
    notice(4, 15, Host, kMaterialAtPort, "Material Received"),
    primary(4, 17, Both, kMaterialAtPort, "Request to Receive"),
    reply(4, 18, Both, "<a'@ACK'>", "Request to Receive Acknowledge", "s4f18", now("s4f18<b 0>")),
    primary(4, 19, Equipment, "{<a'i*|u*|a'> {<a> {}}}", "Transfer Job Create"),
    // TRJOBID, the TRATOMICIDs, and how it went.
    reply(4, 20, Host, "{<b> {}}", "Transfer Job Acknowledge", "s4f20",
          {.current = {.body = "{<a'b|a'> {} {<bool> {}}}", .text = "s4f20{<b>{}{<bool 1>{}}}"}}),
    primary(4, 21, Equipment, "{<b> <a> {}}", "Transfer Job Command"),
    reply(4, 22, Host, kTransferAnswer, "Transfer Command Acknowledge", "s4f22",
          now("s4f22{<bool 1>{}}")),
    primary(4, 23, Host, "{<b> <a> <u1> {<bool> {}}}", "Transfer Job Alert"),
    reply(4, 24, Equipment, "-", "Transfer Job Alert Acknowledge", "s4f24"),
    primary(4, 25, Equipment, "{<a'i*|u*|a'> <a'i*|u*'>}", "Multi-Block Inquire"),
    reply(4, 26, Host, "<b>", "Multi-Block Grant", "s4f26", now("s4f26<b 0>")),
    notice(4, 27, Both, kHandoff, "Handoff Ready"),
    notice(4, 29, Equipment, "{<a'u*'> <a'u*'> <a> {}}", "Handoff Command"),
    notice(4, 31, Host, "{<a'u*'> <a'u*'> {<bool> {}}}", "Handoff Command Complete"),
    notice(4, 33, Both, "{<a'u*'> {<bool> {}}}", "Handoff Verified"),
    notice(4, 35, Both, "<a'u*'>", "Handoff Cancel Ready"),
    notice(4, 37, Both, kHandoffAnswer, "Handoff Cancel Ready Acknowledge"),
    notice(4, 39, Both, "<a'u*'>", "Handoff Halt"),
    notice(4, 41, Both, kHandoffAnswer, "Handoff Halt Acknowledge"),
};

} // namespace

const std::span<const MessageRow> kStream4 = kRows;

} // namespace velto::messages
