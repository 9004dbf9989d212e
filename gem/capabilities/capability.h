#pragma once

#include "base/setting_list.h"
#include "gem/capabilities/application.h"
#include "gem/data/archive.h"
#include "gem/models/event_model.h"
#include "gem/models/model.h"
#include "platform/file.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velto {

/// The optional parts of an equipment (SEMI E30 4), as bits of the Gem control's `Capabilities`.
enum GemCapabilityBit : uint32_t {
  CapabilityRemoteControl = 0x01,
  CapabilityTrace = 0x02,
  CapabilityLimits = 0x04,
  CapabilitySpooling = 0x08,
  CapabilityProcessPrograms = 0x10,
  CapabilityTerminal = 0x20,
  CapabilityVariables = 0x40,
};
inline constexpr uint32_t kAllCapabilities =
    CapabilityRemoteControl | CapabilityTrace | CapabilityLimits | CapabilitySpooling |
    CapabilityProcessPrograms | CapabilityTerminal | CapabilityVariables;

/// The words for a capability: the key of a setting, and the name of SEMI E30.
struct GemCapabilityName {
  GemCapabilityBit bit;
  const char *key;
  const char *name;
};
inline constexpr std::array<GemCapabilityName, 7> kCapabilityNames{{
    {CapabilityRemoteControl, "RemoteControl", "Remote Control"},
    {CapabilityTrace, "TraceData", "Trace Data Collection"},
    {CapabilityLimits, "LimitsMonitoring", "Limits Monitoring"},
    {CapabilitySpooling, "Spooling", "Spooling"},
    {CapabilityProcessPrograms, "ProcessPrograms", "Process Program Management"},
    {CapabilityTerminal, "TerminalServices", "Equipment Terminal Services"},
    {CapabilityVariables, "KeptVariables", "Variables Kept True"},
}};

/// What capabilities need of the core object beside what every model needs.
class GemCapabilityOwner {
public:
  virtual ~GemCapabilityOwner() = default;

  virtual GemApplication &application() = 0;
  virtual FileSystem &files() = 0;
  /// Whether there is a partner to send to; the states follow on the next tick when it has gone.
  virtual bool hasPartner() const = 0;
  /// The model data file; what a capability keeps stands beside it.
  virtual const std::string &dataFile() const = 0;
  /// Variables of these numbers are about to be read: brings up to date what is kept true.
  virtual void beforeSampling(std::span<const uint32_t> vids) = 0;
  /// A failure that the host application is to hear of.
  virtual void reportFailure(const std::string &reason) = 0;
  /// As MessageLink has it.
  virtual std::optional<size_t> blockData() const { return std::nullopt; }
  // What becomes of a message that was held back: it goes out (false: it cannot), it has failed to
  // be sent with the communications, or the partner does not grant it.
  virtual bool sendHeld(const CHSecsHeader & /*header*/, ByteView /*body*/) { return false; }
  virtual void failHeld(const CHSecsHeader & /*header*/, ByteView /*body*/) {}
  virtual void refuseHeld(const CHSecsHeader & /*header*/) {}
};

/// What a capability is made of: the core object in its two roles, what the equipment knows, and
/// the model that reports its events.
struct GemParts {
  GemModelOwner &owner;
  GemCapabilityOwner &host;
  GemData &data;
  CHGemEventModel &events;
};

/// A capability of the equipment that can be switched on: it knows the models, and no model knows
/// it. Every hook of a model reaches it while it is on, in the order of the capabilities and behind
/// the models; its Tick() comes in every communication state.
class GemCapability : public GemModel {
public:
  explicit GemCapability(const GemParts &parts)
      : GemModel(parts.owner, parts.data), host_(parts.host), events_(parts.events) {}

  /// Settings that the INI file keeps.
  virtual void addSettings(SettingList & /*settings*/) {}
  /// What is to outlive the process: the name of its part in the companion of the data file; empty
  /// when there is nothing.
  virtual std::string_view storedAs() const { return {}; }
  virtual void store(ArchiveWriter & /*archive*/) const {}
  virtual void load(ArchiveReader & /*archive*/) {}

  /// Variables are about to be read: for the reports of an event, or for whatever a message asks
  /// (null). Nothing may be sent or reported here.
  virtual void beforeReading(const CHGemEventCeid * /*event*/) {}
  /// The same for variables of these numbers.
  virtual void beforeSampling(std::span<const uint32_t> /*vids*/) {}
  /// There are communications no more, or none soon: their end may be about to be reported.
  virtual void OnCommunicationsEnd() {}
  /// This side has closed the link, ends, or gives the model up, which a link may survive: what
  /// outlives the process is written before this returns, for there may be no further tick.
  virtual void OnClosed() {}
  /// The capability was on, and is off from now on.
  virtual void OnSwitchedOff() {}
  /// An alarm was set or cleared, and its report sent where it may go out.
  virtual void OnAlarmChanged(uint32_t /*alid*/, bool /*set*/) {}
  /// A variable got another value, or may have.
  virtual void OnVariableChanged(uint32_t /*vid*/) {}
  /// A variable is there no more. Reaches what is off too, which keeps what was told of it.
  virtual void OnVariableRemoved(uint32_t /*vid*/) {}
  /// A message that is to go out: see GemSendStage. It comes here before the gate.
  virtual std::optional<bool> stop(const CHSecsMessage & /*message*/) { return std::nullopt; }
  /// A message went out, with its header as it did.
  virtual void OnSent(const CHSecsHeader & /*header*/, ByteView /*body*/) {}
  /// A message has ended the transaction of a request that was sent.
  virtual void OnAnswered(const CHSecsMessage & /*answer*/) {}
  /// A message that went out before could not be sent after all. Communications have ended.
  virtual void OnUndelivered(const CHSecsMessage &message) {
    OnProblem(LinkProblem::SendFailed, message.header);
  }
  /// Events and alarms are wanted though there is no partner to hear them.
  virtual bool wantsEvents() const { return false; }

protected:
  GemCapabilityOwner &host() const { return host_; }
  CHGemEventModel &events() const { return events_; }
  /// Sets the variable of a role, where there is one, and tells of it.
  void setByRole(VariableRole role, uint32_t value) {
    CHGemEventVid *variable = data().variables.FindByRole(role);
    if (variable == nullptr)
      return;
    const uint32_t vid = variable->vid;
    variable->SetValue(std::to_string(value));
    owner().variableChanged(vid);
  }

private:
  GemCapabilityOwner &host_;
  CHGemEventModel &events_;
};

} // namespace velto
