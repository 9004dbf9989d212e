#include "platform/socket_error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace velto {

namespace {

struct Row {
  int errnoValue;
  SocketError number;
};

constexpr std::array kRows{
    Row{EFAULT, ErrorSocketEFault},
    Row{EINVAL, ErrorSocketEInval},
    Row{EMFILE, ErrorSocketEMFile},
    Row{EWOULDBLOCK, ErrorSocketEWouldBlock},
    Row{EINPROGRESS, ErrorSocketEInProgress},
    Row{ENOTSOCK, ErrorSocketENotSock},
    Row{EDESTADDRREQ, ErrorSocketEDestAddrReq},
    Row{EAFNOSUPPORT, ErrorSocketEAFNoSupport},
    Row{EADDRINUSE, ErrorSocketEAddrInUse},
    Row{EADDRNOTAVAIL, ErrorSocketEAddrNotAvail},
    Row{ENETDOWN, ErrorSocketENetDown},
    Row{ENETUNREACH, ErrorSocketENetUnreach},
    Row{ENOBUFS, ErrorSocketENoBufs},
    Row{EISCONN, ErrorSocketEISConn},
    Row{ETIMEDOUT, ErrorSocketETimedOut},
    Row{ECONNREFUSED, ErrorSocketEConnRefused},
};

} // namespace

int socketErrorNumber(int errnoValue) {
  const auto *row = std::ranges::find(kRows, errnoValue, &Row::errnoValue);
  return row == kRows.end() ? errnoValue : row->number;
}

std::string socketErrorText(int number) {
  const auto *row = std::ranges::find(kRows, number, &Row::number);
  return std::generic_category().message(row == kRows.end() ? number : row->errnoValue);
}

} // namespace velto
