#include "gem/capabilities/capabilities.h"

#include "transport/link/deadline.h"

#include <algorithm>
#include <utility>

namespace velto {

GemCapabilities::GemCapabilities(const GemParts &parts, SettingList &settings) {
  settings.section("Gem");
  settings.rareInteger("Capabilities", enabled_, 0);
  remote_ = add<CHGemRemoteControl>(CapabilityRemoteControl, parts, settings);
  programs_ = add<CHGemProcessPrograms>(CapabilityProcessPrograms, parts, settings);
  trace_ = add<CHGemTrace>(CapabilityTrace, parts, settings);
  add<CHGemLimits>(CapabilityLimits, parts, settings);
  terminal_ = add<CHGemTerminal>(CapabilityTerminal, parts, settings);
  variables_ = add<CHGemKeptVariables>(CapabilityVariables, parts, settings);
  multiBlock_ = add<CHGemMultiBlock>(kAllCapabilities, parts, settings);
  spool_ = add<CHGemSpool>(CapabilitySpooling, parts, settings);
}

template <typename C>
C *GemCapabilities::add(uint32_t bit, const GemParts &parts, SettingList &settings) {
  auto made = std::make_unique<C>(parts);
  C *added = made.get();
  added->addSettings(settings);
  entries_.push_back({bit, std::move(made)});
  return added;
}

template <typename Call> void GemCapabilities::each(Call call) const {
  if (enabled_ == 0)
    return;
  for (const Entry &entry : entries_)
    if (isOn(entry))
      call(*entry.capability);
}

void GemCapabilities::enable(uint32_t bits) {
  const uint32_t before = enabled();
  enabled_ = static_cast<int32_t>(bits & kAllCapabilities);
  for (const Entry &entry : entries_)
    if ((before & entry.bit) != 0 && !isOn(entry))
      entry.capability->OnSwitchedOff();
}

bool GemCapabilities::OnReceive(CHSecsVerifier &slot) {
  bool taken = false;
  each([&](GemCapability &capability) { taken = taken || capability.OnReceive(slot); });
  return taken;
}

void GemCapabilities::OnReceived() {
  each([](GemCapability &capability) { capability.OnReceived(); });
}

void GemCapabilities::Tick() {
  each([](GemCapability &capability) { capability.Tick(); });
}

std::optional<uint32_t> GemCapabilities::NextTick() const {
  std::optional<uint32_t> next;
  each([&next](GemCapability &capability) {
    if (const auto wait = capability.NextTick())
      next = sooner(next, *wait);
  });
  return next;
}

void GemCapabilities::OnConnectionReset() {
  each([](GemCapability &capability) { capability.OnConnectionReset(); });
}

void GemCapabilities::OnDisable() {
  each([](GemCapability &capability) { capability.OnDisable(); });
}

void GemCapabilities::OnSent(const CHSecsHeader &header, ByteView body) {
  each([&](GemCapability &capability) { capability.OnSent(header, body); });
}

void GemCapabilities::OnAnswered(const CHSecsMessage &answer) {
  each([&answer](GemCapability &capability) { capability.OnAnswered(answer); });
}

void GemCapabilities::OnRejected(const CHSecsHeader &primary) {
  each([&primary](GemCapability &capability) { capability.OnRejected(primary); });
}

void GemCapabilities::OnProblem(LinkProblem problem, const CHSecsHeader &header) {
  each([&](GemCapability &capability) { capability.OnProblem(problem, header); });
}

void GemCapabilities::OnUndelivered(const CHSecsMessage &message) {
  each([&message](GemCapability &capability) { capability.OnUndelivered(message); });
}

void GemCapabilities::OnVariableChanged(uint32_t vid) {
  each([vid](GemCapability &capability) { capability.OnVariableChanged(vid); });
}

void GemCapabilities::OnVariableRemoved(uint32_t vid) {
  for (const Entry &entry : entries_)
    entry.capability->OnVariableRemoved(vid);
}

void GemCapabilities::beforeReading(const CHGemEventCeid *event) {
  each([event](GemCapability &capability) { capability.beforeReading(event); });
}

void GemCapabilities::beforeSampling(std::span<const uint32_t> vids) {
  each([vids](GemCapability &capability) { capability.beforeSampling(vids); });
}

void GemCapabilities::OnCommunicationsEnd() {
  each([](GemCapability &capability) { capability.OnCommunicationsEnd(); });
}

void GemCapabilities::OnAlarmChanged(uint32_t alid, bool set) {
  each([alid, set](GemCapability &capability) { capability.OnAlarmChanged(alid, set); });
}

void GemCapabilities::addStatus(TreeNode &parent) const {
  each([&parent](GemCapability &capability) { capability.addStatus(parent); });
}

std::optional<bool> GemCapabilities::stop(const CHSecsMessage &message) {
  std::optional<bool> stopped;
  each([&](GemCapability &capability) {
    if (!stopped)
      stopped = capability.stop(message);
  });
  return stopped;
}

bool GemCapabilities::wantsEvents() const {
  bool wanted = false;
  each([&wanted](GemCapability &capability) { wanted = wanted || capability.wantsEvents(); });
  return wanted;
}

void GemCapabilities::Reset() {
  for (const Entry &entry : entries_)
    entry.capability->Reset();
}

bool GemCapabilities::modified() const {
  return std::ranges::any_of(entries_,
                             [](const Entry &entry) { return entry.capability->modified(); });
}

void GemCapabilities::clearModified() {
  for (const Entry &entry : entries_)
    entry.capability->clearModified();
}

uint32_t GemCapabilities::changes() const {
  uint32_t changes = 0;
  for (const Entry &entry : entries_)
    changes += entry.capability->changes();
  return changes;
}

std::string GemCapabilities::store() const {
  std::vector<CompanionPart> parts;
  for (const auto &[bit, capability] : entries_) {
    if (capability->storedAs().empty())
      continue;
    ArchiveWriter part;
    capability->store(part);
    parts.push_back({std::string(capability->storedAs()), part.take()});
  }
  return storeCompanion(parts);
}

bool GemCapabilities::load(std::string_view bytes) {
  Reset();
  const auto parts = loadCompanion(bytes);
  const bool whole = parts && std::ranges::all_of(*parts, [this](const CompanionPart &part) {
                       return loadPart(part);
                     });
  if (!whole)
    Reset();
  clearModified();
  return whole;
}

bool GemCapabilities::loadPart(const CompanionPart &part) {
  const auto entry = std::ranges::find_if(entries_, [&part](const Entry &known) {
    return !part.name.empty() && known.capability->storedAs() == part.name;
  });
  if (entry == entries_.end())
    return true;
  ArchiveReader archive(part.bytes);
  entry->capability->load(archive);
  return archive.finished();
}

} // namespace velto
