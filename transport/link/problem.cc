#include "transport/link/problem.h"

#include <array>

namespace velto {

const char *linkProblemName(LinkProblem problem) {
  static constexpr std::array kNames{
      "System",
      "CannotSend",
      "T1",
      "T2",
      "T3",
      "T4",
      "T5",
      "T6",
      "T7",
      "T8",
      "LengthTooShort",
      "LengthTooLong",
      "InvalidSessionId",
      "InvalidPType",
      "ControlMessageTooLong",
      "InvalidSType",
      "InvalidFunction",
      "InvalidRejectReason",
      "UnexpectedCharacter",
      "BadBlockLength",
      "BadChecksum",
      "BadParity",
      "BadMultiBlockNumber",
      "BadBlockNumber",
      "Nak",
      "SendFailed",
      "BadDeviceId",
      "NoPeer",
  };
  static_assert(kNames.size() == kLinkProblems);
  return kNames[static_cast<size_t>(problem)];
}

} // namespace velto
