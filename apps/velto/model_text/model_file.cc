#include "apps/velto/model_text/model_file.h"

#include "apps/velto/model_text/model_text.h"
#include "gem/data/data_file.h"
#include "platform/file.h"

namespace velto {

bool isModelText(std::string_view path) { return path.ends_with(".model"); }

std::optional<GemData> readModelData(const std::string &path, std::string &problem) {
  auto bytes = readDataFile(systemFiles(), path);
  auto data = bytes ? loadGemData(std::move(*bytes)) : std::nullopt;
  if (!data)
    problem = path + (bytes ? ": is no model data file" : ": cannot be read");
  return data;
}

std::optional<GemData> readModelText(const std::string &path, std::string &problem) {
  const auto text = systemFiles().read(path);
  if (!text) {
    problem = path + ": cannot be read";
    return std::nullopt;
  }
  ModelTextError error;
  auto data = modelFromText(*text, error);
  if (!data)
    problem = path + ':' + std::to_string(error.line) + ": " + error.reason;
  return data;
}

std::optional<GemData> readModel(const std::string &path, std::string &problem) {
  return isModelText(path) ? readModelText(path, problem) : readModelData(path, problem);
}

bool writeModelData(const std::string &path, const GemData &data, std::string &problem) {
  const bool written = saveDataFile(systemFiles(), path, 0, storeGemData(data));
  if (!written)
    problem = path + ": cannot be written";
  return written;
}

} // namespace velto
