#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 13: data set transfers.

namespace {

using enum Side;

constexpr MessageRow kRows[] = {
    primary(13, 1, Both, "", "Send Data Set Send"),
    reply(13, 2, Both, "", "Send Data Set Acknowledge", "s13f2", now("s13f2{<a><b 0>}")),
    primary(13, 3, Both, "", "Open Data Set Request"),
    reply(13, 4, Both, "", "Open Data Set Data", "s13f4", now("s13f4{<u4 0><a><b 0><b 0><u4 0>}")),
    primary(13, 5, Both, "", "Read Data Set Request"),
    reply(13, 6, Both, "", "Read Data Set Data", "s13f6", now("s13f6{<u4 0><b 0><u4 0>{}}")),
    primary(13, 7, Both, "", "Close Data Set Send"),
    reply(13, 8, Both, "", "Close Data Set Acknowledge", "s13f8", now("s13f8{<u4 0><b 0>}")),
    primary(13, 9, Both, "", "Reset Data Set Send"),
    reply(13, 10, Both, "", "Reset Data Set Acknowledge", "s13f10"),
    primary(13, 11, Equipment, "", "Data Set Object Multi-Block Inquire"),
    reply(13, 12, Host, "", "Data Set Object Multi-Block Grant", "s13f12", now("s13f12<b 0>")),
    primary(13, 13, Both, "", "Table Data Send"),
    reply(13, 14, Both, "", "Table Data Acknowledge", "s13f14", now("s13f14{<u1 0>{}}")),
    primary(13, 15, Both, "", "Table Data Request"),
    reply(13, 16, Both, "", "Table Data", "s13f16", now("s13f16{<a><a>{}{}{}{<u1 0>{}}}")),
};

} // namespace

const std::span<const MessageRow> kStream13 = kRows;

} // namespace velto::messages
