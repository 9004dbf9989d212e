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

// The companion is there only for who has commands, or had.
bool write(FileSystem &files, const std::string &path, int backups, const GemData &data,
           std::string &problem) {
  ArchiveWriter commands;
  storeCommands(commands, data.commands);
  const CompanionPart part{std::string(kCommandsPart), commands.take()};
  const bool hasCompanion = !data.commands.empty() || files.size(companionOf(path));
  const bool written = saveDataFile(files, path, backups, storeGemData(data)) &&
                       (!hasCompanion || saveDataFile(files, companionOf(path), backups,
                                                      storeCompanion({&part, 1})));
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

// The copy is written last: without it the next start imports once more.
ModelImport importModelText(FileSystem &files, const std::string &text, const std::string &data,
                            std::string &problem) {
  const auto content = readText(files, text, problem);
  if (!content)
    return ModelImport::Failed;
  const std::string copy = data + ".imported";
  const auto before = files.read(copy);
  const bool there = files.size(data).has_value();
  if (there && before == content)
    return ModelImport::Kept;
  const auto model = parsed(text, *content, problem);
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
