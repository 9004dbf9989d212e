#pragma once

#include "apps/velto/spy/spy_console.h"
#include "apps/velto/trace/protocol_guess.h"
#include "apps/velto/trace/tcp_flow.h"

#include <map>
#include <memory>
#include <utility>

namespace velto {

/// Shows what HSMS and SECS-I connections say in captured segments, which it takes in the order of
/// the capture. Other connections are left aside.
class Trace {
public:
  Trace(SpyConsole &console, const Conversation::Settings &settings);
  ~Trace();

  void take(const TcpSegment &segment, uint64_t micros);
  /// The capture is over.
  void finish();
  /// Connections so far, and those that it has shown.
  uint32_t connectionCount() const { return connectionCount_; }
  uint32_t shownCount() const { return shownCount_; }

private:
  class Connection;
  using Key = std::pair<TcpEnd, TcpEnd>; // the smaller one first

  void tick(uint64_t micros);

  SpyConsole &console_;
  const Conversation::Settings settings_;
  std::map<Key, std::unique_ptr<Connection>> connections_;
  uint32_t connectionCount_ = 0;
  uint32_t shownCount_ = 0;
  uint64_t ticked_ = 0;
};

} // namespace velto
