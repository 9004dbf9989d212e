#pragma once

#include <cstdint>
#include <string>

namespace velto {

/// What capabilities tell the host application, and ask it. It answers through members of the
/// control before it returns, and may do anything meanwhile, destroy the control included.
class GemApplication {
public:
  virtual ~GemApplication() = default;

  /// The host asks for a remote command that passed every check. Parameters are one line each,
  /// "NAME=value".
  virtual void OnRemoteCommand(const std::string & /*name*/, const std::string & /*parameters*/) {}
  /// A text for the terminal of that number, lines divided by line feeds.
  virtual void OnTerminalText(uint8_t /*tid*/, const std::string & /*text*/) {}
  /// Something is done with a process program, or is about to be (CHGemProcessPrograms::Action).
  virtual void OnProcessProgram(int16_t /*action*/, const std::string & /*ppid*/) {}
};

} // namespace velto
