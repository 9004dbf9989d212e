// What the equipment knows, and the files that keep it.

#include "gem/engine/gem.h"

#include "gem/capabilities/capabilities.h"
#include "gem/data/companion_file.h"
#include "gem/data/data_file.h"
#include "gem/data/own_model.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace velto {

namespace {

// A data file may hold any numbers.
void keepStatesInRange(ControlSettings &settings) {
  if (!isState<ControlState>(settings.initialState))
    settings.initialState = ControlState::OnlineRemote;
  if (settings.initialOfflineState > ControlState::HostOffline)
    settings.initialOfflineState = ControlState::HostOffline;
  settings.offlineState = settings.stateAfterFailure();
  if (settings.onlineState != ControlState::OnlineLocal)
    settings.onlineState = ControlState::OnlineRemote;
}

} // namespace

void CHGem::Reset() {
  CommunicationSettings communication;
  communication.modelName = data_.communication.modelName;
  communication.softwareRevision = data_.communication.softwareRevision;
  const GemLimits limits = data_.limits;
  data_ = GemData();
  data_.limits = limits;
  data_.edition = Edition();
  data_.communication = std::move(communication);
  for (const auto &model : models_)
    model->Reset();
  capabilities_->Reset();
}

// The name is a copy: its owner may go inside the report of the state.
bool CHGem::LoadData(std::string fileName) {
  communication_->SwitchState(CommunicationState::Disabled);
  Reset();
  SetDataFileName(std::move(fileName));
  loadSettings();
  return loadModelData();
}

bool CHGem::LoadModel(std::string fileName) {
  communication_->SwitchState(CommunicationState::Disabled);
  Reset();
  SetDataFileName(std::move(fileName));
  const bool loaded = loadModelData();
  addControlState(data_);
  return loaded;
}

void CHGem::SetModel(GemData model) {
  communication_->SwitchState(CommunicationState::Disabled);
  Reset();
  takeModel(std::move(model));
  addControlState(data_);
}

bool CHGem::loadModelData() {
  if (owner() == nullptr)
    return false;
  FileSystem &files = owner()->files();
  auto bytes = readDataFile(files, DataFileName());
  auto loaded = bytes ? loadGemData(std::move(*bytes)) : std::nullopt;
  damagedFile_ = !loaded && files.size(DataFileName()) ? DataFileName() : "";
  if (!loaded)
    return false;
  takeModel(std::move(*loaded));
  loadCompanionFile();
  return true;
}

void CHGem::takeModel(GemData &&model) {
  model.limits = data_.limits;
  model.edition = Edition();
  data_ = std::move(model);
  keepStatesInRange(data_.control);
  if (CHGemEventVid *state = data_.variables.FindByRole(RoleControlState))
    state->SetValue(std::to_string(data_.control.initialState));
}

// What is on does not count: a capability that is switched on later finds what it kept.
void CHGem::loadCompanionFile() {
  const std::string path = DataFileName() + std::string(kCompanionEnding);
  const auto bytes = readDataFile(files(), path);
  const bool damaged = bytes ? !capabilities_->load(*bytes) : files().size(path).has_value();
  damagedCompanion_ = damaged ? path : "";
  if (damaged)
    reportFailure("The model's companion " + path + " could not be read.");
}

bool CHGem::modified() const {
  return capabilities_->modified() ||
         std::ranges::any_of(models_, [](const auto &model) { return model->modified(); });
}

uint32_t CHGem::changes() const {
  uint32_t changes = capabilities_->changes();
  for (const auto &model : models_)
    changes += model->changes();
  return changes;
}

// The model is written whatever becomes of the settings, and at once at the next change too.
bool CHGem::SaveData() {
  saveSettings();
  errno = 0;
  const bool saved = owner() != nullptr && writeData();
  saveError_ = saved ? 0 : errno;
  saveFailedAt_ = saved ? std::nullopt : std::optional(clock().ticks());
  return saved;
}

// A damaged file is no backup: it is kept under a name of its own.
bool CHGem::writeFile(const std::string &path, std::string &damaged, const std::string &bytes) {
  if (damaged.empty() || damaged != path)
    return saveDataFile(files(), path, DataBakCount(), bytes);
  if (!keepDamagedFile(files(), damaged) || !saveDataFile(files(), damaged, 0, bytes))
    return false;
  damaged.clear();
  return true;
}

// The companion is there for those who use it.
bool CHGem::writeData() {
  if (!writeFile(DataFileName(), damagedFile_, storeGemData(data_)))
    return false;
  if (capabilities_->enabled() != 0 && !writeFile(DataFileName() + std::string(kCompanionEnding),
                                                  damagedCompanion_, capabilities_->store()))
    return false;
  for (const auto &model : models_)
    model->clearModified();
  capabilities_->clearModified();
  return true;
}

} // namespace velto
