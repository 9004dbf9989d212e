#pragma once

#include "transport/link/problem.h"

#include <string>

namespace velto {

/// The numbers by which the Gem control reports problems.
enum VeltoGemError : int {
  ErrorGemHsmsLengthTooShort = 1,
  ErrorGemHsmsExceedMaxLength = 2,
  ErrorGemHsmsT8Timeout = 3,
  ErrorGemHsmsT6Timeout = 4,
  ErrorGemHsmsT7Timeout = 5,
  ErrorGemHsmsInvalidSessionID = 6,
  ErrorGemHsmsInvalidPType = 7,
  ErrorGemHsmsControlMessageTooLong = 8,
  ErrorGemHsmsInvalidSType = 9,
  ErrorGemHsmsInvalidFunction = 10,
  ErrorGemHsmsInvalidRejectReason = 11,
  ErrorGemHsmsT3Timeout = 12,
  ErrorGemHsmsT5Timeout = 13,
  // Of SECS-I: the numbers of its own controls and 200.
  ErrorGemSecsIUnexpectedChar = 201,
  ErrorGemSecsIBadLength = 202,
  ErrorGemSecsIBadSum = 203,
  ErrorGemSecsIBadMultiBlockNumber = 205,
  ErrorGemSecsIBadBlockNumber = 206,
  ErrorGemSecsINak = 207,
  ErrorGemSecsIRetry = 208,
  ErrorGemSecsIT4Timeout = 209,
  ErrorGemSecsIT2Timeout = 210,
  ErrorGemSecsIT1Timeout = 211,
  ErrorGemSerialPort = 220,
};

/// The number of a problem; that of the platform for its own (see platform/socket_error.h), 0 for
/// one that has none.
int gemProblemNumber(const Problem &problem);
/// The text of a number.
std::string gemErrorText(int number);

} // namespace velto
