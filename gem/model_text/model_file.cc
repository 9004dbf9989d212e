#include "gem/model_text/model_file.h"

#include "gem/data/archive.h"
#include "gem/data/companion_file.h"
#include "gem/data/data_file.h"
#include "gem/model_text/model_text.h"

#include <algorithm>

namespace velto {

namespace {

std::optional<std::string> readText(FileSystem &files, const std::string &path,
                                    std::string &problem) {
  auto text = files.read(path);
  if (!text)
    problem = path + ": cannot be read";
  return text;
}

std::optional<GemData> parsed(const std::string &path, std::string_view text,
                              std::string &problem) {
  ModelTextError error;
  auto data = modelFromText(text, error);
  if (!data)
    problem = path + ':' + std::to_string(error.line) + ": " + error.reason;
  return data;
}

std::string companionOf(const std::string &path) { return path + std::string(kCompanionEnding); }

void readCommands(std::string_view companion, GemData &data) {
  const auto parts = loadCompanion(companion);
  if (!parts)
    return;
  const auto part = std::ranges::find(*parts, kCommandsPart, &CompanionPart::name);
  if (part == parts->end())
    return;
  ArchiveReader archive(part->bytes);
  loadCommands(archive, data.commands);
}

std::string companionWith(const std::vector<CHGemCommand> &commands) {
  ArchiveWriter archive;
  storeCommands(archive, commands);
  const CompanionPart part{std::string(kCommandsPart), archive.take()};
  return storeCompanion({&part, 1});
}

// Where the companion of a text's model data file was lost or damaged, the commands are those of
// the text again: without them the equipment would refuse each. What else it held is gone.
ModelImport keepCommands(FileSystem &files, const GemData &model, const std::string &data,
                         std::string &problem) {
  const std::string companion = companionOf(data);
  const auto bytes = readDataFile(files, companion);
  if (model.commands.empty() || (bytes && loadCompanion(*bytes)))
    return ModelImport::Kept;
  if (keepDamagedFile(files, companion) &&
      saveDataFile(files, companion, 0, companionWith(model.commands)))
    return ModelImport::Mended;
  problem = companion + ": cannot be written";
  return ModelImport::Failed;
}

// The companion is there only for who has commands, or had.
bool write(FileSystem &files, const std::string &path, int backups, const GemData &data,
           std::string &problem) {
  const bool hasCompanion = !data.commands.empty() || files.size(companionOf(path));
  const bool written = saveDataFile(files, path, backups, storeGemData(data)) &&
                       (!hasCompanion || saveDataFile(files, companionOf(path), backups,
                                                      companionWith(data.commands)));
  if (!written)
    problem = path + ": cannot be written";
  return written;
}

} // namespace

bool isModelText(std::string_view path) { return path.ends_with(".model"); }

std::optional<GemData> readModelData(FileSystem &files, const std::string &path,
                                     std::string &problem) {
  auto bytes = readDataFile(files, path);
  auto data = bytes ? loadGemData(std::move(*bytes)) : std::nullopt;
  if (!data)
    problem = path + (bytes ? ": is no model data file" : ": cannot be read");
  else if (const auto companion = readDataFile(files, companionOf(path)))
    readCommands(*companion, *data);
  return data;
}

std::optional<GemData> readModelText(FileSystem &files, const std::string &path,
                                     std::string &problem) {
  const auto text = readText(files, path, problem);
  return text ? parsed(path, *text, problem) : std::nullopt;
}

std::optional<GemData> readModel(FileSystem &files, const std::string &path, std::string &problem) {
  return isModelText(path) ? readModelText(files, path, problem)
                           : readModelData(files, path, problem);
}

bool writeModelData(FileSystem &files, const std::string &path, const GemData &data,
                    std::string &problem) {
  return write(files, path, 0, data, problem);
}

std::string importedCopy(const std::string &data) { return data + ".imported"; }

std::string lostCompanion(const std::string &data) {
  return companionOf(data) +
         " was lost or damaged: the commands are those of the text again, the " +
         "host's limits and choice of what is spooled are gone";
}

// The copy is written last: without it the next start imports once more.
ModelImport importModelText(FileSystem &files, const std::string &text, const std::string &data,
                            std::string &problem) {
  const auto content = readText(files, text, problem);
  if (!content)
    return ModelImport::Failed;
  const std::string copy = importedCopy(data);
  const auto before = files.read(copy);
  const bool there = files.size(data).has_value();
  const auto model = parsed(text, *content, problem);
  if (there && before == content)
    return model ? keepCommands(files, *model, data, problem) : ModelImport::Kept;
  if (!model)
    return ModelImport::Failed;
  // Nobody knows what the data file was made from: unless it is just that, a backup of it stays.
  const bool same = there && !before && readDataFile(files, data) == storeGemData(*model);
  if (!same && !write(files, data, there && !before ? 1 : 0, *model, problem))
    return ModelImport::Failed;
  if (!files.replace(copy, *content)) {
    problem = copy + ": cannot be written";
    return ModelImport::Failed;
  }
  return same ? ModelImport::Kept : there ? ModelImport::Again : ModelImport::First;
}

} // namespace velto
