#pragma once

#include "base/bytes.h"
#include "secs2/header.h"
#include "secs2/message.h"

#include <cstdint>
#include <optional>

namespace velto {

// Which message answers which (SEMI E5 6, 10.13).

/// The stream of complaints about messages that could not be handled.
inline constexpr uint8_t kErrorStream = 9;

/// True for a primary with the W-bit: a reply to it is expected.
bool awaitsReply(const CHSecsHeader &header);

/// True when `reply` has the stream and the system bytes of `primary` and the next function, or 0
/// (the abort of a transaction).
bool isReply(const CHSecsHeader &reply, const CHSecsHeader &primary);

/// True when both have the same stream, function and system bytes.
bool isSameMessage(const CHSecsHeader &a, const CHSecsHeader &b);

/// The MHEAD of a stream 9 message, the first ten bytes of a binary item that is its body: the
/// header of the message that it complains of. Nothing when the body holds no such item, and for
/// messages of other streams. The bytes are those of header and body.
std::optional<CHSecsHeader> readMhead(ByteView message);
std::optional<CHSecsHeader> readMhead(const CHSecsMessage &message);

/// Whether a message with that header and MHEAD ends the transaction of `primary`. A stream 9
/// message ends that of the message which it complains of; its own header then says nothing.
bool answers(const CHSecsHeader &header, const std::optional<CHSecsHeader> &mhead,
             const CHSecsHeader &primary);

} // namespace velto
