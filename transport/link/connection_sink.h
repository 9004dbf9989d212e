#pragma once

#include "base/bytes.h"
#include "transport/link/problem.h"

#include <cstdint>
#include <string>

namespace velto {

/// The tag of an engine, the first argument of every report.
enum class ConnectionKind : int { SecsI = 0, Stream = 2, Hsms = 3 };

enum class TraceDirection : int { Sent = 0, Received = 1 };

/// What a transport engine tells its owner. Every call names the engine's kind and the remote end.
/// The owner may do anything inside a call: send, close, give the engine up, pump the loop.
class CHConnectionSink {
public:
  virtual ~CHConnectionSink() = default;

  /// A tick begins.
  virtual void OnTick() {}
  /// The engine's peers, their states or its queues look different, or are about to. The owner may
  /// only note it: the engine is in the midst of a step.
  virtual void OnChanged() {}

  /// One unit of received data: a whole message (HSMS: without its length field), or what a raw
  /// stream brought since the last tick.
  virtual void OnReceived(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                          ByteView data) = 0;
  /// A message was sent; `sent` false: it failed and was given up.
  virtual void OnSent(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                      ByteView data, bool sent) = 0;
  virtual void OnProblem(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                         const Problem &problem) = 0;
  virtual void OnConnectionChanged(ConnectionKind kind, const std::string &ipAddress,
                                   int32_t portNumber, bool connected) = 0;
  /// The bytes that a SECS-I engine read or wrote, as they went over the line. The owner
  /// may only look: the engine is in the midst of a step.
  virtual void OnTrace(ConnectionKind kind, ByteView bytes, TraceDirection direction) = 0;
};

/// The sink of an engine that nobody listens to.
CHConnectionSink &silentSink();

} // namespace velto
