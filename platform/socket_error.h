#pragma once

#include <string>

namespace velto {

/// The socket error numbers that the controls report (`VeltoSocketError`).
enum SocketError : int {
  ErrorSocketEFault = 10014,
  ErrorSocketEInval = 10022,
  ErrorSocketEMFile = 10024,
  ErrorSocketEWouldBlock = 10035,
  ErrorSocketEInProgress = 10036,
  ErrorSocketENotSock = 10038,
  ErrorSocketEDestAddrReq = 10039,
  ErrorSocketEAFNoSupport = 10047,
  ErrorSocketEAddrInUse = 10048,
  ErrorSocketEAddrNotAvail = 10049,
  ErrorSocketENetDown = 10050,
  ErrorSocketENetUnreach = 10051,
  ErrorSocketENoBufs = 10055,
  ErrorSocketEISConn = 10056,
  ErrorSocketETimedOut = 10060,
  ErrorSocketEConnRefused = 10061,
  ErrorSocketNotInitialized = 10093,
};

/// The number reported for an `errno` value; one without a number of its own passes unchanged.
int socketErrorNumber(int errnoValue);
/// The platform's words for such a number.
std::string socketErrorText(int number);

} // namespace velto
