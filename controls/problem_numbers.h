#pragma once

#include "transport/link/problem.h"

#include <cstdint>

namespace velto {

// The numbers by which the transport controls report problems. A socket's or device's error has
// the platform's number in each of them.

/// Of `VeltoHsms`.
enum VeltoHsmsError : int16_t {
  ErrorHsmsCannotSend = -1,
  ErrorHsmsTooLong = -2, ///< a length of 0 or above the maximum
  ErrorHsmsLonger = -3,  ///< not raised
  ErrorHsmsT8 = -4,      ///< a message stopped arriving
  ErrorHsmsT3 = -5,      ///< no reply; the text is the primary in hexadecimal
  ErrorHsmsT5 = -6,      ///< not raised
  ErrorHsmsT6 = -7,      ///< no control response; the text is the request in hexadecimal
  ErrorHsmsT7 = -8,      ///< connected but not selected
  ErrorHsmsOther = -99,  ///< anything else; not raised
};

/// Of `VeltoSecsI` and `VeltoSecsISocket`.
enum VeltoSecsIError : int16_t {
  ErrorSecsUnexpectedChar = 1,
  ErrorSecsBadLength = 2,           ///< a length byte outside 10 to 254
  ErrorSecsBadSum = 3,              ///< the text is the block's header
  ErrorSecsBadParity = 4,           ///< of a data byte with MSEC
  ErrorSecsBadMultiBlockNumber = 5, ///< a block is missing; the text is the header
  ErrorSecsBadBlockNumber = 6,      ///< a first block numbered above 1; the text is the header
  ErrorSecsNak = 7,
  ErrorSecsRetry = 8, ///< a message was given up
  ErrorSecsT4 = 9,    ///< the next block did not come; the text is the header
  ErrorSecsT2 = 10,
  ErrorSecsT1 = 11,
  ErrorSecsT3 = 12,          ///< no reply; the text is the primary
  ErrorSecsBadDeviceID = 13, ///< answered with S9F1
  ErrorSecsNoPeer = 14,      ///< a listener has no peer of the addressed name
};

int16_t hsmsProblemNumber(const Problem &problem);
int16_t secsIProblemNumber(const Problem &problem);
/// Of `VeltoSocket`: -1 where bytes cannot be sent.
int16_t socketProblemNumber(const Problem &problem);

} // namespace velto
