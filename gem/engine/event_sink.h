#pragma once

#include "gem/capabilities/application.h"
#include "transport/link/problem.h"

#include <cstdint>
#include <string>

namespace velto {

/// What the equipment's engine tells the control that owns it. The control may do anything inside a
/// call, destroy the engine included.
class CHGemEventSink : public GemApplication {
public:
  virtual void OnConnected(const std::string &ipAddress, int32_t portNumber) = 0;
  virtual void OnDisconnected(const std::string &ipAddress, int32_t portNumber) = 0;
  /// States of the link: 0 not connected, 1 not selected, 2 selected.
  virtual void OnConnectionStateChanged(int16_t next, int16_t previous) = 0;
  virtual void OnProblem(const Problem &problem) = 0;
  /// A failure of this side's own, by a number that no VeltoGemError has.
  virtual void OnFailure(int16_t /*code*/, const std::string & /*text*/) {}
  /// A message stands in the received slot.
  virtual void OnReceived(const std::string &ipAddress, int32_t portNumber) = 0;
  /// A message went out and stands in the sent slot.
  virtual void OnSent() = 0;
  /// The partner rejected the message that went out with these system bytes (SEMI E37 7.10).
  virtual void OnRejected(uint32_t /*systemBytes*/) {}
  virtual void OnCommunicationStateChanged(int16_t next, int16_t previous) = 0;
  virtual void OnControlStateChanged(int16_t next, int16_t previous) = 0;
  /// The host changed an equipment constant.
  virtual void OnVariableChanged(int32_t vid) = 0;
};

} // namespace velto
