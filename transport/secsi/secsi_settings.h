#pragma once

#include "transport/log/log_settings.h"

#include <cstdint>

namespace velto {

/// How a station speaks SECS-I (SEMI E4). Times are milliseconds. All of it counts at once.
struct SecsISettings {
  uint32_t t1 = 1000;     ///< between characters of a block (SEMI E4 7.3.1)
  uint32_t t2 = 10'000;   ///< for EOT, the length byte, ACK or NAK (SEMI E4 7.3.2)
  uint32_t t3 = 30'000;   ///< for a reply (SEMI E4 9.3.1)
  uint32_t t4 = 60'000;   ///< between blocks of a message (SEMI E4 9.4.2)
  bool msec = false;      ///< headers go out as given, blocks stand alone, data has even parity
  bool master = true;     ///< wins contention (SEMI E4 7.5); gives the R-bit of what is sent
  int16_t retry = 3;      ///< further attempts for a block (SEMI E4 7.4)
  bool equipment = false; ///< checks device IDs, sends stream 9
  uint16_t deviceId = 0;  ///< own, 15 bits
  /// The protocol above has the say: IDs and R-bit go out as given, and it waits for replies (T3).
  bool carriesOnly = false;
  LogSettings log{.fileName = {}}; ///< with `verbose`: of every character exchanged
};

/// All in which SECS-I over a connection differs from a serial line. (That a listener reports
/// NoPeer is the one thing more; a serial line has no peers.)
struct SecsIVariant {
  bool numbersSingleBlocks; ///< a queued message starts with block number 1, else with its own
  bool sendsS9F9;           ///< the equipment complains about a missing reply
  bool traceWithHeader;     ///< traces header and data of a sent block apart
};
inline constexpr SecsIVariant kSerialVariant{false, true, false};
inline constexpr SecsIVariant kSocketVariant{true, false, true};

} // namespace velto
