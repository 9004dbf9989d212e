#include "controls/pages/gem_setup.h"

#include "controls/pages/capability_page.h"
#include "controls/pages/link_pages.h"
#include "controls/pages/list_pages.h"
#include "controls/pages/role_pages.h"
#include "controls/pages/state_pages.h"

#include <algorithm>
#include <array>

namespace velto {

namespace {

constexpr int32_t kEventPage = 0x040;
constexpr int32_t kVariablePage = 0x080;

template <typename Page> std::unique_ptr<SetupPage> make(SetupDesk &desk) {
  return std::make_unique<Page>(desk);
}

} // namespace

// When a page is applied. Lists come before the roles of what they hold, and these before the time
// format, whose variable is found by its role.
enum GemSetup::Step : int {
  SettingsStep,
  ListsStep,
  ParametersStep,
  RolesStep,
  ClockStep,
  kStepCount,
};

struct GemSetup::Row {
  PageInfo info;
  Step step;
  std::unique_ptr<SetupPage> (*make)(SetupDesk &desk);

  bool needsModel() const { return (info.bit & kLinkPages) == 0; }
};

// In the order of the sheet.
std::span<const GemSetup::Row> GemSetup::rows() {
  static constexpr std::array kRows{
      Row{{0x001, "Model"}, SettingsStep, make<CPropModel>},
      Row{{0x002, "HSMS"}, SettingsStep, make<CPropHsms>},
      Row{{0x004, "Timeout"}, SettingsStep, make<CPropTimeout>},
      Row{{0x200, "Log"}, SettingsStep, make<CPropLog>},
      Row{{0x008, "Revision"}, ParametersStep, make<CPropRevision>},
      Row{{0x010, "State"}, ParametersStep, make<CPropState>},
      Row{{0x400, "Predefined VID"}, RolesStep, make<CPropPredefinedVid>},
      Row{{0x800, "Predefined CEID"}, RolesStep, make<CPropPredefinedCeid>},
      Row{{0x020, "Clock"}, ClockStep, make<CPropClock>},
      Row{{kEventPage, "CEID"}, ListsStep, make<CPropCeid>},
      Row{{kVariablePage, "VID"}, ListsStep, make<CPropVid>},
      Row{{0x100, "ALID"}, ListsStep, make<CPropAlid>},
      Row{{0x10000, "Capabilities"}, SettingsStep, make<CPropCapabilities>},
  };
  return kRows;
}

std::vector<GemSetup::PageInfo> GemSetup::allPages() {
  std::vector<PageInfo> pages;
  for (const Row &row : rows())
    pages.push_back(row.info);
  return pages;
}

GemSetup::GemSetup(CVeltoGemCtrl &control, FrontEnd &frontEnd, int32_t options)
    : desk_{frontEnd, {}, {}, {}}, hadModel_(control.engine().gem() != nullptr) {
  for (const Row &row : rows())
    if ((options & row.info.bit) != 0 && (hadModel_ || !row.needsModel()))
      pages_.push_back({&row, row.make(desk_)});
  if (hadModel_) {
    desk_.shown.CopyFrom(control.engine().gem()->data());
    desk_.edited.CopyFrom(control.engine().gem()->data());
  }
  sheet_.pages.resize(pages_.size());
  for (size_t i = 0; i < pages_.size(); ++i) {
    sheet_.pages[i].title = pages_[i].row->info.title;
    pages_[i].page->open(control, sheet_.pages[i]);
  }
  desk_.refresh = [this] {
    for (const Opened &opened : pages_)
      opened.page->refresh();
  };
  sheet_.check = [this](const PropertySheet &) {
    std::string problem;
    for (const Opened &opened : pages_)
      if (problem.empty())
        problem = opened.page->problem();
    return problem;
  };
}

bool GemSetup::contains(int32_t bits) const {
  return std::ranges::any_of(
      pages_, [=](const Opened &opened) { return (opened.row->info.bit & bits) != 0; });
}

void GemSetup::applyStep(int step, CVeltoGemCtrl &control, SetupChanges &changes) const {
  for (const Opened &opened : pages_)
    if (opened.row->step == step &&
        (!opened.row->needsModel() || control.engine().gem() != nullptr))
      opened.page->apply(control, changes);
}

GemSetup::Applied GemSetup::apply(CVeltoGemCtrl &control) {
  SetupChanges changes;
  applyStep(SettingsStep, control, changes);
  if (hadModel_ && control.engine().gem() == nullptr) {
    // The plain connection is known by what the INI file says, unless the operator said otherwise.
    control.engine().logical().loadSettings();
    applyStep(SettingsStep, control, changes);
  }
  for (int step = ListsStep; step < kStepCount; ++step)
    applyStep(step, control, changes);
  if (!changes.any())
    return {};
  CHGem *model = control.engine().gem();
  if (changes.lists && contains(kEventPage | kVariablePage)) {
    model->data().reports.Clear();
    model->data().events.unlinkAll();
  }
  const bool constants = changes.lists && changedConstants(control);
  return {true, constants, save(control, changes)};
}

bool GemSetup::changedConstants(CVeltoGemCtrl &control) const {
  const CHGemEventVidList &variables = control.engine().gem()->data().variables;
  for (size_t i = 0; i < variables.Count(); ++i) {
    const CHGemEventVid &live = variables.at(i);
    const CHGemEventVid *shown = desk_.shown.variables.FindVid(live.vid, EquipmentConstant);
    if (live.kind == EquipmentConstant && shown != nullptr && shown->rawValue() != live.rawValue())
      return true;
  }
  return false;
}

// The model's flag tells whether its file was written, and has it tried again later when not.
std::string GemSetup::save(CVeltoGemCtrl &control, const SetupChanges &changes) const {
  CHGemEngine &engine = control.engine();
  std::string problem;
  bool settingsSaved = true;
  if (changes.model) {
    engine.gem()->events().setModified();
    control.SaveData();
    if (engine.gem()->events().modified())
      problem = "The model data file " + control.DataFileName() + " cannot be written.";
  } else {
    settingsSaved = engine.logical().saveSettings();
  }
  if (!engine.SaveIniFile() || !settingsSaved)
    problem += (problem.empty() ? "" : "\n") + ("The settings file " + control.IniFileName()) +
               " cannot be written.";
  return problem;
}

} // namespace velto
