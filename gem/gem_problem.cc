#include "gem/gem_problem.h"

#include "platform/socket_error.h"

#include <algorithm>
#include <array>

namespace velto {

namespace {

struct Row {
  LinkProblem problem;
  VeltoGemError number;
  const char *text;
};

constexpr std::array kRows{
    Row{LinkProblem::LengthTooShort, ErrorGemHsmsLengthTooShort, "Length is less than 10 bytes."},
    Row{LinkProblem::LengthTooLong, ErrorGemHsmsExceedMaxLength, "Length exceeds maximum limit."},
    Row{LinkProblem::T8, ErrorGemHsmsT8Timeout, "T8 time out."},
    Row{LinkProblem::T6, ErrorGemHsmsT6Timeout, "T6 time out."},
    Row{LinkProblem::T7, ErrorGemHsmsT7Timeout, "T7 time out."},
    Row{LinkProblem::InvalidSessionId, ErrorGemHsmsInvalidSessionID, "Invalid session ID."},
    Row{LinkProblem::InvalidPType, ErrorGemHsmsInvalidPType,
        "P-type is not 0, which means SECS-II."},
    Row{LinkProblem::ControlMessageTooLong, ErrorGemHsmsControlMessageTooLong,
        "Received control message which is not 10 bytes."},
    Row{LinkProblem::InvalidSType, ErrorGemHsmsInvalidSType, "Unknow S-type."},
    Row{LinkProblem::InvalidFunction, ErrorGemHsmsInvalidFunction, "Reason code is not 0."},
    Row{LinkProblem::InvalidRejectReason, ErrorGemHsmsInvalidRejectReason,
        "Invalid reject-reason code."},
    Row{LinkProblem::T3, ErrorGemHsmsT3Timeout, "T3 time out."},
    Row{LinkProblem::T5, ErrorGemHsmsT5Timeout, "T5 time out."},
    Row{LinkProblem::UnexpectedCharacter, ErrorGemSecsIUnexpectedChar,
        "Unexpected character on the line."},
    Row{LinkProblem::BadBlockLength, ErrorGemSecsIBadLength, "Length byte is not 10 to 254."},
    Row{LinkProblem::BadChecksum, ErrorGemSecsIBadSum, "Checksum of a block is wrong."},
    Row{LinkProblem::BadMultiBlockNumber, ErrorGemSecsIBadMultiBlockNumber,
        "A block of the message is missing."},
    Row{LinkProblem::BadBlockNumber, ErrorGemSecsIBadBlockNumber,
        "First block of a message is not number 1."},
    Row{LinkProblem::Nak, ErrorGemSecsINak, "The partner refused a block (NAK)."},
    Row{LinkProblem::SendFailed, ErrorGemSecsIRetry, "Message could not be sent:"},
    Row{LinkProblem::T4, ErrorGemSecsIT4Timeout, "T4 time out."},
    Row{LinkProblem::T2, ErrorGemSecsIT2Timeout, "T2 time out."},
    Row{LinkProblem::T1, ErrorGemSecsIT1Timeout, "T1 time out."},
    Row{LinkProblem::System, ErrorGemSerialPort, "The serial port failed."},
};

} // namespace

int gemProblemNumber(const Problem &problem) {
  if (problem.code == LinkProblem::System)
    return problem.number;
  const auto *row = std::ranges::find(kRows, problem.code, &Row::problem);
  return row == kRows.end() ? 0 : row->number;
}

std::string gemErrorText(int number) {
  const auto *row = std::ranges::find(kRows, number, &Row::number);
  if (row != kRows.end())
    return row->text;
  const bool isOwn = number <= ErrorGemHsmsT5Timeout || socketErrorNumber(number) != number;
  return isOwn ? "Unknown Error" : socketErrorText(number);
}

} // namespace velto
