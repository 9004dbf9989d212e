#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 3: material status.

namespace {

using enum Side;

// MF, and by place LOC, QUA and MID.
constexpr const char *kMaterialsNow = "{2 <a'b|a'> {}}";

// How a carrier or port request went: CAACK or a like code, and a list of errors.
constexpr const char *kOutcome = "{<u1> {}}";

// clang-format off
constexpr MessageRow kRows[] = {
    primary(3, 1, Equipment, "-", "Material Status Request"),
    reply(3, 2, Host, "{<b> <a'b|a'> {}}", "Material Status Data", "s3f2",
          {.current = {.body = kMaterialsNow, .text = "s3f2{<b>{}}"}}),
    primary(3, 3, Equipment, "-", "Time to Completion Request"),
    reply(3, 4, Host, "{<b> <a'b|a'> {}}", "Time to Completion Data", "s3f4",
          {.current = {.body = kMaterialsNow, .text = "s3f4{<b>{}}"}}),
    primary(3, 5, Host, "{<a'b|a'> <b>}", "Material Found Send", {}, kReplyOptional),
    reply(3, 6, Equipment, "<b>", "Material Found Acknowledge", "s3f6", now("s3f6<b 0>")),
    primary(3, 7, Host, "{<a'b|a'> <b> <a'b|a'>}", "Material Lost Send", {}, kReplyOptional),
    reply(3, 8, Equipment, "<b>", "Material Lost Acknowledge", "s3f8", now("s3f8<b 0>")),
    primary(3, 9, Host, "{<a'b|a'> <a'b|a'>}", "Material ID Equate Send", {}, kReplyOptional),
    reply(3, 10, Equipment, "<b>", "Material ID Equate Acknowledge", "s3f10", now("s3f10<b 0>")),
    primary(3, 11, Host, "<a'@PTN'>", "Material ID Request"),
    reply(3, 12, Equipment, "{<b> <b> <a'b|a'>}", "Material ID Request Acknowledge", "s3f12",
          now("s3f12{<b 0><b 0><b>}")),
    primary(3, 13, Equipment, "{<b> <a'b|a'>}", "Material ID Send"),
    reply(3, 14, Host, "<b>", "Material ID Acknowledge", "s3f14", now("s3f14<b 0>")),
    primary(3, 15, Equipment, "{<a'i*|u*|a'> <a'i*|u*'>}", "Materials Multi-Block Inquire"),
    reply(3, 16, Host, "<b>", "Materials Multi-Block Grant", "s3f16", now("s3f16<b 0>")),
    primary(3, 17, Equipment, "{<a'i*|u*|a'> <a> <a> <a'@PTN'> {}}", "Carrier Action Request"),
    reply(3, 18, Host, kOutcome, "Carrier Action Acknowledge", "s3f18", now("s3f18{<u1 0>{}}")),
    primary(3, 19, Equipment, "-", "Cancel All Carrier Out Request"),
    reply(3, 20, Host, kOutcome, "Cancel All Carrier Out Acknowledge", "s3f20",
          now("s3f20{<u1 0>{}}")),
    primary(3, 21, Equipment, "{<a> <a> {}}", "Port Group Definition"),
    reply(3, 22, Host, kOutcome, "Port Group Definition Acknowledge", "s3f22",
          now("s3f22{<u1 0>{}}")),
    primary(3, 23, Equipment, "{<a> <a> {}}", "Port Group Action Request"),
    reply(3, 24, Host, kOutcome, "Port Group Action Acknowledge", "s3f24", now("s3f24{<u1 0>{}}")),
    primary(3, 25, Equipment, "{<a> <a'@PTN'> {}}", "Port Action Request"),
    reply(3, 26, Host, kOutcome, "Port Action Acknowledge", "s3f26", now("s3f26{<u1 0>{}}")),
    primary(3, 27, Equipment, "{<u1> {}}", "Change Access"),
    reply(3, 28, Host, kOutcome, "Change Access Acknowledge", "s3f28", now("s3f28{<u1 0>{}}")),
    primary(3, 29, Equipment, "{<a> <a> <a> <a'i*|u*'>}", "Carrier Tag Read Request"),
    reply(3, 30, Host, "{<a> {<u1> {}}}", "Carrier Tag Read Data", "s3f30",
          now("s3f30{<a>{<u1 0>{}}}")),
    primary(3, 31, Equipment, "{<a> <a> <a> <a'i*|u*'> <a>}", "Carrier Tag Write Data Request"),
    reply(3, 32, Host, kOutcome, "Carrier Tag Write Data Acknowledge", "s3f32",
          now("s3f32{<u1 0>{}}")),
    primary(3, 33, Equipment, "-", "Cancel All Pod Out Request"),
    reply(3, 34, Host, kOutcome, "Cancel All Pod Out Acknowledge", "s3f34", now("s3f34{<u1 0>{}}")),
    primary(3, 35, Equipment, "{}", "Reticle Transfer Job Request"),
    reply(3, 36, Host, kOutcome, "Reticle Transfer Job Acknowledge", "s3f36",
          now("s3f36{<u1 0>{}}")),
};
// clang-format on

} // namespace

const std::span<const MessageRow> kStream3 = kRows;

} // namespace velto::messages
