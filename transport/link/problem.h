#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace velto {

/// All that can go wrong on a link, whatever its protocol. A control reports each by a number of
/// its own (see the tables beside the controls); in here they have names alone.
enum class LinkProblem : uint8_t {
  System,     ///< the platform's error; its number says which
  CannotSend, ///< there is no connection, or the queue is full

  // Time-outs (SEMI E4 7.3, 9.3, 9.4; SEMI E37 9.2).
  T1, ///< the next character of a block did not come
  T2, ///< the other side did not answer on the line
  T3, ///< no reply
  T4, ///< the next block of a message did not come
  T5, ///< the time between two attempts to connect is over
  T6, ///< no answer to a control message
  T7, ///< connected but not selected
  T8, ///< a message stopped arriving

  // HSMS frames and headers (SEMI E37 8.2, 8.3).
  LengthTooShort, ///< less than a header
  LengthTooLong,  ///< above the limit; on a bare link also 0
  InvalidSessionId,
  InvalidPType,
  ControlMessageTooLong,
  InvalidSType,
  InvalidFunction,     ///< header byte 3 of a control message
  InvalidRejectReason, ///< header byte 2 of a control message

  // The SECS-I line (SEMI E4 7, 8, 9).
  UnexpectedCharacter,
  BadBlockLength, ///< a length byte outside 10 to 254
  BadChecksum,
  BadParity,           ///< of a data byte with MSEC
  BadMultiBlockNumber, ///< a block is missing
  BadBlockNumber,      ///< a first block numbered above 1
  Nak,
  SendFailed, ///< a message was given up after the last retry
  BadDeviceId,
  NoPeer, ///< a listener has no peer of the addressed name
};

inline constexpr size_t kLinkProblems = static_cast<size_t>(LinkProblem::NoPeer) + 1;

/// The name, as it stands above.
const char *linkProblemName(LinkProblem problem);

/// One report of a failure.
struct Problem {
  LinkProblem code;
  std::string text = {}; ///< what it concerns; most often a header in hexadecimal
  int number = 0;        ///< of System: as the controls report it (see platform/socket_error.h)
};

} // namespace velto
