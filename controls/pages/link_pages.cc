#include "controls/pages/link_pages.h"

#include "base/text.h"
#include "controls/log_properties.h"

#include <algorithm>

namespace velto {

namespace {

constexpr const char *kModel = "LogicalConnection";
constexpr const char *kRole = "Host";
constexpr const char *kEquipment = "Equipment";
constexpr const char *kHost = "Host";

constexpr const char *kEdition = "Edition";
constexpr const char *kEditions[] = {"Early", "Current"}; // by their numbers

constexpr const char *kTransport = "Transport";
constexpr const char *kTransports[] = {"HSMS", "SECS-I serial", "SECS-I over TCP"}; // likewise

constexpr int64_t kMaxText = 255; // in the INI file

std::vector<PageField> timeoutFields() {
  std::vector<PageField> fields{{"T3", "T3 (s)", 0, kMaxSeconds},
                                {"T5", "T5 (s)", 0, kMaxSeconds},
                                {"T6", "T6 (s)", 0, kMaxSeconds},
                                {"T7", "T7 (s)", 0, kMaxSeconds},
                                {"T8", "T8 (s)", 0, kMaxSeconds},
                                {"LinktestInterval", "Linktest Interval (s)", 0, kMaxSeconds}};
  const std::vector<PageField> keepAlive = keepAliveFields();
  fields.insert(fields.end(), keepAlive.begin(), keepAlive.end());
  fields.insert(fields.end(), {{"SecsIT1", "SECS-I T1 (ms)", 1, kMaxInt32},
                               {"SecsIT2", "SECS-I T2 (ms)", 1, kMaxInt32},
                               {"SecsIT4", "SECS-I T4 (ms)", 0, kMaxInt32}});
  return fields;
}

} // namespace

// Model and role ---------------------------------------------------------------------------------

void CPropModel::fill(CVeltoGemCtrl &control) {
  const bool model = control.LogicalConnection() == 1;
  mayBeHost_ = model && control.Host();
  page().check(kModel, "GEM Object Model", model);
  page().choice(kRole, "Role", control.Host() ? kHost : kEquipment, {kEquipment, kHost});
  page().choice(kEdition, "Edition", kEditions[control.Edition()],
                {std::begin(kEditions), std::end(kEditions)});
}

std::string CPropModel::problem() const {
  const bool model = page().field(kModel).value == "true";
  const Field &role = page().field(kRole);
  if (!model || mayBeHost_ || role.value != kHost)
    return "";
  return role.label + " takes " + kEquipment +
         " while the GEM object model is on: an equipment with a model cannot become a host.";
}

// A fresh model takes over what the connection was known by.
void CPropModel::apply(CVeltoGemCtrl &control, SetupChanges &changes) const {
  const Field &model = page().field(kModel);
  const bool on = model.value == "true";
  if (model.changed() && on != (control.LogicalConnection() == 1)) {
    const uint16_t deviceId = control.engine().logical().DeviceID();
    const uint32_t t3 = control.engine().logical().T3();
    const E5Edition edition = control.engine().logical().Edition();
    control.SetLogicalConnection(on ? 1 : 0);
    control.engine().logical().SetDeviceID(deviceId);
    control.engine().logical().SetT3(t3);
    control.engine().logical().SetEdition(edition);
    changes.settings = true;
  }
  const Field &role = page().field(kRole);
  const bool host = role.value == kHost;
  if (role.changed() && host != control.Host()) {
    control.SetHost(host);
    changes.settings = true;
  }
  const Field &edition = page().field(kEdition);
  const auto number = static_cast<int16_t>(edition.value == kEditions[1]);
  if (edition.changed() && number != control.Edition()) {
    control.SetEdition(number);
    changes.settings = true;
  }
}

// Properties -------------------------------------------------------------------------------------

void PropertyFieldsPage::fill(CVeltoGemCtrl &control) {
  for (const PageField &field : fields_)
    addField(page(), field, control.get(field.setting).value, kMaxText);
}

void PropertyFieldsPage::apply(CVeltoGemCtrl &control, SetupChanges &changes) const {
  for (const Field &field : page().fields) {
    if (field.kind == Field::Kind::Choice)
      continue; // the page's own
    const Variant wanted = field.kind == Field::Kind::Integer
                               ? Variant(parseDecimal(field.value).value_or(0))
                           : field.kind == Field::Kind::Check ? Variant(field.value == "true")
                                                              : Variant(field.value);
    if (!field.changed() || control.get(field.key).value == wanted)
      continue;
    control.set(field.key, wanted);
    changes.settings = true;
  }
}

CPropHsms::CPropHsms(SetupDesk &desk)
    : PropertyFieldsPage(desk, {
                                   {"Server", "Server"},
                                   {"IPAddress", "IP Address", 0, 0, 1, true},
                                   {"PortNumber", "Port Number", 0, kMaxWord},
                                   {"MyPortNumber", "My Port Number", 0, kMaxWord},
                                   {"DeviceID", "Device ID", 0, kMaxWord},
                                   {"DiscardDuplicatedBlock", "Discard Duplicated Block"},
                                   {"SerialPort", "Serial Port", 0, 0, 1, true},
                                   {"BaudRate", "Baud Rate", 1, kMaxInt32},
                                   {"SecsIRetry", "SECS-I Retry", 0, kMaxInt16},
                                   {"SecsIMaster", "Master (-1: equipment)", -1, 1},
                               }) {}

void CPropHsms::fill(CVeltoGemCtrl &control) {
  PropertyFieldsPage::fill(control);
  page().choice(kTransport, "Transport", kTransports[control.Transport()],
                {std::begin(kTransports), std::end(kTransports)});
}

void CPropHsms::apply(CVeltoGemCtrl &control, SetupChanges &changes) const {
  PropertyFieldsPage::apply(control, changes);
  const Field &transport = page().field(kTransport);
  const auto number = static_cast<int16_t>(std::ranges::find(kTransports, transport.value) -
                                           std::begin(kTransports));
  if (!transport.changed() || number == control.Transport())
    return;
  control.SetTransport(number);
  changes.settings = true;
}

CPropTimeout::CPropTimeout(SetupDesk &desk) : PropertyFieldsPage(desk, timeoutFields()) {}

// Without a model the property T3 takes no value.
void CPropTimeout::fill(CVeltoGemCtrl &control) {
  PropertyFieldsPage::fill(control);
  if (control.LogicalConnection() == 0)
    page().field("T3").kind = Field::Kind::Label;
}

// The model may have been switched off on the same sheet: the plain connection has a T3 too.
void CPropTimeout::apply(CVeltoGemCtrl &control, SetupChanges &changes) const {
  PropertyFieldsPage::apply(control, changes);
  const Field &t3 = page().field("T3");
  if (!t3.changed() || control.LogicalConnection() == 1)
    return;
  control.engine().logical().SetT3(static_cast<uint32_t>(decimal32(t3.value)) * 1000);
  changes.settings = true;
}

CPropLog::CPropLog(SetupDesk &desk)
    : PropertyFieldsPage(desk,
                         logFields({{"Log", "Log"}, {"LogCommunication", "Log Communication"}})) {}

} // namespace velto
