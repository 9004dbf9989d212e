// The capabilities of the Gem control: what can be switched on beside the model. Without a model
// there are none: they read as switched off, and setting them changes nothing.

#include "controls/gem_ctrl_capabilities.h"

#include "gem/capabilities/capabilities.h"
#include "gem/engine/engine.h"
#include "gem/model_text/model_text.h"

#include <algorithm>

namespace velto {

GemCapabilities *GemCtrlCapabilities::capabilities() const {
  return gemEngine().gem() == nullptr ? nullptr : &gemEngine().gem()->capabilities();
}

GemCapabilities *GemCtrlCapabilities::capabilitiesWith(uint32_t bit) const {
  GemCapabilities *parts = capabilities();
  return parts != nullptr && (parts->enabled() & bit) != 0 ? parts : nullptr;
}

int32_t GemCtrlCapabilities::Capabilities() const {
  const GemCapabilities *parts = capabilities();
  return parts == nullptr ? 0 : static_cast<int32_t>(parts->enabled());
}

void GemCtrlCapabilities::SetCapabilities(int32_t bits) {
  if (GemCapabilities *parts = capabilities())
    parts->enable(static_cast<uint32_t>(bits));
  capabilitySet();
}

// Remote commands -------------------------------------------------------------------------------

bool GemCtrlCapabilities::RegisterCommand(const std::string &name, const std::string &parameters,
                                          const std::string &required, int32_t ceid) {
  CHGemCommand command{.name = name, .event = static_cast<uint32_t>(ceid)};
  if (gemEngine().gem() == nullptr || name.empty() ||
      findCommand(gemEngine().gem()->data().commands, name) != nullptr ||
      !readCommandParameters(parameters, required, command))
    return false;
  gemEngine().gem()->data().commands.push_back(std::move(command));
  return saved(true);
}

int16_t GemCtrlCapabilities::HCACK() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? int16_t{0} : parts->remote().answer();
}

void GemCtrlCapabilities::SetHCACK(int16_t answer) {
  GemCapabilities *parts = capabilities();
  if (parts != nullptr && std::in_range<uint8_t>(answer))
    parts->remote().setAnswer(static_cast<uint8_t>(answer));
}

int16_t GemCtrlCapabilities::CPACK(const std::string &name) const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? int16_t{0} : parts->remote().parameterFault(name);
}

void GemCtrlCapabilities::SetCPACK(const std::string &name, int16_t fault) {
  GemCapabilities *parts = capabilities();
  if (parts != nullptr && std::in_range<uint8_t>(fault))
    parts->remote().setParameterFault(name, static_cast<uint8_t>(fault));
}

std::string GemCtrlCapabilities::CPVAL(const std::string &name) const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? "" : parts->remote().parameterValue(name);
}

// Process programs ------------------------------------------------------------------------------

std::string GemCtrlCapabilities::RecipeFolder() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? "" : parts->programs().folder();
}

void GemCtrlCapabilities::SetRecipeFolder(const std::string &folder) {
  if (GemCapabilities *parts = capabilities())
    parts->programs().setFolder(folder);
  capabilitySet();
}

int16_t GemCtrlCapabilities::ACKC7() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? int16_t{0} : parts->programs().answer();
}

void GemCtrlCapabilities::SetACKC7(int16_t answer) {
  GemCapabilities *parts = capabilities();
  if (parts != nullptr && std::in_range<uint8_t>(answer))
    parts->programs().setAnswer(static_cast<uint8_t>(answer));
}

std::string GemCtrlCapabilities::ProcessProgramErrors() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? "" : parts->programs().faults();
}

void GemCtrlCapabilities::SetProcessProgramErrors(const std::string &lines) {
  if (GemCapabilities *parts = capabilities())
    parts->programs().setFaults(lines);
}

std::string GemCtrlCapabilities::ProcessPrograms() const {
  GemCapabilities *parts = capabilities();
  std::string lines;
  for (std::string &name :
       parts == nullptr ? std::vector<std::string>() : parts->programs().names()) {
    std::ranges::replace_if(
        name, [](char c) { return c == '\n' || c == '\r'; }, ' ');
    lines.append(lines.empty() ? "" : "\n").append(name);
  }
  return lines;
}

std::string GemCtrlCapabilities::ProcessProgramBody(const std::string &ppid) const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? "" : parts->programs().body(ppid);
}

template <typename Work> bool GemCtrlCapabilities::withPrograms(Work work) {
  GemCapabilities *parts = capabilitiesWith(CapabilityProcessPrograms);
  return parts != nullptr && gemEngine().during([parts, work] { return work(parts->programs()); });
}

void GemCtrlCapabilities::SetProcessProgramBody(const std::string &ppid, const std::string &sml) {
  withPrograms([&](CHGemProcessPrograms &programs) { return programs.setBody(ppid, sml); });
}

bool GemCtrlCapabilities::SelectProcessProgram(const std::string &ppid) {
  return withPrograms([&](CHGemProcessPrograms &programs) { return programs.Select(ppid); });
}

bool GemCtrlCapabilities::DeleteProcessProgram(const std::string &ppid) {
  return withPrograms([&](CHGemProcessPrograms &programs) { return programs.Delete(ppid); });
}

bool GemCtrlCapabilities::SendProcessProgram(const std::string &ppid) {
  return withPrograms([&](CHGemProcessPrograms &programs) { return programs.Send(ppid); });
}

bool GemCtrlCapabilities::RequestProcessProgram(const std::string &ppid) {
  return withPrograms([&](CHGemProcessPrograms &programs) { return programs.Request(ppid); });
}

// Trace data -----------------------------------------------------------------------------------

int32_t GemCtrlCapabilities::MaxTraces() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? CHGemTrace::kMostTraces : parts->trace().mostTraces();
}

void GemCtrlCapabilities::SetMaxTraces(int32_t count) {
  if (GemCapabilities *parts = capabilities())
    parts->trace().setMostTraces(count);
  capabilitySet();
}

bool GemCtrlCapabilities::TraceReplies() const {
  GemCapabilities *parts = capabilities();
  return parts != nullptr && parts->trace().wantsReplies();
}

void GemCtrlCapabilities::SetTraceReplies(bool wanted) {
  if (GemCapabilities *parts = capabilities())
    parts->trace().setWantsReplies(wanted);
  capabilitySet();
}

int32_t GemCtrlCapabilities::ActiveTraces() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? 0 : static_cast<int32_t>(parts->trace().count());
}

// Terminal services -----------------------------------------------------------------------------

int16_t GemCtrlCapabilities::ACKC10() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? int16_t{0} : parts->terminal().answer();
}

void GemCtrlCapabilities::SetACKC10(int16_t answer) {
  GemCapabilities *parts = capabilities();
  if (parts != nullptr && std::in_range<uint8_t>(answer))
    parts->terminal().setAnswer(static_cast<uint8_t>(answer));
}

bool GemCtrlCapabilities::MultiBlockTerminal() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr || parts->terminal().multiBlock();
}

void GemCtrlCapabilities::SetMultiBlockTerminal(bool takes) {
  if (GemCapabilities *parts = capabilities())
    parts->terminal().setMultiBlock(takes);
  capabilitySet();
}

bool GemCtrlCapabilities::RecognizeTerminalText() {
  GemCapabilities *parts = capabilitiesWith(CapabilityTerminal);
  return parts != nullptr && gemEngine().during([parts] { return parts->terminal().Recognize(); });
}

bool GemCtrlCapabilities::SendTerminalText(int16_t tid, const std::string &text) {
  GemCapabilities *parts = capabilitiesWith(CapabilityTerminal);
  return parts != nullptr && std::in_range<uint8_t>(tid) && gemEngine().during([&] {
    return parts->terminal().SendText(static_cast<uint8_t>(tid), text);
  });
}

// Variables that are kept true ------------------------------------------------------------------

void GemCtrlCapabilities::constantsChanged() {
  if (GemCapabilities *parts = capabilitiesWith(CapabilityVariables))
    gemEngine().during([parts] {
      parts->variables().ConstantsChanged();
      return true;
    });
}

bool GemCtrlCapabilities::SetProcessState(int32_t state) {
  GemCapabilities *parts = capabilitiesWith(CapabilityVariables);
  return parts != nullptr && gemEngine().during([parts, state] {
    return parts->variables().SetProcessState(static_cast<uint32_t>(state));
  });
}

// Spooling --------------------------------------------------------------------------------------

int16_t GemCtrlCapabilities::SpoolState() const {
  return gemEngine().gem() == nullptr ? int16_t{0}
                                      : int16_t{gemEngine().gem()->capabilities().spool().state()};
}

int32_t GemCtrlCapabilities::SpoolCount() const {
  return gemEngine().gem() == nullptr
             ? 0
             : static_cast<int32_t>(gemEngine().gem()->capabilities().spool().count());
}

int32_t GemCtrlCapabilities::MaxSpoolSize() const {
  return gemEngine().gem() == nullptr ? 0 : gemEngine().gem()->capabilities().spool().maxSize();
}

void GemCtrlCapabilities::SetMaxSpoolSize(int32_t kib) {
  if (gemEngine().gem() != nullptr)
    gemEngine().gem()->capabilities().spool().setMaxSize(
        std::clamp(kib, 0, CHGemSpool::kGreatestSize));
  capabilitySet();
}

int32_t GemCtrlCapabilities::MaxSpoolMessages() const {
  return gemEngine().gem() == nullptr ? 0 : gemEngine().gem()->capabilities().spool().maxMessages();
}

void GemCtrlCapabilities::SetMaxSpoolMessages(int32_t count) {
  if (gemEngine().gem() != nullptr)
    gemEngine().gem()->capabilities().spool().setMaxMessages(std::max(count, 0));
  capabilitySet();
}

} // namespace velto
