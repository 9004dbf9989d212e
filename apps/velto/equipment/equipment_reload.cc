#include "apps/velto/equipment/equipment_reload.h"

#include "apps/velto/equipment/settings_reload.h"
#include "gem/engine/gem.h"

#include <algorithm>

namespace velto {

namespace {

constexpr size_t kMostNamed = 20;

// "vid 105, ceid 12"; of very many the first.
std::string listOf(const std::vector<std::string> &names) {
  std::string list;
  for (size_t i = 0; i < std::min(names.size(), kMostNamed); ++i)
    list += (i == 0 ? "" : ", ") + names[i];
  if (names.size() > kMostNamed)
    list += " and " + std::to_string(names.size() - kMostNamed) + " more";
  return list;
}

} // namespace

EquipmentReload::EquipmentReload(EventLoop &loop, CVeltoGemCtrl &control, GemConsole &console,
                                 bool needsIni, const std::string &modelText)
    : loop_(loop), control_(control), console_(console), needsIni_(needsIni),
      settings_(systemFiles().read(control.IniFileName()).value_or("")) {
  if (!modelText.empty())
    model_.emplace(systemFiles(), modelText, control.DataFileName());
}

// Both files are read before one of them counts.
std::string EquipmentReload::read() {
  const std::string path = control_.IniFileName();
  const auto text = systemFiles().read(path);
  if (!text && needsIni_)
    return path + ": cannot be read";
  if (std::string problem = settingsProblem(path, text.value_or("")); !problem.empty())
    return problem;
  next_ = IniText(text.value_or(""));
  return model_ ? model_->read() : "";
}

bool EquipmentReload::run() {
  if (const std::string problem = read(); !problem.empty()) {
    console_.problem("not reloaded: " + problem);
    return false;
  }
  applySettings(control_, loop_);
  CHGem *gem = control_.engine().gem();
  const bool complete = model_ && gem != nullptr && model_->apply(gem->data());
  tell(complete);
  if (model_ && gem != nullptr && !model_->added().empty()) {
    const bool kept = control_.SaveData() && (!complete || model_->noteImported());
    if (!kept)
      console_.problem("what was added cannot be kept in " + control_.DataFileName());
  }
  return true;
}

void EquipmentReload::tell(bool complete) {
  std::string text = "reloaded";
  if (model_ && !model_->added().empty())
    text += ", added " + listOf(model_->added());
  console_.event("reloaded", text,
                 {{"added", model_ ? int64_t(model_->added().size()) : int64_t{0}}});
  if (const auto left = settingsLeft(settings_, next_); !left.empty())
    console_.problem("counts from the next start on: " + listOf(left));
  settings_ = std::move(next_);
  if (model_ && !complete && !model_->left().empty())
    console_.problem("comes with the next start, which drops what a host has set in the model: " +
                     listOf(model_->left()));
}

} // namespace velto
