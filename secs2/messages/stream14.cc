#include "secs2/messages/rows.h"

namespace velto::messages {

// Stream 14: object services.

namespace {

using enum Side;

// OBJSPEC, OBJTYPE, the OBJIDs, the filters (ATTRID, ATTRDATA, ATTRRELN) and the ATTRIDs asked for.
constexpr const char *kAttributeRequest =
    "{<a> <a'u*|a'> {<a'u*|a'>...} {{<a'u*|a'> <a'@ITEM'> <u1>}...} {<a'u*|a'>...}}";
// By object its OBJID and attributes (ATTRID, ATTRDATA); then OBJACK and the errors.
constexpr const char *kAttributes = "{{{<a'u*|a'> {{<a'u*|a'> <a'@ITEM'>}...}}...} "
                                    "{<u1> {{<a'u*'> <a>}...}}}";

constexpr MessageRow kRows[] = {
    primary(14, 1, Both, kAttributeRequest, "GetAttr Request"),
    reply(14, 2, Both, kAttributes, "GetAttr Data", "s14f2", now("s14f2{{}{<u1 0>{}}}")),
    primary(14, 3, Both, "", "SetAttr Request"),
    reply(14, 4, Both, "", "SetAttr Data", "s14f4", now("s14f4{{}{<u1 0>{}}}")),
    primary(14, 5, Equipment, "", "GetType Request"),
    reply(14, 6, Host, "", "GetType Data", "s14f6", now("s14f6{{}{<u1 0>{}}}")),
    primary(14, 7, Equipment, "", "GetAttrName Request"),
    reply(14, 8, Host, "", "GetAttrName Data", "s14f8", now("s14f8{{}{<u1 0>{}}}")),
    primary(14, 9, Both, "", "Create Object Request"),
    reply(14, 10, Both, "", "Create Object Acknowledge", "s14f10", now("s14f10{<a>{}{<u1 0>{}}}")),
    primary(14, 11, Both, "", "Delete Object Request"),
    reply(14, 12, Both, "", "Delete Object Acknowledge", "s14f12", now("s14f12{{}{<u1 0>{}}}")),
    primary(14, 13, Both, "", "Object Attach Request"),
    reply(14, 14, Both, "", "Object Attach Acknowledge", "s14f14", now("s14f14{<u4 0>{<u1 0>{}}}")),
    primary(14, 15, Both, "", "Attached Object Action Request"),
    reply(14, 16, Both, "", "Attached Object Action Acknowledge", "s14f16",
          now("s14f16{{}{<u1 0>{}}}")),
    primary(14, 17, Both, "", "Supervised Object Action Request"),
    reply(14, 18, Both, "", "Supervised Object Action Acknowledge", "s14f18",
          now("s14f18{{}{<u1 0>{}}}")),
    primary(14, 19, Equipment, "", "Generic Service Request"),
    reply(14, 20, Host, "", "Generic Service Acknowledge", "s14f20",
          now("s14f20{<u1 0><u4 0>{}{}}")),
    primary(14, 21, Host, "", "Generic Service Completion Information"),
    reply(14, 22, Equipment, "", "Generic Service Completion Acknowledge", "s14f22",
          now("s14f22<b 0>")),
    primary(14, 23, Both, "", "Multi-Block Generic Service Data Inquire"),
    reply(14, 24, Both, "", "Multi-Block Grant", "s14f24", now("s14f24<b 0>")),
    primary(14, 25, Equipment, "", "Service Name Request"),
    reply(14, 26, Host, "", "Service Name Data", "s14f26", now("s14f26{{}{<u1 0>{}}}")),
    primary(14, 27, Equipment, "", "Service Parameter Name Request"),
    reply(14, 28, Host, "", "Service Parameter Name Data", "s14f28", now("s14f28{{}{<u1 0>{}}}")),
};

} // namespace

const std::span<const MessageRow> kStream14 = kRows;

} // namespace velto::messages
