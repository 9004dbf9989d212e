#include "controls/problem_numbers.h"

#include <algorithm>
#include <array>
#include <span>

namespace velto {

namespace {

struct Row {
  LinkProblem problem;
  int16_t number;
};

constexpr std::array kHsmsProblems{
    Row{LinkProblem::CannotSend, ErrorHsmsCannotSend},
    Row{LinkProblem::LengthTooLong, ErrorHsmsTooLong},
    Row{LinkProblem::T8, ErrorHsmsT8},
    Row{LinkProblem::T3, ErrorHsmsT3},
    Row{LinkProblem::T5, ErrorHsmsT5},
    Row{LinkProblem::T6, ErrorHsmsT6},
    Row{LinkProblem::T7, ErrorHsmsT7},
};

constexpr std::array kSecsIProblems{
    Row{LinkProblem::UnexpectedCharacter, ErrorSecsUnexpectedChar},
    Row{LinkProblem::BadBlockLength, ErrorSecsBadLength},
    Row{LinkProblem::BadChecksum, ErrorSecsBadSum},
    Row{LinkProblem::BadParity, ErrorSecsBadParity},
    Row{LinkProblem::BadMultiBlockNumber, ErrorSecsBadMultiBlockNumber},
    Row{LinkProblem::BadBlockNumber, ErrorSecsBadBlockNumber},
    Row{LinkProblem::Nak, ErrorSecsNak},
    Row{LinkProblem::SendFailed, ErrorSecsRetry},
    Row{LinkProblem::T4, ErrorSecsT4},
    Row{LinkProblem::T2, ErrorSecsT2},
    Row{LinkProblem::T1, ErrorSecsT1},
    Row{LinkProblem::T3, ErrorSecsT3},
    Row{LinkProblem::BadDeviceId, ErrorSecsBadDeviceID},
    Row{LinkProblem::NoPeer, ErrorSecsNoPeer},
};

constexpr std::array kSocket{Row{LinkProblem::CannotSend, -1}};

int16_t numberIn(std::span<const Row> rows, const Problem &problem) {
  if (problem.code == LinkProblem::System)
    return static_cast<int16_t>(problem.number);
  const auto row = std::ranges::find(rows, problem.code, &Row::problem);
  return row == rows.end() ? int16_t{ErrorHsmsOther} : row->number;
}

} // namespace

int16_t hsmsProblemNumber(const Problem &problem) { return numberIn(kHsmsProblems, problem); }

int16_t secsIProblemNumber(const Problem &problem) { return numberIn(kSecsIProblems, problem); }

int16_t socketProblemNumber(const Problem &problem) { return numberIn(kSocket, problem); }

} // namespace velto
