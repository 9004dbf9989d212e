#include "controls/pages/state_pages.h"

#include "base/text.h"

#include <algorithm>
#include <span>

namespace velto {

namespace {

constexpr const char *kModelName = "ModelName";
constexpr const char *kSoftwareRevision = "SoftwareRevision";

constexpr const char *kCommunicationState = "CommunicationInitialState";
constexpr const char *kEstablish = "EstablishCommunications";
constexpr const char *kInitialState = "InitialState";
constexpr const char *kOnlineState = "OnlineState";
constexpr const char *kInitialOffline = "InitialOfflineState";
constexpr const char *kOffline = "OfflineState";

constexpr const char *kClock = "ChangePCClock";
constexpr const char *kVariable = "VID";
constexpr const char *kFormat = "TimeFormat";
constexpr int32_t kDefaultFormat = 1;

/// A number and how a choice names it.
struct NamedNumber {
  uint8_t number;
  const char *name;
};

constexpr NamedNumber kCommunicationStates[] = {{0, "Disabled"}, {1, "Enabled"}};
constexpr NamedNumber kInitialStates[] = {{0, "Off-line"}, {1, "On-line"}};
constexpr NamedNumber kOnlineStates[] = {{ControlState::OnlineLocal, "Local"},
                                         {ControlState::OnlineRemote, "Remote"}};
constexpr NamedNumber kInitialOfflineStates[] = {
    {ControlState::EquipmentOffline, "Equipment off-line"},
    {ControlState::AttemptOnline, "Attempt on-line"},
    {ControlState::HostOffline, "Host off-line"}};
constexpr NamedNumber kOfflineStates[] = {{ControlState::EquipmentOffline, "Equipment off-line"},
                                          {ControlState::HostOffline, "Host off-line"}};

void addChoice(PropertyPage &page, const char *key, const char *label,
               std::span<const NamedNumber> names, uint8_t number) {
  std::vector<std::string> choices;
  std::string current = std::to_string(number); // what has no name is shown as it is
  for (const NamedNumber &named : names) {
    choices.emplace_back(named.name);
    if (named.number == number)
      current = named.name;
  }
  page.choice(key, label, current, std::move(choices));
}

uint8_t chosen(const PropertyPage &page, const char *key, std::span<const NamedNumber> names) {
  return std::ranges::find(names, page.field(key).value, &NamedNumber::name)->number;
}

// Sets a parameter whose field the operator changed.
template <typename T> void set(T &parameter, const T &wanted, bool edited, SetupChanges &changes) {
  if (!edited || parameter == wanted)
    return;
  parameter = wanted;
  changes.model = true;
}

void setChosen(uint8_t &parameter, const PropertyPage &page, const char *key,
               std::span<const NamedNumber> names, SetupChanges &changes) {
  if (page.field(key).changed())
    set(parameter, chosen(page, key, names), true, changes);
}

} // namespace

// Revision ---------------------------------------------------------------------------------------

void CPropRevision::fill(CVeltoGemCtrl &control) {
  const CommunicationSettings &settings = control.engine().gem()->data().communication;
  page().text(kModelName, "Model Name", settings.modelName);
  page().text(kSoftwareRevision, "Software Revision", settings.softwareRevision);
}

void CPropRevision::apply(CVeltoGemCtrl &control, SetupChanges &changes) const {
  CommunicationSettings &settings = control.engine().gem()->data().communication;
  const Field &name = page().field(kModelName);
  const Field &revision = page().field(kSoftwareRevision);
  set(settings.modelName, name.value, name.changed(), changes);
  set(settings.softwareRevision, revision.value, revision.changed(), changes);
}

// State models -----------------------------------------------------------------------------------

void CPropState::fill(CVeltoGemCtrl &control) {
  const GemData &data = control.engine().gem()->data();
  const bool online = data.control.initialState >= ControlState::OnlineLocal;
  addChoice(page(), kCommunicationState, "Initial Communication State", kCommunicationStates,
            data.communication.initialState);
  page().check(kEstablish, "Establish Communications", data.communication.establishCommunications);
  addChoice(page(), kInitialState, "Initial Control State", kInitialStates, online ? 1 : 0);
  addChoice(page(), kOnlineState, "On-line State", kOnlineStates, data.control.onlineState);
  addChoice(page(), kInitialOffline, "Initial Off-line State", kInitialOfflineStates,
            data.control.initialOfflineState);
  addChoice(page(), kOffline, "When Going On-line Fails", kOfflineStates,
            data.control.offlineState);
}

// The control's initial state is the on-line state, or the initial off-line state: it follows when
// one of these is chosen anew.
void CPropState::apply(CVeltoGemCtrl &control, SetupChanges &changes) const {
  GemData &data = control.engine().gem()->data();
  setChosen(data.communication.initialState, page(), kCommunicationState, kCommunicationStates,
            changes);
  const Field &establish = page().field(kEstablish);
  set(data.communication.establishCommunications, establish.value == "true", establish.changed(),
      changes);
  setChosen(data.control.onlineState, page(), kOnlineState, kOnlineStates, changes);
  setChosen(data.control.initialOfflineState, page(), kInitialOffline, kInitialOfflineStates,
            changes);
  setChosen(data.control.offlineState, page(), kOffline, kOfflineStates, changes);
  const bool online = chosen(page(), kInitialState, kInitialStates) != 0;
  const bool edited = page().field(kInitialState).changed() ||
                      page().field(online ? kOnlineState : kInitialOffline).changed();
  set(data.control.initialState,
      online ? data.control.onlineState : data.control.initialOfflineState, edited, changes);
}

// Clock ------------------------------------------------------------------------------------------

void CPropClock::fill(CVeltoGemCtrl &control) {
  page().check(kClock, "Change PC Clock", control.engine().gem()->data().changePCClock);
  page().label(kVariable, "");
  page().choice(kFormat, "Time Format", std::to_string(kDefaultFormat), {"0", "1", "2"});
}

// Without a variable there is nothing to edit. What the operator has typed stays as long as it is
// for the same variable.
void CPropClock::refresh() {
  const CHGemEventVid *variable = desk().edited.variables.FindByRole(RoleTimeFormat);
  Field &format = page().field(kFormat);
  page().field(kVariable).label =
      variable == nullptr ? "VID = none" : formatText("VID = #%u", variable->vid);
  format.kind = variable == nullptr ? Field::Kind::Label : Field::Kind::Choice;
  const auto vid = variable == nullptr ? std::nullopt : std::optional(variable->vid);
  if (format.changed() && vid == shownVid_)
    return;
  shownVid_ = vid;
  format.value = format.shown =
      std::to_string(variable == nullptr ? kDefaultFormat : decimal32(variable->GetValue()));
}

void CPropClock::apply(CVeltoGemCtrl &control, SetupChanges &changes) const {
  GemData &data = control.engine().gem()->data();
  const Field &clock = page().field(kClock);
  set(data.changePCClock, clock.value == "true", clock.changed(), changes);
  const Field &format = page().field(kFormat);
  CHGemEventVid *variable = data.variables.FindByRole(RoleTimeFormat);
  const int32_t wanted = decimal32(format.value);
  if (!format.changed() || variable == nullptr || decimal32(variable->GetValue()) == wanted)
    return;
  variable->SetValue(std::to_string(wanted));
  changes.model = changes.lists = true;
}

} // namespace velto
