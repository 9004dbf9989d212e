// The capabilities of the Gem control: what can be switched on beside the model. Without a model
// there are none: they read as switched off, and setting them changes nothing.

#include "controls/gem_ctrl.h"

#include "gem/capabilities/capabilities.h"

#include <algorithm>

namespace velto {

GemCapabilities *CVeltoGemCtrl::capabilities() const {
  return engine_->gem() == nullptr ? nullptr : &engine_->gem()->capabilities();
}

GemCapabilities *CVeltoGemCtrl::capabilitiesWith(uint32_t bit) const {
  GemCapabilities *parts = capabilities();
  return parts != nullptr && (parts->enabled() & bit) != 0 ? parts : nullptr;
}

int32_t CVeltoGemCtrl::Capabilities() const {
  const GemCapabilities *parts = capabilities();
  return parts == nullptr ? 0 : static_cast<int32_t>(parts->enabled());
}

void CVeltoGemCtrl::SetCapabilities(int32_t bits) {
  if (GemCapabilities *parts = capabilities())
    parts->enable(static_cast<uint32_t>(bits));
  setModified();
}

// Remote commands -------------------------------------------------------------------------------

int16_t CVeltoGemCtrl::HCACK() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? int16_t{0} : parts->remote().answer();
}

void CVeltoGemCtrl::SetHCACK(int16_t answer) {
  GemCapabilities *parts = capabilities();
  if (parts != nullptr && std::in_range<uint8_t>(answer))
    parts->remote().setAnswer(static_cast<uint8_t>(answer));
}

int16_t CVeltoGemCtrl::CPACK(const std::string &name) const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? int16_t{0} : parts->remote().parameterFault(name);
}

void CVeltoGemCtrl::SetCPACK(const std::string &name, int16_t fault) {
  GemCapabilities *parts = capabilities();
  if (parts != nullptr && std::in_range<uint8_t>(fault))
    parts->remote().setParameterFault(name, static_cast<uint8_t>(fault));
}

std::string CVeltoGemCtrl::CPVAL(const std::string &name) const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? "" : parts->remote().parameterValue(name);
}

void CVeltoGemCtrl::OnRemoteCommand(const std::string &name, const std::string &parameters) {
  onRemoteCommand.raise(std::string(name), std::string(parameters));
}

// Process programs ------------------------------------------------------------------------------

std::string CVeltoGemCtrl::RecipeFolder() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? "" : parts->programs().folder();
}

void CVeltoGemCtrl::SetRecipeFolder(const std::string &folder) {
  if (GemCapabilities *parts = capabilities())
    parts->programs().setFolder(folder);
  setModified();
}

int16_t CVeltoGemCtrl::ACKC7() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? int16_t{0} : parts->programs().answer();
}

void CVeltoGemCtrl::SetACKC7(int16_t answer) {
  GemCapabilities *parts = capabilities();
  if (parts != nullptr && std::in_range<uint8_t>(answer))
    parts->programs().setAnswer(static_cast<uint8_t>(answer));
}

std::string CVeltoGemCtrl::ProcessProgramErrors() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? "" : parts->programs().faults();
}

void CVeltoGemCtrl::SetProcessProgramErrors(const std::string &lines) {
  if (GemCapabilities *parts = capabilities())
    parts->programs().setFaults(lines);
}

std::string CVeltoGemCtrl::ProcessPrograms() const {
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

std::string CVeltoGemCtrl::ProcessProgramBody(const std::string &ppid) const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? "" : parts->programs().body(ppid);
}

template <typename Work> bool CVeltoGemCtrl::withPrograms(Work work) {
  GemCapabilities *parts = capabilitiesWith(CapabilityProcessPrograms);
  return parts != nullptr && engine_->during([parts, work] { return work(parts->programs()); });
}

void CVeltoGemCtrl::SetProcessProgramBody(const std::string &ppid, const std::string &sml) {
  withPrograms([&](CHGemProcessPrograms &programs) { return programs.setBody(ppid, sml); });
}

bool CVeltoGemCtrl::SelectProcessProgram(const std::string &ppid) {
  return withPrograms([&](CHGemProcessPrograms &programs) { return programs.Select(ppid); });
}

bool CVeltoGemCtrl::DeleteProcessProgram(const std::string &ppid) {
  return withPrograms([&](CHGemProcessPrograms &programs) { return programs.Delete(ppid); });
}

bool CVeltoGemCtrl::SendProcessProgram(const std::string &ppid) {
  return withPrograms([&](CHGemProcessPrograms &programs) { return programs.Send(ppid); });
}

bool CVeltoGemCtrl::RequestProcessProgram(const std::string &ppid) {
  return withPrograms([&](CHGemProcessPrograms &programs) { return programs.Request(ppid); });
}

void CVeltoGemCtrl::OnProcessProgram(int16_t action, const std::string &ppid) {
  onProcessProgram.raise(int16_t{action}, std::string(ppid));
}

// Trace data -----------------------------------------------------------------------------------

int32_t CVeltoGemCtrl::MaxTraces() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? CHGemTrace::kMostTraces : parts->trace().mostTraces();
}

void CVeltoGemCtrl::SetMaxTraces(int32_t count) {
  if (GemCapabilities *parts = capabilities())
    parts->trace().setMostTraces(count);
  setModified();
}

bool CVeltoGemCtrl::TraceReplies() const {
  GemCapabilities *parts = capabilities();
  return parts != nullptr && parts->trace().wantsReplies();
}

void CVeltoGemCtrl::SetTraceReplies(bool wanted) {
  if (GemCapabilities *parts = capabilities())
    parts->trace().setWantsReplies(wanted);
  setModified();
}

int32_t CVeltoGemCtrl::ActiveTraces() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? 0 : static_cast<int32_t>(parts->trace().count());
}

// Terminal services -----------------------------------------------------------------------------

int16_t CVeltoGemCtrl::ACKC10() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr ? int16_t{0} : parts->terminal().answer();
}

void CVeltoGemCtrl::SetACKC10(int16_t answer) {
  GemCapabilities *parts = capabilities();
  if (parts != nullptr && std::in_range<uint8_t>(answer))
    parts->terminal().setAnswer(static_cast<uint8_t>(answer));
}

bool CVeltoGemCtrl::MultiBlockTerminal() const {
  GemCapabilities *parts = capabilities();
  return parts == nullptr || parts->terminal().multiBlock();
}

void CVeltoGemCtrl::SetMultiBlockTerminal(bool takes) {
  if (GemCapabilities *parts = capabilities())
    parts->terminal().setMultiBlock(takes);
  setModified();
}

bool CVeltoGemCtrl::RecognizeTerminalText() {
  GemCapabilities *parts = capabilitiesWith(CapabilityTerminal);
  return parts != nullptr && engine_->during([parts] { return parts->terminal().Recognize(); });
}

bool CVeltoGemCtrl::SendTerminalText(int16_t tid, const std::string &text) {
  GemCapabilities *parts = capabilitiesWith(CapabilityTerminal);
  return parts != nullptr && std::in_range<uint8_t>(tid) && engine_->during([&] {
    return parts->terminal().SendText(static_cast<uint8_t>(tid), text);
  });
}

void CVeltoGemCtrl::OnTerminalText(uint8_t tid, const std::string &text) {
  onTerminalText.raise(int16_t{tid}, std::string(text));
}

// Variables that are kept true ------------------------------------------------------------------

void CVeltoGemCtrl::constantsChanged() {
  if (GemCapabilities *parts = capabilitiesWith(CapabilityVariables))
    engine_->during([parts] {
      parts->variables().ConstantsChanged();
      return true;
    });
}

bool CVeltoGemCtrl::SetProcessState(int32_t state) {
  GemCapabilities *parts = capabilitiesWith(CapabilityVariables);
  return parts != nullptr && engine_->during([parts, state] {
    return parts->variables().SetProcessState(static_cast<uint32_t>(state));
  });
}

// Spooling --------------------------------------------------------------------------------------

int16_t CVeltoGemCtrl::SpoolState() const {
  return engine_->gem() == nullptr ? int16_t{0}
                                   : int16_t{engine_->gem()->capabilities().spool().state()};
}

int32_t CVeltoGemCtrl::SpoolCount() const {
  return engine_->gem() == nullptr
             ? 0
             : static_cast<int32_t>(engine_->gem()->capabilities().spool().count());
}

int32_t CVeltoGemCtrl::MaxSpoolSize() const {
  return engine_->gem() == nullptr ? 0 : engine_->gem()->capabilities().spool().maxSize();
}

void CVeltoGemCtrl::SetMaxSpoolSize(int32_t kib) {
  if (engine_->gem() != nullptr)
    engine_->gem()->capabilities().spool().setMaxSize(
        std::clamp(kib, 0, CHGemSpool::kGreatestSize));
  setModified();
}

int32_t CVeltoGemCtrl::MaxSpoolMessages() const {
  return engine_->gem() == nullptr ? 0 : engine_->gem()->capabilities().spool().maxMessages();
}

void CVeltoGemCtrl::SetMaxSpoolMessages(int32_t count) {
  if (engine_->gem() != nullptr)
    engine_->gem()->capabilities().spool().setMaxMessages(std::max(count, 0));
  setModified();
}

} // namespace velto
