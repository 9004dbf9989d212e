// The files of the Gem control: settings, model and log.

#include "controls/gem_ctrl.h"

#include "gem/data/own_model.h"
#include "gem/engine/engine.h"
#include "gem/model_text/model_file.h"

namespace velto {

namespace {

constexpr std::string_view kTextEnding = ".model";

} // namespace

bool CVeltoGemCtrl::LoadData() {
  if (IniFileName().empty())
    return false;
  const Lifetime::Watch alive(lifetime());
  viewChanged();
  engine_->LoadIniFile();
  if (engine_->gem() != nullptr) {
    engine_->gem()->SetDataBakCount(dataBackups_);
    engine_->LoadData(dataFileName_);
  } else {
    engine_->logical().loadSettings();
  }
  return alive && engine_->gem() != nullptr;
}

bool CVeltoGemCtrl::SaveData() {
  if (engine_->gem() == nullptr)
    return false;
  engine_->gem()->SetDataFileName(dataFileName_);
  engine_->gem()->SetDataBakCount(dataBackups_);
  const bool saved = engine_->gem()->SaveData();
  engine_->changed(); // the file may have got another name
  return saved;
}

bool CVeltoGemCtrl::LoadModel(const std::string &fileName) {
  if (engine_->gem() == nullptr)
    return false;
  std::string problem;
  const bool loaded = Host() ? loadKnown(fileName, problem) : loadOwn(fileName, problem);
  if (!loaded)
    engine_->reportFailure("LoadModel: " + problem);
  return loaded;
}

// The model that an equipment has.
bool CVeltoGemCtrl::loadOwn(const std::string &fileName, std::string &problem) {
  std::string file = fileName;
  if (isModelText(fileName)) {
    file.replace(file.size() - kTextEnding.size(), kTextEnding.size(), ".kel");
    if (importModelText(site().files, fileName, file, problem) == ModelImport::Failed)
      return false;
  }
  if (!readModelData(site().files, file, problem))
    return false;
  dataFileName_ = file;
  engine_->gem()->SetDataBakCount(dataBackups_);
  setModified();
  viewChanged();
  engine_->LoadModel(file);
  return true;
}

// The model of the equipment that a host talks to.
bool CVeltoGemCtrl::loadKnown(const std::string &fileName, std::string &problem) {
  auto known = readModel(site().files, fileName, problem);
  if (!known)
    return false;
  viewChanged();
  engine_->SetModel(knownToHost(std::move(*known)));
  return true;
}

std::string CVeltoGemCtrl::IniFileName() const { return engine_->IniFileName(); }

void CVeltoGemCtrl::SetIniFileName(const std::string &name) {
  engine_->SetIniFileName(name);
  setModified();
}

void CVeltoGemCtrl::SetDataFileName(const std::string &name) {
  dataFileName_ = name;
  setModified();
}

void CVeltoGemCtrl::SetDataBakCount(int16_t count) {
  dataBackups_ = count;
  if (engine_->gem() != nullptr)
    engine_->gem()->SetDataBakCount(count);
  setModified();
}

bool CVeltoGemCtrl::Log() const { return engine_->logEnabled; }

void CVeltoGemCtrl::SetLog(bool log) {
  engine_->logEnabled = log;
  setModified();
}

bool CVeltoGemCtrl::LogCommunication() const { return engine_->logCommunication; }

void CVeltoGemCtrl::SetLogCommunication(bool log) {
  engine_->logCommunication = log;
  setModified();
}

std::string CVeltoGemCtrl::LogFileName() const { return engine_->logFileName; }

void CVeltoGemCtrl::SetLogFileName(const std::string &name) {
  engine_->logFileName = name;
  setModified();
}

int32_t CVeltoGemCtrl::LogSize() const { return engine_->logSize; }

void CVeltoGemCtrl::SetLogSize(int32_t kib) {
  engine_->logSize = kib;
  setModified();
}

int16_t CVeltoGemCtrl::LogBakCount() const { return static_cast<int16_t>(engine_->logBackups); }

void CVeltoGemCtrl::SetLogBakCount(int16_t count) {
  engine_->logBackups = count;
  setModified();
}

} // namespace velto
