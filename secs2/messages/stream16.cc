#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 16: processing management.

namespace {

using enum Side;

constexpr MessageRow kRows[] = {
    primary(16, 1, Equipment, "", "Multi-Block Process Job Data Inquire"),
    reply(16, 2, Host, "", "Multi-Block Process Job Data Grant", "s16f2", now("s16f2<b 0>")),
    primary(16, 3, Equipment, "", "Process Job Create Request"),
    reply(16, 4, Host, "", "Process Job Create Acknowledge", "s16f4",
          now("s16f4{<a>{<bool 1>{}}}")),
    primary(16, 5, Equipment, "", "Process Job Command Request"),
    reply(16, 6, Host, "", "Process Job Command Acknowledge", "s16f6",
          now("s16f6{<a>{<bool 1>{}}}")),
    primary(16, 7, Host, "", "Process Job Alert Notify", {}, kReplyOptional),
    reply(16, 8, Equipment, "", "Process Job Alert Confirm", "s16f8"),
    primary(16, 9, Host, "", "Process Job Event Notify", {}, kReplyOptional),
    reply(16, 10, Equipment, "", "Process Job Event Confirm", "s16f10"),
    primary(16, 11, Equipment, "", "PRJobCreateEnh"),
    reply(16, 12, Host, "", "PRJobCreateEnh Acknowledge", "s16f12", now("s16f12{<a>{<bool 1>{}}}")),
    primary(16, 13, Equipment, "", "PRJobDuplicateCreate"),
    reply(16, 14, Host, "", "PRJobDuplicateCreate Acknowledge", "s16f14",
          now("s16f14{{}{<bool 1>{}}}")),
    primary(16, 15, Equipment, "", "PRJobMultiCreate"),
    reply(16, 16, Host, "", "PRJobMultiCreate Acknowledge", "s16f16",
          now("s16f16{{}{<bool 1>{}}}")),
    primary(16, 17, Equipment, "", "PRJobDequeue"),
    reply(16, 18, Host, "", "PRJobDequeue Acknowledge", "s16f18", now("s16f18{{}{<bool 1>{}}}")),
    primary(16, 19, Equipment, "", "PRGetAllJobs"),
    reply(16, 20, Host, "", "PRGetAllJobs Send", "s16f20", now("s16f20{}")),
    primary(16, 21, Equipment, "", "PRGetSpace"),
    reply(16, 22, Host, "", "PRGetSpace Send", "s16f22", now("s16f22<u2 0>")),
    primary(16, 23, Equipment, "", "PRJobSetRecipeVariable"),
    reply(16, 24, Host, "", "PRJobSetRecipeVariable Acknowledge", "s16f24",
          now("s16f24{<bool 1>{}}")),
    primary(16, 25, Equipment, "", "PRJobSetStartMethod"),
    reply(16, 26, Host, "", "PRJobSetStartMethod Acknowledge", "s16f26",
          now("s16f26{{}{<bool 1>{}}}")),
    primary(16, 27, Equipment, "", "Control Job Command Request"),
    reply(16, 28, Host, "", "Control Job Command Acknowledge", "s16f28", now("s16f28{<bool 1>{}}")),
    primary(16, 29, Equipment, "", "PRSetMtrlOrder"),
    reply(16, 30, Host, "", "PRSetMtrlOrder Acknowledge", "s16f30", now("s16f30<bool 1>")),
};

} // namespace

const std::span<const MessageRow> kStream16 = kRows;

} // namespace velto::messages
