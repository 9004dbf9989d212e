#include "platform/socket_error.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace velto {

int socketErrorNumber(int errnoValue) {
  struct Row {
    int errnoValue;
    SocketError number;
  };
  static constexpr std::array kRows{
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
  const auto *row = std::find_if(kRows.begin(), kRows.end(), [errnoValue](const Row &candidate) {
    return candidate.errnoValue == errnoValue;
  });
  return row == kRows.end() ? errnoValue : row->number;
}

} // namespace velto
