#pragma once

#include "base/bytes.h"

#include <cstdint>
#include <string>

namespace velto {

/// The tag of an engine, the first argument of every report.
enum class ConnectionKind : int { SecsI = 0, Stream = 2, Hsms = 3 };

enum class TraceDirection : int { Sent = 0, Received = 1 };

/// What a transport engine tells its owner. Every call names the engine's kind and the remote end.
/// The owner may do anything inside a call: send, close, destroy the engine.
class CHConnectionSink {
public:
  virtual ~CHConnectionSink() = default;

  /// One unit of received data: a whole message (HSMS: without its length field), or what a raw
  /// stream brought since the last tick.
  virtual void OnReceived(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                          ByteView data) = 0;
  /// A message was sent; `sent` false: it failed and was given up.
  virtual void OnSent(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                      ByteView data, bool sent) = 0;
  /// A failure: the protocol's code or the platform's socket error number.
  virtual void OnProblem(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                         int16_t errorCode, const std::string &text) = 0;
  virtual void OnConnectionChanged(ConnectionKind kind, const std::string &ipAddress,
                                   int32_t portNumber, bool connected) = 0;
  /// The bytes that a SECS-I engine read or wrote, as they went over the line. The only report in
  /// which the owner may just look: the engine is in the midst of a step.
  virtual void OnTrace(ConnectionKind kind, ByteView bytes, TraceDirection direction) = 0;
};

} // namespace velto
