#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 15: recipe management.

namespace {

using enum Side;

// DATAID, RCPCMD, RMNSSPEC, OPID, AGENT and the RCPIDs.
constexpr const char *kAction = "{<a'@DATAID'> <a'u*'> <a> <a'u*|a'> <a> {<a>...}}";
// AGENT, LINKID, RCPCMD, then RMACK and the errors.
constexpr const char *kActionAnswer = "{<a> <a'u*'> <a'u*'> {<u1> {{<a'u*'> <a>}...}}}";
// DATAID, RCPOWCODE, RCPSPEC, the attributes (RCPATTRID, RCPATTRDATA) and RCPBODY.
constexpr const char *kDownload =
    "{<a'@DATAID'> <bool> <a> {{<a'u*|a'> <a'@ITEM'>}...} <a'@ITEM'>}";

constexpr MessageRow kRows[] = {
    primary(15, 1, Both, "{<a'@DATAID'> <a> <a'i*|u*'>}", "Recipe Management Multi-Block Inquire",
            {"0"}),
    reply(15, 2, Both, "<a'@ACK'>", "Recipe Management Multi-Block Grant", "s15f2<b %u>"),
    primary(15, 3, Both, "", "Recipe Namespace Action Request"),
    reply(15, 4, Both, "", "Recipe Namespace Action Acknowledge", "s15f4", now("s15f4{<u1 0>{}}")),
    primary(15, 5, Both, "", "Recipe Namespace Rename Request"),
    reply(15, 6, Both, "", "Recipe Namespace Rename Acknowledge", "s15f6", now("s15f6{<u1 0>{}}")),
    primary(15, 7, Both, "", "Recipe Space Request"),
    reply(15, 8, Both, "", "Recipe Space Data", "s15f8", now("s15f8{<u4 0>{<u1 0>{}}}")),
    primary(15, 9, Both, "", "Recipe Status Request"),
    reply(15, 10, Both, "", "Recipe Status Data", "s15f10", now("s15f10{<u1 0><a>{<u1 0>{}}}")),
    primary(15, 11, Both, "", "Recipe Version Request"),
    reply(15, 12, Both, "", "Recipe Version Data", "s15f12", now("s15f12{<a><a><a>{<u1 0>{}}}")),
    primary(15, 13, Both, "", "Recipe Create Request"),
    reply(15, 14, Both, "", "Recipe Create Acknowledge", "s15f14", now("s15f14{<u1 0>{}}")),
    primary(15, 15, Both, "", "Recipe Store Request"),
    reply(15, 16, Both, "", "Recipe Store Acknowledge", "s15f16", now("s15f16{<b 0>{<u1 0>{}}}")),
    primary(15, 17, Both, "", "Recipe Retrieve Request"),
    reply(15, 18, Both, "", "Recipe Retrieve Data", "s15f18", now("s15f18{{}{<u1 0>{}}}")),
    primary(15, 19, Both, "", "Recipe Rename Request"),
    reply(15, 20, Both, "", "Recipe Rename Acknowledge", "s15f20", now("s15f20{<u1 0>{}}")),
    primary(15, 21, Both, kAction, "Recipe Action Request"),
    reply(15, 22, Both, kActionAnswer, "Recipe Action Acknowledge", "s15f22",
          now("s15f22{<a><u4 0><u1 0>{<u1 0>{}}}")),
    primary(15, 23, Both, "", "Recipe Descriptor Request"),
    reply(15, 24, Both, "", "Recipe Descriptor Data", "s15f24", now("s15f24{{}{<u1 0>{}}}")),
    primary(15, 25, Both, "", "Recipe Parameter Update Request"),
    reply(15, 26, Both, "", "Recipe Parameter Update Acknowledge", "s15f26",
          now("s15f26{<u1 0>{}}")),
    primary(15, 27, Equipment, kDownload, "Recipe Download Request"),
    reply(15, 28, Host, "", "Recipe Download Acknowledge", "s15f28",
          now("s15f28{<a>{}{<u1 0>{}}}")),
    primary(15, 29, Equipment, "{<a'@DATAID'> <a'u*|a'> <a> {<a>...}}", "Recipe Verify Request"),
    reply(15, 30, Host, "", "Recipe Verify Acknowledge", "s15f30",
          now("s15f30{<u4 0><u4 0><a>{}{<u1 0>{}}}")),
    primary(15, 31, Equipment, "", "Recipe Unload Request"),
    reply(15, 32, Host, "", "Recipe Unload Data", "s15f32", now("s15f32{<a>{}<b>{<u1 0>{}}}")),
    primary(15, 33, Equipment, "", "Recipe Select Request"),
    reply(15, 34, Host, "", "Recipe Select Acknowledge", "s15f34", now("s15f34{<u1 0>{}}")),
    primary(15, 35, Equipment, "{<a'@DATAID'> <a> <a'u*'> {<a>...}}", "Recipe Delete Request"),
    reply(15, 36, Host, "", "Recipe Delete Acknowledge", "s15f36", now("s15f36{<u1 0>{}}")),
    primary(15, 37, Both, "", "DRNS Segment Approve Action Request"),
    reply(15, 38, Both, "", "DRNS Segment Approve Action Acknowledge", "s15f38",
          now("s15f38{<u1 0>{}}")),
    primary(15, 39, Both, "", "DRNS Recorder Segment ID Request"),
    reply(15, 40, Both, "", "DRNS Recorder Segment ID Acknowledge", "s15f40",
          now("s15f40{<u1 0>{}}")),
    primary(15, 41, Both, "", "DRNS Recorder Modify Request"),
    reply(15, 42, Both, "", "DRNS Recorder Modify Acknowledge", "s15f42", now("s15f42{<u1 0>{}}")),
    primary(15, 43, Both, "", "DRNS Get Change Request"),
    reply(15, 44, Both, "", "DRNS Get Change Request Data", "s15f44", now("s15f44{<u1 0>{}}")),
    primary(15, 45, Both, "", "DRNS Manager Segment Change Approval Request"),
    reply(15, 46, Both, "", "DRNS Manager Segment Change Approval Acknowledge", "s15f46",
          now("s15f46{<u1 0>{}}")),
    primary(15, 47, Both, "", "DRNS Manager Rebuild Request"),
    reply(15, 48, Both, "", "DRNS Manager Rebuild Acknowledge", "s15f48", now("s15f48{<u1 0>{}}")),
};

} // namespace

const std::span<const MessageRow> kStream15 = kRows;

} // namespace velto::messages
