#include "apps/velto/fleet/fleet_tool.h"

#include "gem/engine/engine.h"
#include "gem/messages/items.h"

#include <utility>

namespace velto {

namespace {

constexpr uint8_t kReportStream = 6;
constexpr uint8_t kEventReport = 11;
constexpr uint8_t kEventAcknowledge = 12;
constexpr size_t kMostWaiting = 10'000; // events whose acknowledge may still be told of

} // namespace

FleetTool::FleetTool(EventLoop &loop, FileSystem &files, const FleetPlan &plan, std::string name,
                     Acknowledged acknowledged)
    : loop_(loop), plan_(plan), name_(std::move(name)), acknowledged_(std::move(acknowledged)),
      control_(ControlSite(loop, headlessFrontEnd(), files)), count_(plan.first - 1),
      seed_(static_cast<uint32_t>(std::hash<std::string>()(name_))) {
  const std::string file = name_ + ".kel";
  for (const char *ending : {"", ".more"})
    if (const auto bytes = files.read(plan.model + ending))
      files.write(file + ending, *bytes);
  control_.SetIniFileName(name_ + ".ini");
  control_.engine().logical().SetHost(false);
  control_.SetEdition(1);
  control_.SetLinktestInterval(kLinktestInterval);
  control_.SetT5(1);
  control_.LoadModel(file);
  control_.SetCapabilities(plan.spools ? kAllCapabilities : kAllCapabilities & ~CapabilitySpooling);
  control_.SetAutoReply(true);
  control_.onReceived = [this](const std::string &, int32_t) { received(); };
  control_.onSent = [this] { sent(); };
  control_.onDisconnected = [this](const std::string &, int32_t) { waiting_.clear(); };
}

void FleetTool::open(const LinkAddress &address) {
  address.apply(control_);
  control_.SetPhysicalConnection(true);
}

void FleetTool::close() { separate(control_, loop_); }

bool FleetTool::communicates() const {
  return control_.CommunicationState() == CommunicationState::Communicating;
}

// Readings wander as a random walk does, the same one for each name.
bool FleetTool::act() {
  ++count_;
  for (const uint32_t vid : plan_.readings) {
    seed_ = seed_ * 1664525U + 1013904223U;
    double value = 0;
    control_.GetVIDValue(static_cast<int32_t>(vid), value);
    const double step = static_cast<double>(seed_ >> 16) / 65536.0 - 0.5;
    control_.TrySetVIDValue(static_cast<int32_t>(vid), value == 0 ? 50 + step : value + step);
  }
  if (plan_.counter != 0)
    control_.TrySetVIDValue(static_cast<int32_t>(plan_.counter), count_);
  if (counts_.size() >= kMostWaiting)
    counts_.erase(counts_.begin());
  // An event that is disabled does not go out: the next one does.
  for (size_t i = 0; i < plan_.events.size(); ++i) {
    next_ = (next_ + 1) % plan_.events.size();
    counts_[control_.engine().gem()->data().nextDataId] = count_;
    if (control_.InvokeEvent(static_cast<int32_t>(plan_.events[next_])))
      return true;
  }
  return false;
}

// An event may go out long after it was invoked, from the spool. Its DATAID tells which one it is.
void FleetTool::sent() {
  CHGem &gem = *control_.engine().gem();
  const CHSecsHeader &header = gem.sentHeader();
  if (header.sType() != 0 || header.stream() != kReportStream || header.function() != kEventReport)
    return;
  const auto found = counts_.find(numberOf(childOf(gem.slot(CHGem::kSent).message.root, 1)));
  if (found == counts_.end())
    return;
  if (waiting_.size() >= kMostWaiting)
    waiting_.erase(waiting_.begin());
  waiting_[header.systemBytes] = {found->second, loop_.clock().ticks()};
}

void FleetTool::received() {
  const CHSecsHeader &header = control_.engine().gem()->slot(CHGem::kReceived).message.header;
  if (header.sType() != 0 || header.stream() != kReportStream ||
      header.function() != kEventAcknowledge)
    return;
  const auto found = waiting_.find(header.systemBytes);
  if (found == waiting_.end())
    return;
  const Waiting waited = found->second;
  waiting_.erase(found);
  acknowledged_(*this, waited.count, loop_.clock().ticks() - waited.since);
}

} // namespace velto
