#pragma once

#include "secs2/message.h"
#include "secs2/message_table.h"

#include <string>
#include <string_view>

namespace velto {

/// The text as it stands between the quotes of an SML text item, so that the item gets these bytes:
/// an apostrophe leaves the quotes. Bytes 0, which no text item holds, are dropped.
std::string smlQuoted(std::string_view text);

/// The SML of a message of the standard, its arguments filled in: "%u" the low eight bits of a
/// number, "%s" SML items, "'%s'" any text (which arrives byte for byte). `equipmentSide` chooses
/// the form of messages that the two sides build differently. Empty when nobody builds it.
std::string replyText(uint8_t stream, uint8_t function, bool equipmentSide,
                      const ReplyArguments &arguments, E5Edition edition = E5Edition::Early);

/// Makes `message` the one that replyText() states; false when there is none, or an argument is no
/// SML. Its IDs are then those of a fresh message: see MakeReplyIds().
bool MakeReply(CHSecsMessage &message, uint8_t stream, uint8_t function, bool equipmentSide,
               const ReplyArguments &arguments = {}, E5Edition edition = E5Edition::Early);

/// Copies the device or session ID and the system bytes of the primary.
void MakeReplyIds(CHSecsMessage &reply, const CHSecsHeader &primary);

/// Makes `reply` the abort of the primary's transaction: SxF0 with the primary's IDs.
void MakeAbort(CHSecsMessage &reply, const CHSecsHeader &primary);

/// Makes `message` the stream 9 message of that function; its body are the ten bytes of the header
/// that it complains of, or an empty item without one (SEMI E5, stream 9).
void MakeStream9(CHSecsMessage &message, uint8_t function, const CHSecsHeader *header);

} // namespace velto
