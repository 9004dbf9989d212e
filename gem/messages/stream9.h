#pragma once

#include "secs2/reply_text.h"
#include "secs2/transaction.h"

#include <cstdint>

/// Complaints about messages that could not be handled (SEMI E5, stream 9). Their body is the
/// header of the message.
namespace velto::stream9 {

enum Function : uint8_t { UnrecognizedDevice = 1, IllegalData = 7, TransactionTimeout = 9 };

/// A complaint about the message of that header, to be sent with this side's device ID.
inline void make(CHSecsMessage &message, Function function, const CHSecsHeader &about,
                 uint16_t deviceId) {
  MakeStream9(message, function, &about);
  message.header.idWord = deviceId;
}

} // namespace velto::stream9
